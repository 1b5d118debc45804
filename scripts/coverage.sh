#!/usr/bin/env bash
# Builds the "coverage" preset (gcc --coverage), runs the unit tests and prints
# the line and branch coverage of src/ measured by gcovr. Also writes an HTML
# report to build/coverage/html/index.html. Fails when line coverage falls
# below 90% or branch coverage below 75% (ZEL_COVERAGE_LINES and
# ZEL_COVERAGE_BRANCHES change the thresholds), or when a test fails.
# Usage: coverage.sh
set -euo pipefail
cd "$(dirname "$0")/.."
jobs=${ZEL_JOBS:-2}
min_lines=${ZEL_COVERAGE_LINES:-90}
min_branches=${ZEL_COVERAGE_BRANCHES:-75}

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
  --txt build/coverage/summary.txt --json-summary build/coverage/summary.json
echo "HTML report: build/coverage/html/index.html"
python3 - build/coverage/summary.json "$min_lines" "$min_branches" <<'PY'
import json, sys
summary = json.load(open(sys.argv[1]))
verdicts = []
for kind, minimum in (("line", float(sys.argv[2])), ("branch", float(sys.argv[3]))):
    percent = summary[f"{kind}_percent"]
    covered, total = summary[f"{kind}_covered"], summary[f"{kind}_total"]
    ok = percent >= minimum
    verdicts.append(ok)
    print(f"{kind} coverage of src/: {percent:.1f}% ({covered} of {total}), "
          f"threshold {minimum:g}%: {'ok' if ok else 'BELOW THRESHOLD'}")
sys.exit(0 if all(verdicts) else 1)
PY
