#!/usr/bin/env bash
# Sampled mutation testing: plants small faults in src/ and tools/ (an operator
# flipped, a call deleted, an off-by-one), rebuilds with AddressSanitizer and
# UndefinedBehaviorSanitizer so that a write past an array counts, runs the
# whole suite for each, and prints the share of faults the tests notice.
#
# The tool lives beside the repository (../shared/tools/mutate.py, or one
# level further up from a worktree) or where ZEL_MUTATE points; a clone without
# it skips the step. The sample is seeded
# from the commit, so a rerun of one commit plants the same faults.
# Usage: mutation.sh [COUNT]   (default 60; ZEL_MUTATION_COUNT also sets it)
# Prints the tool's per-mutant lines and its closing "mutation score" line;
# exits 0 whatever the score, since a sample's score moves a few points from
# commit to commit.
set -euo pipefail
cd "$(dirname "$0")/.."

tool=${ZEL_MUTATE:-}
if [ -z "$tool" ]; then
  # Beside the checkout, or beside the folder of worktrees it sits in.
  for candidate in ../shared/tools/mutate.py ../../shared/tools/mutate.py; do
    [ -f "$candidate" ] && tool=$candidate && break
  done
fi
if [ -z "$tool" ] || [ ! -f "$tool" ]; then
  echo "mutation tool not found (ZEL_MUTATE, ../shared/tools/mutate.py), skipped"
  exit 0
fi

count=${1:-${ZEL_MUTATION_COUNT:-60}}
seed=$((16#$(git rev-parse --short=7 HEAD)))
# A fresh build directory each time: one reused after an interrupted run may
# still hold an object built with a planted fault. ZEL_MUTATION_WORK keeps one
# across runs, for quicker reruns by hand.
if [ -n "${ZEL_MUTATION_WORK:-}" ]; then
  work=$ZEL_MUTATION_WORK
else
  work=$(mktemp -d)
  trap 'rm -rf "$work"' EXIT
fi
echo "seed $seed, $count mutants, work directory $work"

# The asan preset's configuration and test environment; mutate.py runs CTest
# itself, outside the presets.
export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
cmake_args="-DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_COMPILER=g++ -DCMAKE_C_COMPILER=gcc
  -DZEL_SANITIZE=address,undefined -DZEL_BUILD_BENCHMARKS=OFF -DZEL_BUILD_FUZZERS=OFF
  -DZEL_WARNINGS_AS_ERRORS=OFF -DCMAKE_LINK_DEPENDS_NO_SHARED=ON"

start=$SECONDS
python3 "$tool" --count "$count" --seed "$seed" --work "$work" --jobs "${ZEL_JOBS:-2}" \
  --cmake-args "$cmake_args" . || true
echo "mutation run took $((SECONDS - start)) s"
