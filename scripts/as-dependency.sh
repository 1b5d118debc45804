#!/usr/bin/env bash
# libzelutil as other builds take it, checked from outside:
#   FetchContent, shared and static, with the test and tool packages hidden:
#   only the two libraries are built, without -Werror, and the consumer runs;
#   the static consumer needs no libzelutil.so;
#   the Debian packages of the release tree: lintian finds no error, the runtime
#   package depends on ICU, and a consumer finds the packages, unpacked
#   together into an empty root, with find_package and runs.
# Usage: scripts/as-dependency.sh (builds the release tree when it is not built)
set -euo pipefail
cd "$(dirname "$0")/.."
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "as-dependency: $*" >&2; exit 1; }

for shared in ON OFF; do
  build="$work/fetchcontent-$shared"
  cmake -S tests/fetchcontent -B "$build" -G Ninja --no-warn-unused-cli -DZEL_SOURCE_DIR="$PWD" \
    -DCMAKE_BUILD_TYPE=Release -DBUILD_SHARED_LIBS="$shared" \
    -DCMAKE_DISABLE_FIND_PACKAGE_GTest=ON -DCMAKE_DISABLE_FIND_PACKAGE_benchmark=ON \
    -DCMAKE_DISABLE_FIND_PACKAGE_CLI11=ON -DCMAKE_DISABLE_FIND_PACKAGE_EXPAT=ON \
    -DZEL_INSTALL=ON >/dev/null
  ! ninja -C "$build" -t commands | grep -q -- -Werror || fail "-Werror in a consumer's build"
  cmake --build "$build" >/dev/null
  # Every ELF executable outside CMake's own compiler checks: the consumer alone.
  executables=$(find "$build" -path '*/CMakeFiles' -prune -o -type f -print0 |
    xargs -0 file | awk -F: '/ELF .*executable/ {print $1}')
  [ "$executables" = "$build/consumer" ] || fail "executables built besides the consumer: $executables"
  "$build/consumer" >/dev/null
  needed=$(readelf -d "$build/consumer" | awk '/NEEDED/ {print $5}')
  if [ "$shared" = ON ]; then
    grep -q 'libzelutil\.so\.1' <<<"$needed" || fail "the shared consumer does not load libzelutil.so.1"
  else
    find "$build" -name libzelutil.a | grep -q . && find "$build" -name libqvlogger.a | grep -q . ||
      fail "no static libraries built"
    ! grep -Eq 'libzelutil|libqvlogger' <<<"$needed" || fail "the static consumer loads: $needed"
    # The static libraries installed serve the CMake package and pkg-config --static.
    cmake --install "$build/_deps/zelutil-build" --prefix "$work/static" >/dev/null
    cmake -S tests/consumer -B "$work/static-consumer" -G Ninja \
      -DCMAKE_PREFIX_PATH="$work/static" >/dev/null
    cmake --build "$work/static-consumer" >/dev/null
    "$work/static-consumer/consumer" >/dev/null
    pcdir=$(dirname "$(find "$work/static" -name zelutil.pc)")
    # shellcheck disable=SC2046
    g++ -std=c++17 tests/consumer/main.cpp -o "$work/static-consumer-pc" \
      $(PKG_CONFIG_PATH="$pcdir" pkg-config --static --cflags --libs zelutil)
    "$work/static-consumer-pc" >/dev/null
  fi
  echo "FetchContent, BUILD_SHARED_LIBS=$shared: ok"
done

cmake --preset release >/dev/null
cmake --build --preset release >/dev/null
(cd build/release && cpack -G DEB -B "$work/deb" >"$work/cpack.log" 2>&1) ||
  { cat "$work/cpack.log"; fail "cpack failed"; }
debs=("$work"/deb/*.deb)
[ ${#debs[@]} -eq 3 ] || fail "expected three packages, got: ${debs[*]}"
lintian --fail-on error --tag-display-limit 0 "${debs[@]}"
dpkg-deb -f "$work"/deb/libzelutil1_*.deb Depends | grep -q 'libicu[0-9]' ||
  fail "libzelutil1 does not depend on ICU"
root="$work/root"
for deb in "${debs[@]}"; do dpkg-deb -x "$deb" "$root"; done
cmake -S tests/consumer -B "$work/deb-consumer" -G Ninja -DCMAKE_PREFIX_PATH="$root/usr" >/dev/null
cmake --build "$work/deb-consumer" >/dev/null
libdir=$(dirname "$(find "$root" -name libzelutil.so.1)")
LD_LIBRARY_PATH="$libdir" "$work/deb-consumer/consumer" >/dev/null
LD_LIBRARY_PATH="$libdir" "$root/usr/bin/zelutil" version >/dev/null
echo "Debian packages: $(cd "$work/deb" && echo *.deb): ok"
