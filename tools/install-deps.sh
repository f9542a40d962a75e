#!/usr/bin/env bash
# Installs what the build, the tests and the reliability runs need when it is
# missing (Debian machines); does nothing when everything is there.
#
# With --bench it also brings the libraries the comparative benchmark measures
# this one against. Those are for the benchmark only (the library itself has no
# dependency) and best effort: a package that can't be installed leaves its
# column out of the comparison rather than failing the build.
set -euo pipefail
need=()
have() { command -v "$1" >/dev/null 2>&1; }
have cmake || need+=(cmake)
have g++ || need+=(g++)
have clang++ || need+=(clang)
have valgrind || need+=(valgrind)
have python3 || need+=(python3)
have pkg-config || need+=(pkg-config)
have xmllint || need+=(libxml2-utils)
have clang-format-14 || need+=(clang-format-14)
[ -f /usr/include/gtest/gtest.h ] || need+=(libgtest-dev)
[ -f /usr/include/gmock/gmock.h ] || need+=(libgmock-dev)
[ -f /usr/include/benchmark/benchmark.h ] || need+=(libbenchmark-dev)
[ -f /usr/include/nlohmann/json.hpp ] || need+=(nlohmann-json3-dev)
SUDO=""; [ "$(id -u)" -eq 0 ] || SUDO=sudo
updated=0
apt_install() {
  [ $updated -eq 1 ] || { $SUDO apt-get update -qq; updated=1; }
  $SUDO apt-get install -y -qq "$@"
}
if [ ${#need[@]} -gt 0 ]; then
  echo "installing: ${need[*]}"
  apt_install "${need[@]}"
fi

[ "${1:-}" = "--bench" ] || exit 0
optional=()
[ -f /usr/include/boost/property_tree/json_parser.hpp ] || optional+=(libboost-dev)
[ -f /usr/include/rapidjson/document.h ] || optional+=(rapidjson-dev)
have pkg-config && pkg-config --exists gstreamer-1.0 || optional+=(libgstreamer1.0-dev)  # brings pkg-config
for p in "${optional[@]}"; do
  echo "installing for the benchmark: $p"
  apt_install "$p" || echo "warning: $p could not be installed; the benchmark leaves it out" >&2
done
exit 0
