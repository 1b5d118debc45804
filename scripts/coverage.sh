#!/usr/bin/env bash
# Builds the "coverage" preset (gcc --coverage), runs the unit tests and prints
# the line and branch coverage of src/ measured by gcovr. Also writes an HTML
# report to build/coverage/html/index.html. Prints figures only: no threshold
# fails the run (a failing test does).
# Usage: coverage.sh
set -euo pipefail
cd "$(dirname "$0")/.."
jobs=${ZEL_JOBS:-2}

cmake --preset coverage >/dev/null
cmake --build --preset coverage -j "$jobs"
# Counters from an earlier run would add up with this one.
find build/coverage -name '*.gcda' -delete
ctest --preset coverage -j "$jobs"

mkdir -p build/coverage/html
# Branches that the compiler adds for exceptions and that no source line shows
# are left out, as is usual; they would only measure the compiler.
gcovr_args=(--root . --filter 'src/' --object-directory build/coverage
            --exclude-throw-branches --exclude-unreachable-branches
            --gcov-executable gcov --gcov-ignore-parse-errors)
# Single-threaded, and parse errors tolerated: tests that fork can leave a
# negative branch count in gcov's output, which stops gcovr (and with -j
# stalls its workers instead).
gcovr "${gcovr_args[@]}" --html-details build/coverage/html/index.html \
  --txt build/coverage/summary.txt --print-summary
echo "HTML report: build/coverage/html/index.html"
