// What ARM costs a server call.
//
// start_stop/arm_off: a transaction's start and stop while ARM is off, the
// price of every server call when nobody measures, against a pair of calls of
// empty functions. start_stop/arm_on: the same pair through the arm4-trace
// runtime, which appends two lines to a trace file in a temporary directory,
// against the runtime's own two entry points called directly.
#include "zel/arm.h"

#include <benchmark/benchmark.h>
#include <dlfcn.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <string>

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

// The runtime is set up by the first benchmark that runs, from main: linked
// statically, the library's own static objects may be constructed after ours.
void register_all() {
  benchmark::RegisterBenchmark("start_stop/arm_off/ours", arm_off_ours);
  benchmark::RegisterBenchmark("start_stop/arm_off/baseline", arm_off_baseline);
  benchmark::RegisterBenchmark("start_stop/arm_on/ours", arm_on_ours);
  benchmark::RegisterBenchmark("start_stop/arm_on/baseline", arm_on_baseline);
}

const int g_registered = (register_all(), 0);

}  // namespace

ZEL_BENCHMARK_RATIO_MAIN()
