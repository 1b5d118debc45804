#include "ratio_main.h"

#include <benchmark/benchmark.h>

#include <cstdio>
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

  void print_ratios() const {
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
      std::printf("%-48s %11.1f %-2s %11.1f %-2s %8.2f\n", operation.c_str(), ours, unit,
                  baseline->second, benchmark::GetTimeUnitString(units_.at(baseline->first)),
                  ours / baseline->second);
    }
    std::fflush(stdout);
  }

 private:
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
  reporter.print_ratios();
  benchmark::Shutdown();
  return 0;
}

}  // namespace zel_bench
