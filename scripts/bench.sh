#!/usr/bin/env bash
# Builds the module optimised and prints one table: every operation beside its
# floor, the footprint of a channel and the size of the stripped library.
# Extra arguments go to Google Benchmark (e.g. --benchmark_filter=UIStyle).
set -euo pipefail
cd "$(dirname "$0")/.."
./scripts/setup.sh
cmake -S . -B build/bench -DCMAKE_BUILD_TYPE=Release -DSENSOR_BUILD_TESTS=OFF >/dev/null
cmake --build build/bench -j"${JOBS:-2}" --target sensor_bench sensordll >/dev/null
build/bench/bench/sensor_bench "$@" 2>/dev/null
lib=$(ls build/bench/libsensordll.so* | head -1)
strip -o build/bench/libsensordll.stripped "$lib"
echo "| libsensordll.so stripped | $(stat -c %s build/bench/libsensordll.stripped) bytes |"
