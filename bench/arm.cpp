// What ARM costs a server call.
//
// start_stop/arm_off: a transaction's start and stop while ARM is off, the
// price of every server call when nobody measures, against a pair of calls of
// empty functions. start_stop/arm_on: the same pair through the arm4-trace
// runtime, which appends two lines to a trace file in a temporary directory,
// against the runtime's own two entry points called directly.
// start_stop/prometheus_vs_trace: the two entry points of the arm4-prometheus
// runtime (a counter and a histogram updated, served on a loopback port)
// against those of arm4-trace, both called directly.
#include "zel/arm.h"

#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <dlfcn.h>
#include <netinet/in.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <string>
#include <type_traits>

#include "ratio_main.h"

namespace {

using Zel::ArmApplication;
using Zel::ArmPerThreadOperationStack;

ArmApplication::OperationRegistrar g_operation(Zel::UString(u"Benchmark"));

__attribute__((noipa)) int empty_start(const arm_id&, const Zel::ArmBuffer*, bool) { return 0; }
__attribute__((noipa)) int empty_stop(int, const Zel::ArmBuffer*) { return 0; }

// The runtime, switched on once for the arm_on pair and left loaded.
class TraceRuntime {
 public:
  TraceRuntime() {
    directory_ = (std::filesystem::temp_directory_path() / "zel-bench-arm-XXXXXX").string();
    if (::mkdtemp(directory_.data()) == nullptr) return;
    trace_ = directory_ + "/trace.jsonl";
    ::setenv("ZEL_ARM_TRACE", trace_.c_str(), 1);
    // Opened by its path first, so that the library's dlopen of "libarm4.so"
    // finds this one by its SONAME, whatever LD_LIBRARY_PATH says.
    if (dlopen(ZEL_BENCH_ARM4_TRACE_FILE, RTLD_NOW) == nullptr) return;
    Zel::ArmBuffer none(false);
    if (ArmApplication::register_application(1, Zel::UString(u"bench"), &none) < 0 ||
        ArmApplication::start_application(nullptr, Zel::UString(), Zel::UString()) < 0) {
      return;
    }
    on_ = ArmPerThreadOperationStack::get_base_correlator() != nullptr;
    level_ = ArmApplication::g_level;
    ArmApplication::g_level = 0;  // the arm_off pair runs first
  }
  ~TraceRuntime() {
    if (!directory_.empty()) std::filesystem::remove_all(directory_);
  }

  // Switches ARM on and empties the trace; false when the runtime is unusable.
  bool switch_on(benchmark::State& state) {
    if (!on_) {
      state.SkipWithError("the arm4-trace runtime could not be switched on");
      return false;
    }
    ArmApplication::g_level = level_;
    if (::truncate(trace_.c_str(), 0) != 0) std::perror("truncate");
    return true;
  }
  void switch_off() { ArmApplication::g_level = 0; }

 private:
  std::string directory_;
  std::string trace_;
  Zel::arm_level_t level_ = 0;
  bool on_ = false;
};

TraceRuntime& runtime() {
  static TraceRuntime instance;
  return instance;
}

void arm_off_ours(benchmark::State& state) {
  runtime().switch_off();
  for (auto _ : state) {
    benchmark::DoNotOptimize(
        ArmPerThreadOperationStack::start_transaction(g_operation.tran_id, nullptr, true));
    benchmark::DoNotOptimize(
        ArmPerThreadOperationStack::stop_transaction(ARM_STATUS_GOOD, nullptr));
  }
}

void arm_off_baseline(benchmark::State& state) {
  for (auto _ : state) {
    benchmark::DoNotOptimize(empty_start(g_operation.tran_id, nullptr, true));
    benchmark::DoNotOptimize(empty_stop(ARM_STATUS_GOOD, nullptr));
  }
}

void arm_on_ours(benchmark::State& state) {
  if (!runtime().switch_on(state)) return;
  for (auto _ : state) {
    benchmark::DoNotOptimize(
        ArmPerThreadOperationStack::start_transaction(g_operation.tran_id, nullptr, true));
    benchmark::DoNotOptimize(
        ArmPerThreadOperationStack::stop_transaction(ARM_STATUS_GOOD, nullptr));
  }
  runtime().switch_off();
}

void arm_on_baseline(benchmark::State& state) {
  if (!runtime().switch_on(state)) return;
  using Loader = ArmApplication::ArmRuntimeLoader;
  const arm_correlator_t parent{};
  arm_tran_start_handle_t handle = 0;
  arm_correlator_t current;
  for (auto _ : state) {
    benchmark::DoNotOptimize(Loader::g_fnc_arm_start_transaction(
        ArmApplication::g_app_handle, &g_operation.tran_id, &parent,
        ARM_FLAG_TRACE_REQUEST | ARM_FLAG_BIND_THREAD | ARM_FLAG_CORR_IN_PROCESS, nullptr, &handle,
        &current));
    benchmark::DoNotOptimize(
        Loader::g_fnc_arm_stop_transaction(handle, ARM_STATUS_GOOD, 0, nullptr));
  }
  runtime().switch_off();
}

// A port nobody listens on now, for the metrics server; 0 when none is found.
int free_port() {
  const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof address;
  int port = 0;
  if (fd >= 0 && ::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 &&
      ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) == 0) {
    port = ntohs(address.sin_port);
  }
  if (fd >= 0) ::close(fd);
  return port;
}

// arm4-prometheus, opened by its path beside arm4-trace (another path is
// another library to dlopen, whatever its SONAME) once the library has bound
// arm4-trace, and driven through its entry points.
class PrometheusRuntime {
 public:
  PrometheusRuntime() {
    void* library = dlopen(ZEL_BENCH_ARM4_PROMETHEUS_FILE, RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) return;
    const auto bind = [library](auto* pointer, const char* name) {
      *pointer = reinterpret_cast<std::remove_pointer_t<decltype(pointer)>>(dlsym(library, name));
      return *pointer != nullptr;
    };
    decltype(&::arm_register_application) register_application = nullptr;
    decltype(&::arm_start_application) start_application = nullptr;
    decltype(&::arm_register_transaction) register_transaction = nullptr;
    if (!bind(&register_application, "arm_register_application") ||
        !bind(&start_application, "arm_start_application") ||
        !bind(&register_transaction, "arm_register_transaction") ||
        !bind(&start_, "arm_start_transaction") || !bind(&stop_, "arm_stop_transaction")) {
      return;
    }
    const std::string address = "127.0.0.1:" + std::to_string(free_port());
    ::setenv("ZEL_ARM_PROMETHEUS", address.c_str(), 1);
    arm_id_t application;
    ready_ = register_application("bench", nullptr, 0, nullptr, &application) >= 0 &&
             start_application(&application, nullptr, nullptr, 0, nullptr, &app_handle_) >= 0 &&
             register_transaction(&application, "Benchmark", nullptr, 0, nullptr, &tran_id_) >= 0;
  }

  bool ready() const { return ready_; }

  // The pair as the library makes it: a start with a parent correlator, a good stop.
  void start_stop(const arm_correlator_t& parent) {
    arm_tran_start_handle_t handle = 0;
    arm_correlator_t current;
    benchmark::DoNotOptimize(
        start_(app_handle_, &tran_id_, &parent,
               ARM_FLAG_TRACE_REQUEST | ARM_FLAG_BIND_THREAD | ARM_FLAG_CORR_IN_PROCESS, nullptr,
               &handle, &current));
    benchmark::DoNotOptimize(stop_(handle, ARM_STATUS_GOOD, 0, nullptr));
  }

 private:
  decltype(&::arm_start_transaction) start_ = nullptr;
  decltype(&::arm_stop_transaction) stop_ = nullptr;
  arm_app_start_handle_t app_handle_ = 0;
  arm_id_t tran_id_{};
  bool ready_ = false;
};

void prometheus_ours(benchmark::State& state) {
  static PrometheusRuntime prometheus;
  if (!prometheus.ready()) {
    state.SkipWithError("the arm4-prometheus runtime could not be switched on");
    return;
  }
  const arm_correlator_t parent{};
  for (auto _ : state) prometheus.start_stop(parent);
}

// The runtime is set up by the first benchmark that runs, from main: linked
// statically, the library's own static objects may be constructed after ours.
void register_all() {
  benchmark::RegisterBenchmark("start_stop/arm_off/ours", arm_off_ours);
  benchmark::RegisterBenchmark("start_stop/arm_off/baseline", arm_off_baseline);
  benchmark::RegisterBenchmark("start_stop/arm_on/ours", arm_on_ours);
  benchmark::RegisterBenchmark("start_stop/arm_on/baseline", arm_on_baseline);
  benchmark::RegisterBenchmark("start_stop/prometheus_vs_trace/ours", prometheus_ours);
  benchmark::RegisterBenchmark("start_stop/prometheus_vs_trace/baseline", arm_on_baseline);
}

const int g_registered = (register_all(), 0);

}  // namespace

ZEL_BENCHMARK_RATIO_MAIN()
