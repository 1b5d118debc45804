// Shared main() for the benchmark programs: runs the registered benchmarks and
// then prints, for each operation, our median time, the baseline's median time
// and the ratio ours/baseline.
//
// Pair benchmarks by name: "<operation>/<case>/ours" and "<operation>/<case>/baseline".
// Register them with benchmark::RegisterBenchmark or BENCHMARK with those names,
// and end the program's source with ZEL_BENCHMARK_RATIO_MAIN().
#ifndef ZEL_BENCH_SUPPORT_RATIO_MAIN_H_
#define ZEL_BENCH_SUPPORT_RATIO_MAIN_H_

namespace zel_bench {

// Runs the benchmarks (5 repetitions, medians reported, unless the command line
// says otherwise) and prints the ratio table; when the environment variable
// ZEL_BENCH_RATIO_CSV names a file, also appends the table to it as CSV lines
// "program,operation,ours,baseline,unit,ratio" (unit: ns). Returns the exit code.
int run_with_ratios(int argc, char** argv);

}  // namespace zel_bench

#define ZEL_BENCHMARK_RATIO_MAIN() \
  int main(int argc, char** argv) { return zel_bench::run_with_ratios(argc, argv); }

#endif  // ZEL_BENCH_SUPPORT_RATIO_MAIN_H_
