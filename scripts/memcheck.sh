#!/usr/bin/env bash
# Runs every unit-test program of the "debug" build under valgrind memcheck and
# fails on any memory error or definite leak. Each program runs whole (all its
# tests in one process), two programs at a time; a failing program's valgrind
# log is printed. scripts/memcheck.supp names the two reports valgrind makes in
# forked children about memory of a thread the child does not have. Not run
# here: the zelutil tool's shell test (a bash script around the tool, not a
# test program; the tool's code also runs in the ASan build).
# Usage: memcheck.sh [PROGRAM-NAME...]   (default: every tests/*_test program)
set -euo pipefail
cd "$(dirname "$0")/.."
jobs=${ZEL_JOBS:-2}

cmake --preset debug >/dev/null
cmake --build --preset debug -j "$jobs"

tests_dir=build/debug/tests
if [ $# -gt 0 ]; then
  programs=("$@")
else
  programs=()
  for path in "$tests_dir"/*_test; do
    [ -x "$path" ] && programs+=("$(basename "$path")")
  done
fi
suppressions=$PWD/scripts/memcheck.supp
logs=$(mktemp -d)
trap 'rm -rf "$logs"' EXIT

# The ARM tests load the trace runtime (or its incomplete copy) by name, as
# CTest arranges for them.
trace=$PWD/build/debug/tools/arm4-trace
declare -A library_path=(
  [arm_runtime_test]="$trace"
  [arm_concurrency_test]="$trace"
  [arm_incomplete_test]="$trace/incomplete"
)

run_one() {
  local name=$1 start=$SECONDS
  export LD_LIBRARY_PATH=${library_path[$name]:-}
  # The tests run in their build folder, as under ctest.
  if (cd "$tests_dir" && valgrind --tool=memcheck --error-exitcode=1 --leak-check=full \
        --errors-for-leak-kinds=definite --show-leak-kinds=definite --num-callers=30 \
        --suppressions="$suppressions" \
        --log-file="$logs/$name.valgrind" "./$name" --gtest_brief=1 >"$logs/$name.out" 2>&1); then
    echo "clean   $name ($((SECONDS - start))s)"
  else
    echo "FAILED  $name ($((SECONDS - start))s)"
    touch "$logs/$name.failed"
  fi
}

running=0
for name in "${programs[@]}"; do
  run_one "$name" &
  running=$((running + 1))
  if [ "$running" -ge "$jobs" ]; then
    wait -n || true
    running=$((running - 1))
  fi
done
wait

failed=0
for name in "${programs[@]}"; do
  if [ -e "$logs/$name.failed" ]; then
    failed=1
    echo "===== $name: test output" >&2
    tail -n 40 "$logs/$name.out" >&2
    echo "===== $name: valgrind log" >&2
    cat "$logs/$name.valgrind" >&2
  fi
done
[ "$failed" -eq 0 ] && echo "valgrind memcheck: ${#programs[@]} programs, no error, no definite leak"
exit "$failed"
