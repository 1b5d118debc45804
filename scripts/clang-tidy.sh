#!/usr/bin/env bash
# clang-tidy with the root .clang-tidy over every C++ source of src/ and tools/;
# fails on any finding. Uses the compile commands of the clang-tsa build tree,
# configured afresh so that new files are known; the flags are clang's own.
#   scripts/clang-tidy.sh            every file
#   scripts/clang-tidy.sh FILE...    only these
set -euo pipefail
cd "$(dirname "$0")/.."

build=build/clang-tsa
cmake --preset clang-tsa >/dev/null

if [ "$#" -gt 0 ]; then
  files=("$@")
else
  mapfile -t files < <(git ls-files 'src/*.cpp' 'tools/*.cpp')
fi

# One file per clang-tidy process, as many at once as there are cores; xargs
# fails when any of them reports a finding.
printf '%s\n' "${files[@]}" |
  xargs -P "$(nproc)" -n 1 clang-tidy -p "$build" --quiet 2> >(grep -v '^[0-9]* warnings\? generated\.$' >&2)
echo "clang-tidy: ${#files[@]} files, no findings"
