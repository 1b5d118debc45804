// An instrumented program for the arm4-prometheus tests, measured through
// whatever libarm4.so the library loads (CTest puts arm4-prometheus first).
// Prints "arm on" or "arm off" once the ARM application is registered, and
// "nulls refused" when the runtime refuses a null message buffer; then:
//
//   arm_prometheus_program run GOOD FAILED [NAMES]
//     runs GOOD good and FAILED failed "Checkout" transactions over three
//     threads, one with status 7, which is none of the standard's, one good
//     transaction whose name needs escaping, and one good transaction of each
//     of NAMES more names, "name-0" and up, then prints "ran";
//   arm_prometheus_program busy THREADS
//     THREADS threads start and stop "Checkout" until standard input ends, then
//     it prints how many ran;
//
// and keeps serving until standard input ends, so that the test can scrape it.
#include <dlfcn.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "zel/arm.h"
#include "zel/arm4.h"

namespace {

using Zel::ArmApplication;
using Registrar = ArmApplication::OperationRegistrar;
using Stack = Zel::ArmPerThreadOperationStack;

Registrar g_checkout(Zel::UString(u"Checkout"));
Registrar g_quoted(Zel::UString(u"Gr\u00fc\u00dfe \"q\"\\"));
std::atomic<bool> g_failed{false};

bool measure(const Registrar& operation, int status) {
  const bool measured = Stack::start_transaction(operation.tran_id, nullptr, true) >= 0 &&
                        Stack::stop_transaction(status, nullptr) >= 0;
  if (!measured) g_failed = true;
  return measured;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string mode = argc >= 3 && argc <= 5 ? argv[1] : "";
  if (mode != "run" && mode != "busy") {
    std::fprintf(stderr, "usage: %s run GOOD FAILED [NAMES] | busy THREADS\n", argv[0]);
    return 2;
  }
  // Registered with the others, so constructed before the application registers.
  std::vector<Registrar*> names;
  for (int i = argc == 5 ? std::atoi(argv[4]) : 0; i > 0; --i) {
    names.push_back(
        new Registrar(Zel::UString(Zel::Utf8String("name-" + std::to_string(names.size())))));
  }
  Zel::ArmBuffer none(false);
  if (ArmApplication::register_application(1, Zel::UString(u"zel-test"), &none) >= 0) {
    ArmApplication::start_application(nullptr, Zel::UString(), Zel::UString());
  }
  std::printf("arm %s\n", ArmApplication::g_level != 0 ? "on" : "off");
  // The runtime the library loaded, asked directly: -2 is its null-argument error.
  void* runtime = dlopen("libarm4.so", RTLD_NOW | RTLD_NOLOAD);
  const auto message = reinterpret_cast<decltype(&arm_get_error_message)>(
      runtime != nullptr ? dlsym(runtime, "arm_get_error_message") : nullptr);
  if (message != nullptr && message(ARM_CHARSET_UTF8, -2, nullptr) == -2)
    std::printf("nulls refused\n");
  std::fflush(stdout);

  const bool busy = mode == "busy";
  const int good = busy ? 0 : std::atoi(argv[2]);
  const int all = busy ? 0 : good + std::atoi(argv[3]);
  constexpr int RUN_THREADS = 3;
  std::atomic<bool> stop{false};
  std::atomic<long> ran{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < (busy ? std::atoi(argv[2]) : RUN_THREADS); ++t) {
    threads.emplace_back([&, t] {
      Stack::get_base_correlator();
      while (busy && !stop) {
        if (measure(g_checkout, ARM_STATUS_GOOD)) ++ran;
      }
      for (int i = t; i < all; i += RUN_THREADS) {
        measure(g_checkout, i < good ? ARM_STATUS_GOOD : ARM_STATUS_FAILED);
      }
      if (busy || t != 0) return;
      measure(g_quoted, ARM_STATUS_GOOD);
      measure(g_checkout, 7);  // not a status: counted as unknown
      for (const Registrar* name : names) measure(*name, ARM_STATUS_GOOD);
    });
  }
  if (!busy) {
    for (auto& thread : threads) thread.join();
    std::printf("ran\n");
    std::fflush(stdout);
  }
  while (std::getchar() != EOF) {
  }
  stop = true;
  for (auto& thread : threads) {
    if (thread.joinable()) thread.join();
  }
  if (busy) std::printf("ran %ld\n", ran.load());
  // With ARM off every measure fails with ARM_OFF: expected, not a failure.
  return g_failed && ArmApplication::g_level != 0 ? 1 : 0;
}
