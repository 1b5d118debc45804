#!/usr/bin/env bash
# Installs the Debian 12 packages a task needs, only those that are missing.
# Usage: install-deps.sh demo|test
set -euo pipefail

build=(g++ cmake ninja-build pkg-config libicu-dev libcli11-dev libspdlog-dev libfmt-dev
       nlohmann-json3-dev prometheus-cpp-dev)
test=("${build[@]}" libgtest-dev libgmock-dev libbenchmark-dev libexpat1-dev uuid-dev clang
      libclang-rt-14-dev clang-format git tzdata gcovr valgrind doxygen python3 gnuplot-nox
      lintian dpkg-dev file binutils prometheus curl clang-tidy)

case "${1:-}" in
  demo) wanted=("${build[@]}") ;;
  test) wanted=("${test[@]}") ;;
  *) echo "usage: $0 demo|test" >&2; exit 2 ;;
esac

missing=()
for package in "${wanted[@]}"; do
  dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed" ||
    missing+=("$package")
done
[ ${#missing[@]} -eq 0 ] && exit 0

if [ "$(id -u)" -ne 0 ]; then
  echo "Missing Debian packages: ${missing[*]}; run as root to install them." >&2
  exit 1
fi
echo "Installing: ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
apt-get update -qq
apt-get install -y -qq --no-install-recommends "${missing[@]}"
