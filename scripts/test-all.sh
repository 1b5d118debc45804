#!/usr/bin/env bash
# The whole test suite, as CI runs it on a clean clone:
#   formatting; unit tests in the debug build, under valgrind memcheck and in
#   the ASan+UBSan build;
#   line and branch coverage of src/ (fails below 90% of lines or 75% of
#   branches);
#   the concurrent tests under ThreadSanitizer; the release build with the
#   exported-symbol checks and the benchmarks (each run briefly); the API
#   documentation (Doxygen, warnings are errors); the installed tool and the
#   installed CMake package and pkg-config file used from outside, measured
#   through the installed arm4-trace ARM runtime; every fuzz target for a
#   bounded time (ZEL_FUZZ_SECONDS, default 20).
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh test

step() { printf '\n===== %s\n' "$*"; }

step "format"
git ls-files '*.h' '*.cpp' | xargs clang-format --dry-run --Werror

for preset in debug asan; do
  step "unit tests: $preset"
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset"
  ctest --preset "$preset" -j "$(nproc)"
done

step "unit tests under valgrind memcheck: debug"
scripts/memcheck.sh

step "coverage of src/ (at least 90% of lines, 75% of branches)"
coverage_log=$(mktemp)
# Bounded, so that a stalled report can never hold CI up.
timeout 1200 scripts/coverage.sh >"$coverage_log" 2>&1 || { cat "$coverage_log"; exit 1; }
grep -E '^(line|branch) coverage' "$coverage_log"
rm -f "$coverage_log"

step "concurrent tests: tsan"
cmake --preset tsan >/dev/null
cmake --build --preset tsan
ctest --preset tsan

step "release build and benchmarks (brief runs)"
cmake --preset release >/dev/null
cmake --build --preset release
ctest --preset release -L abi
for bench in build/release/bench/bench_*; do
  "$bench" --benchmark_min_time=0.001 --benchmark_repetitions=1 >/dev/null
  echo "ran $(basename "$bench")"
done

step "API documentation (Doxygen warnings are errors)"
cmake --build --preset release --target docs

step "installed tool and package"
prefix=$(mktemp -d)
trap 'rm -rf "$prefix"' EXIT
cmake --install build/release --prefix "$prefix/usr" >/dev/null
"$prefix/usr/bin/zelutil" version
[ "$(printf 'caf\xc3\xa9' | "$prefix/usr/bin/zelutil" convert --from UTF-8 --to ISO-8859-1 | od -An -tx1 | tr -d ' ')" = "636166e9" ]
cmake -S tests/consumer -B "$prefix/consumer" -G Ninja -DCMAKE_PREFIX_PATH="$prefix/usr" >/dev/null
cmake --build "$prefix/consumer"
"$prefix/consumer/consumer"
pcdir=$(dirname "$(find "$prefix/usr" -name zelutil.pc)")
libdir=$(PKG_CONFIG_PATH="$pcdir" pkg-config --variable=libdir zelutil)
# shellcheck disable=SC2046
g++ -std=c++17 tests/consumer/main.cpp -o "$prefix/consumer-pc" \
  $(PKG_CONFIG_PATH="$pcdir" pkg-config --cflags --libs zelutil) -Wl,-rpath,"$libdir"
"$prefix/consumer-pc"
# The consumer measured through the installed arm4-trace runtime.
LD_LIBRARY_PATH="$libdir/zelutil/arm4-trace" ZEL_ARM_TRACE="$prefix/arm.jsonl" "$prefix/consumer-pc" >/dev/null
"$prefix/usr/bin/zelutil" arm report "$prefix/arm.jsonl" | grep -q "^consumer	1	0	"
echo "installed arm4-trace: ok"

step "fuzz targets"
scripts/fuzz.sh "${ZEL_FUZZ_SECONDS:-20}"

step "as a dependency: FetchContent (shared, static) and the Debian packages"
scripts/as-dependency.sh

step "installed arm4-prometheus: scraped, checked by promtool and by a Prometheus server"
# The test program measured through the installed runtime (the release build's
# own, installed afresh); a missing prometheus binary fails here, not skips.
prometheus_prefix=$(mktemp -d)
cmake --install build/release --prefix "$prometheus_prefix/usr" >/dev/null
prometheus_runtime=$(find "$prometheus_prefix/usr" -path '*/zelutil/arm4-prometheus/libarm4.so')
for mode in metrics prometheus; do
  LD_LIBRARY_PATH=$(dirname "$prometheus_runtime") \
    bash tests/arm/arm_prometheus_test.sh "$mode" build/release/tests/arm_prometheus_program
done
rm -rf "$prometheus_prefix"

step "static analysis: clang -Wthread-safety build and clang-tidy"
cmake --preset clang-tsa >/dev/null
cmake --build --preset clang-tsa
scripts/clang-tidy.sh

step "mutation score (reported, not a gate)"
# Bounded like the coverage step; a sample's score moves a few points from
# commit to commit, so it is printed and never fails the run.
mutation_log=$(mktemp)
timeout 1800 scripts/mutation.sh >"$mutation_log" 2>&1 || echo "mutation run stopped early"
grep -E '^(SURVIVED|          ->|mutation|seed)' "$mutation_log" || tail -n 20 "$mutation_log"
rm -f "$mutation_log"

step "all checks passed"
