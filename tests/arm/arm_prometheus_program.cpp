// An instrumented program for the arm4-prometheus tests, measured through
// whatever libarm4.so the library loads (CTest puts arm4-prometheus first).
// Prints "arm on" or "arm off" once the ARM application is registered, then:
//
//   arm_prometheus_program run GOOD FAILED [NAMES]
//     runs GOOD good and FAILED failed "Checkout" transactions over three
//     threads, one with status 7, which is none of the standard's, one good
//     transaction whose name needs escaping, and one good
//     transaction of each of NAMES more names, "name-0" and up;
//   arm_prometheus_program busy THREADS
//     THREADS threads start and stop "Checkout" until standard input ends, then
//     it prints how many ran;
//
// and keeps serving until standard input ends, so that the test can scrape it.
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "zel/arm.h"

namespace {

using Zel::ArmApplication;
using Zel::ArmPerThreadOperationStack;

ArmApplication::OperationRegistrar g_checkout(Zel::UString(u"Checkout"));
ArmApplication::OperationRegistrar g_quoted(Zel::UString(u"Gr\u00fc\u00dfe \"q\"\\"));

bool measure(const ArmApplication::OperationRegistrar& operation, int status) {
  return ArmPerThreadOperationStack::start_transaction(operation.tran_id, nullptr, true) >= 0 &&
         ArmPerThreadOperationStack::stop_transaction(status, nullptr) >= 0;
}

void wait_for_end_of_input() {
  while (std::getchar() != EOF) {
  }
}

}  // namespace

int main(int argc, char** argv) {
  const std::string mode = argc >= 3 && argc <= 5 ? argv[1] : "";
  if (mode != "run" && mode != "busy") {
    std::fprintf(stderr, "usage: %s run GOOD FAILED [NAMES] | busy THREADS\n", argv[0]);
    return 2;
  }
  // Registered with the others, so constructed before the application registers.
  std::vector<ArmApplication::OperationRegistrar*> names;
  for (int i = argc == 5 ? std::atoi(argv[4]) : 0; i > 0; --i) {
    names.push_back(new ArmApplication::OperationRegistrar(
        Zel::UString(Zel::Utf8String("name-" + std::to_string(names.size())))));
  }
  Zel::ArmBuffer none(false);
  if (ArmApplication::register_application(1, Zel::UString(u"zel-test"), &none) >= 0) {
    ArmApplication::start_application(nullptr, Zel::UString(), Zel::UString());
  }
  std::printf("arm %s\n", ArmApplication::g_level != 0 ? "on" : "off");
  std::fflush(stdout);

  std::atomic<bool> failed{false};
  std::atomic<bool> stop{false};
  std::atomic<long> ran{0};
  std::vector<std::thread> threads;
  if (mode == "run") {
    const int good = std::atoi(argv[2]);
    const int bad = std::atoi(argv[3]);
    constexpr int THREADS = 3;
    for (int t = 0; t < THREADS; ++t) {
      threads.emplace_back([&, t, good, bad] {
        ArmPerThreadOperationStack::get_base_correlator();
        for (int i = t; i < good + bad; i += THREADS) {
          if (!measure(g_checkout, i < good ? ARM_STATUS_GOOD : ARM_STATUS_FAILED)) failed = true;
        }
        if (t != 0) return;
        if (!measure(g_quoted, ARM_STATUS_GOOD)) failed = true;
        if (!measure(g_checkout, 7)) failed = true;  // not a status: counted as unknown
        for (const auto* name : names) {
          if (!measure(*name, ARM_STATUS_GOOD)) failed = true;
        }
      });
    }
  } else {
    for (int t = std::atoi(argv[2]); t > 0; --t) {
      threads.emplace_back([&] {
        ArmPerThreadOperationStack::get_base_correlator();
        while (!stop) {
          if (measure(g_checkout, ARM_STATUS_GOOD)) ++ran;
        }
      });
    }
  }
  if (mode == "run") {
    for (auto& thread : threads) thread.join();
    std::printf("ran\n");
    std::fflush(stdout);
  }
  wait_for_end_of_input();
  stop = true;
  for (auto& thread : threads) {
    if (thread.joinable()) thread.join();
  }
  if (mode == "busy") std::printf("ran %ld\n", ran.load());
  // With ARM off every measure fails with ARM_OFF: expected, not a failure.
  return failed && ArmApplication::g_level != 0 ? 1 : 0;
}
