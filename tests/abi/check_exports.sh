#!/usr/bin/env bash
# Compares the symbols a shared library exports with the checked-in list, so
# that an accidental export or removal fails the build's tests.
# Usage: check_exports.sh LIBRARY LIST [--update]
set -euo pipefail
library=$1
list=$2

exported() {
  nm -D --defined-only "$library" | awk '{print $3}' | c++filt | LC_ALL=C sort -u
}

if [ "${3:-}" = "--update" ]; then
  exported >"$list"
  echo "wrote $(wc -l <"$list") symbols to $list"
  exit 0
fi

if ! diff -u "$list" <(exported) >/tmp/check_exports.$$; then
  echo "The exported symbols of $(basename "$library") differ from $list"
  echo "(- only in the list, + only in the library). If the change is intended, run"
  echo "  $0 $library $list --update"
  cat /tmp/check_exports.$$
  rm -f /tmp/check_exports.$$
  exit 1
fi
rm -f /tmp/check_exports.$$
echo "$(wc -l <"$list") exported symbols, as listed"
