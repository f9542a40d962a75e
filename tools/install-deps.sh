#!/usr/bin/env bash
# Installs what the build, the tests and the reliability runs need when it is
# missing (Debian machines); does nothing when everything is there.
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
[ -f /usr/include/gtest/gtest.h ] || need+=(libgtest-dev)
[ -f /usr/include/gmock/gmock.h ] || need+=(libgmock-dev)
[ -f /usr/include/benchmark/benchmark.h ] || need+=(libbenchmark-dev)
[ -f /usr/include/nlohmann/json.hpp ] || need+=(nlohmann-json3-dev)
if [ ${#need[@]} -gt 0 ]; then
  echo "installing: ${need[*]}"
  SUDO=""; [ "$(id -u)" -eq 0 ] || SUDO=sudo
  $SUDO apt-get update -qq && $SUDO apt-get install -y -qq "${need[@]}"
fi
