#!/usr/bin/env bash
# Runs every fuzz target of the "fuzz" build for a bounded time, starting from
# the seed corpus in fuzz/corpus/<name>/ (new inputs go to a scratch folder, so
# the checked-in corpus stays as it is).
# Usage: fuzz.sh [SECONDS-PER-TARGET]   (default 30)
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-30}

cmake --preset fuzz >/dev/null
cmake --build --preset fuzz
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

for target in build/fuzz/fuzz/*_fuzz; do
  name=$(basename "$target" _fuzz)
  mkdir -p "$scratch/$name"
  echo "=== fuzzing $name for ${seconds}s"
  "$target" -max_total_time="$seconds" -rss_limit_mb=2048 -print_final_stats=1 \
    -artifact_prefix="$scratch/" "$scratch/$name" "fuzz/corpus/$name" 2>&1 |
    grep -E '^(Done|stat::number_of_executed_units|stat::average_exec_per_sec)|ERROR|SUMMARY' || true
  if ls "$scratch"/crash-* "$scratch"/leak-* "$scratch"/timeout-* >/dev/null 2>&1; then
    echo "fuzz target $name found a failing input:" >&2
    ls "$scratch"/crash-* "$scratch"/leak-* "$scratch"/timeout-* 2>/dev/null >&2
    exit 1
  fi
done
