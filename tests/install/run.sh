#!/usr/bin/env bash
# Installs the library shared (the build this test belongs to) and static (a
# quick unoptimised build of its own) into prefixes under WORK, checks the
# installed layout, then builds the C and the C++ program of this folder
# against each prefix three ways (find_package, pkg-config, a bare compiler
# command line) and runs them: each must print the expected line.
#   run.sh SOURCE_DIR BUILD_DIR WORK C_COMPILER CXX_COMPILER VERSION
set -euo pipefail
src=$1 build=$2 work=$3 cc=$4 cxx=$5 version=$6
here=$src/tests/install
major=${version%%.*}
expected="$version 3 {\"gain\":1.25,\"rate\":0.5,\"video\":{\"height\":480,\"width\":640}}"
jobs=${TAV_INSTALL_TEST_JOBS:-2}
rm -rf "$work" && mkdir -p "$work"

fail() { echo "FAIL: $*" >&2; exit 1; }
# quiet LOG CMD...: runs CMD with its output in LOG, shown only on failure.
quiet() {
  local log=$work/$1.log; shift
  "$@" >"$log" 2>&1 || { cat "$log" >&2; fail "$*"; }
}
# check NAME PROGRAM PREFIX: PROGRAM prints the expected line and, when the
# prefix holds a shared library, loads that one.
check() {
  local out; out=$("$2") || fail "$1 exited with $?"
  [ "$out" = "$expected" ] || fail "$1 printed '$out', expected '$expected'"
  if [ -e "$3/lib/libTavProperties.so" ]; then
    [[ $(ldd "$2") == *"$3/lib/libTavProperties.so.$major "* ]] || fail "$1 does not load $3/lib"
  fi
  echo "ok  $1"
}

# ---- the two installed trees ----------------------------------------------
shared=$work/shared static=$work/static
quiet install-shared cmake --install "$build" --prefix "$shared"
quiet configure-static cmake -S "$src" -B "$work/static-build" -DTAV_BUILD_SHARED=OFF \
  -DTAV_BUILD_TESTS=OFF -DTAV_BUILD_TOOLS=OFF -DCMAKE_BUILD_TYPE= \
  -DCMAKE_C_COMPILER="$cc" -DCMAKE_CXX_COMPILER="$cxx"
quiet build-static cmake --build "$work/static-build" -j "$jobs"
quiet install-static cmake --install "$work/static-build" --prefix "$static"

for prefix in "$shared" "$static"; do
  [ -f "$prefix/include/tav/Os/TavProperties.h" ] || fail "no include/tav/Os/TavProperties.h in $prefix"
  [ "$(ls "$prefix/include")" = tav ] || fail "headers outside include/tav in $prefix"
  empty=$(find "$prefix" -type d -empty)
  [ -z "$empty" ] || fail "empty folders: $empty"
  inner=$(find "$prefix/include/tav/Os/TavProperties" -mindepth 1 -type d)
  [ -z "$inner" ] || fail "internal headers installed: $inner"
  pc=$(PKG_CONFIG_PATH=$prefix/lib/pkgconfig pkg-config --modversion tav-properties)
  [ "$pc" = "$version" ] || fail "pkg-config version $pc, expected $version"
done
[ "$(readlink "$shared/lib/libTavProperties.so")" = "libTavProperties.so.$major" ] &&
  [ "$(readlink "$shared/lib/libTavProperties.so.$major")" = "libTavProperties.so.$version" ] ||
  fail "libTavProperties.so -> .so.$major -> .so.$version chain"
[[ $(readelf -d "$shared/lib/libTavProperties.so.$version") == *"SONAME"*"[libTavProperties.so.$major]"* ]] ||
  fail "SONAME is not libTavProperties.so.$major"
[ "$("$shared/bin/tavprops" --version)" = "tavprops $version" ] || fail "tavprops --version"
[ -f "$static/lib/libTavProperties.a" ] && [ ! -e "$static/lib/libTavProperties.so" ] ||
  fail "the static tree holds libTavProperties.a alone"
echo "ok  layout, SONAME, versions"

# ---- the programs -----------------------------------------------------------
for kind in shared static; do
  prefix=$work/$kind
  for lang in C CXX; do
    if [ $lang = C ]; then compiler=$cc std=-std=c11 file=consumer.c
    else compiler=$cxx std=-std=c++11 file=consumer.cpp; fi
    name=$kind-$lang
    quiet "$name-cmake" cmake -S "$here" -B "$work/$name" -DCMAKE_PREFIX_PATH="$prefix" \
      -DTAV_CONSUMER_LANGUAGE=$lang -DTAV_CONSUMER_VERSION="$version" \
      -DCMAKE_C_COMPILER="$cc" -DCMAKE_CXX_COMPILER="$cxx"
    quiet "$name-cmake-build" cmake --build "$work/$name"
    check "$name find_package" "$work/$name/consumer" "$prefix"

    static_flag=; [ $kind = static ] && static_flag=--static
    flags=$(PKG_CONFIG_PATH=$prefix/lib/pkgconfig pkg-config --cflags --libs $static_flag tav-properties)
    # shellcheck disable=SC2086 # the flags are words
    quiet "$name-pkg-config" "$compiler" $std -Wall -Wextra -Werror -pedantic "$here/$file" \
      $flags -Wl,-rpath,"$prefix/lib" -o "$work/$name-pkg-config"
    check "$name pkg-config" "$work/$name-pkg-config" "$prefix"

    runtime=; [ $kind = static ] && runtime="-lstdc++ -lm -lpthread"
    # shellcheck disable=SC2086
    quiet "$name-plain" "$compiler" $std -Wall -Wextra -Werror -pedantic \
      -I"$prefix/include/tav" "$here/$file" -L"$prefix/lib" -lTavProperties $runtime \
      -Wl,-rpath,"$prefix/lib" -o "$work/$name-plain"
    check "$name plain" "$work/$name-plain" "$prefix"
  done
done
