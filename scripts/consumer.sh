#!/usr/bin/env bash
# Installs the module from a build tree into a temporary prefix and builds the
# small host program of tests/consumer against it twice: through
# find_package(sensordll) and through pkg-config. Both must run and agree.
# Usage: scripts/consumer.sh [BUILD_DIR]   (default build/plain)
set -euo pipefail
cd "$(dirname "$0")/.."

build=${1:-build/plain}
jobs=${JOBS:-2}
if [ ! -f "$build/CMakeCache.txt" ]; then
  cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
fi
cmake --build "$build" -j"$jobs" --target sensordll hostsim >/dev/null

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
prefix=$work/prefix
cmake --install "$build" --prefix "$prefix" >/dev/null

expected="init 1, set 0, get 1 (34,60), sent: ia ch=0 cmd=34 opt=0 in=[60] ret=0"
check() {
  local how=$1 program=$2 out status=0
  # The module talks on the console during start-up; the program's result is its last line.
  out=$("$program" "$work/root-$how" 2>/dev/null | tail -n 1) || status=$?
  if [ "$status" != 0 ] || [ "$out" != "$expected" ]; then
    printf 'consumer (%s) exited %s, printing\n  %s\nexpected\n  %s\n' "$how" "$status" "$out" "$expected"
    exit 1
  fi
  echo "consumer ($how): $out"
}

lib=$(find "$prefix" -name 'libsensordll.so' -type l)
soname=$(readelf -d "$lib" | sed -n 's/.*Library soname: \[\(.*\)\].*/\1/p')
[ "$soname" = libsensordll.so.1 ] || { echo "installed soname is '$soname', not libsensordll.so.1"; exit 1; }

cmake -S tests/consumer -B "$work/cmake" -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$work/cmake" >/dev/null
check find_package "$work/cmake/consumer"

export PKG_CONFIG_PATH
PKG_CONFIG_PATH=$(dirname "$(find "$prefix" -name sensordll.pc)")
libdir=$(pkg-config --variable=libdir sensordll)
profiles=$(pkg-config --variable=profilesdir sensordll-hostsim)
# shellcheck disable=SC2046  # pkg-config prints several words on purpose
g++ -o "$work/consumer-pc" tests/consumer/main.cpp -DPROFILES_DIR="\"$profiles\"" -Wl,-rpath,"$libdir" \
  $(pkg-config --cflags --libs sensordll-hostsim)
check pkg-config "$work/consumer-pc"
