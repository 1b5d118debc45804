#include "ratio_main.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

namespace zel_bench {
namespace {

// Prints the usual console table and remembers one time per benchmark: the
// median when there are repetitions, else the single run.
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
      if (run.error_occurred) continue;
      const bool median = run.run_type == Run::RT_Aggregate && run.aggregate_name == "median";
      const bool single = run.run_type == Run::RT_Iteration;
      const std::string name = run.run_name.str();
      if (median || (single && medians_.count(name) == 0)) {
        times_[name] = run.GetAdjustedRealTime();
        units_[name] = run.time_unit;
        if (median) medians_[name] = true;
      }
    }
  }

  // Prints the ratio table; with `csv` also appends it to that file, one line
  // "program,operation,ours,baseline,unit,ratio" per operation (times in ns).
  void print_ratios(const char* program, std::FILE* csv) const {
    std::printf("\n%-48s %14s %14s %8s\n", "operation", "ours", "baseline", "ratio");
    for (const auto& [name, ours] : times_) {
      const std::string suffix = "/ours";
      if (name.size() <= suffix.size() ||
          name.compare(name.size() - suffix.size(), suffix.size(), suffix) != 0) {
        continue;
      }
      const std::string operation = name.substr(0, name.size() - suffix.size());
      const auto baseline = times_.find(operation + "/baseline");
      if (baseline == times_.end() || baseline->second <= 0) continue;
      const char* unit = benchmark::GetTimeUnitString(units_.at(name));
      std::printf("%-48s %11.1f %-2s %11.1f %-2s %8.3g\n", operation.c_str(), ours, unit,
                  baseline->second, benchmark::GetTimeUnitString(units_.at(baseline->first)),
                  ours / baseline->second);
      if (csv != nullptr) {
        std::fprintf(csv, "%s,%s,%.3f,%.3f,ns,%.4f\n", program, operation.c_str(),
                     in_ns(ours, units_.at(name)),
                     in_ns(baseline->second, units_.at(baseline->first)), ours / baseline->second);
      }
    }
    std::fflush(stdout);
  }

 private:
  static double in_ns(double time, benchmark::TimeUnit unit) {
    switch (unit) {
      case benchmark::kNanosecond:
        return time;
      case benchmark::kMicrosecond:
        return time * 1e3;
      case benchmark::kMillisecond:
        return time * 1e6;
      case benchmark::kSecond:
        return time * 1e9;
    }
    return time;
  }

  std::map<std::string, double> times_;
  std::map<std::string, benchmark::TimeUnit> units_;
  std::map<std::string, bool> medians_;
};

}  // namespace

int run_with_ratios(int argc, char** argv) {
  // Defaults first, so that the command line can override them.
  std::vector<char*> args{argv[0]};
  std::string repetitions = "--benchmark_repetitions=5";
  std::string aggregates = "--benchmark_report_aggregates_only=true";
  std::string min_time = "--benchmark_min_time=0.1";
  args.push_back(repetitions.data());
  args.push_back(aggregates.data());
  args.push_back(min_time.data());
  for (int i = 1; i < argc; ++i) args.push_back(argv[i]);
  int count = static_cast<int>(args.size());

  benchmark::Initialize(&count, args.data());
  if (benchmark::ReportUnrecognizedArguments(count, args.data())) return 1;
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  // ZEL_BENCH_RATIO_CSV names a file to which the ratio table is appended as
  // CSV (bench/report collects every program's table that way).
  const char* csv_path = std::getenv("ZEL_BENCH_RATIO_CSV");
  std::FILE* csv = nullptr;
  if (csv_path != nullptr && *csv_path != '\0') {
    csv = std::fopen(csv_path, "a");
    if (csv == nullptr) std::fprintf(stderr, "cannot append to %s\n", csv_path);
  }
  std::string program = argv[0];
  program = program.substr(program.find_last_of('/') + 1);
  reporter.print_ratios(program.c_str(), csv);
  if (csv != nullptr) std::fclose(csv);
  benchmark::Shutdown();
  return 0;
}

}  // namespace zel_bench
