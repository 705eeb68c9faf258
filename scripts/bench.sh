#!/usr/bin/env bash
# Builds the module optimised and prints one table: every operation beside its
# floor, the footprint of a channel and the size of the stripped library.
# Each benchmark runs REPS times (3 unless set), the repetitions of all of them
# shuffled together so that an operation and its floor meet the same moments of
# a busy machine, and the table keeps the lowest time of each. Extra arguments
# go to Google Benchmark (e.g. --benchmark_filter=UIStyle).
#
#   scripts/bench.sh --callgrind OP[/ARG] [COUNT]
# counts instead the instructions of COUNT runs (default 20) of one operation
# under valgrind's callgrind, a figure that does not depend on the machine's
# load; the profile is left in build/bench/callgrind.OP.out for callgrind_annotate.
set -euo pipefail
cd "$(dirname "$0")/.."
./scripts/setup.sh
cmake -S . -B build/bench -DCMAKE_BUILD_TYPE=Release -DSENSOR_BUILD_TESTS=OFF >/dev/null
cmake --build build/bench -j"${JOBS:-2}" --target sensor_bench sensordll >/dev/null
if [ "${1:-}" = "--callgrind" ]; then
  op=${2:?operation name, e.g. GetAllParameters or UIStyle/2}
  count=${3:-20}
  command -v valgrind >/dev/null || { echo "valgrind is needed: apt-get install valgrind" >&2; exit 1; }
  out="build/bench/callgrind.${op//\//_}.out"
  valgrind --tool=callgrind --toggle-collect='*countedRun*' --callgrind-out-file="$out" \
    build/bench/bench/sensor_bench --count="$op:$count" 2>"$out.log" >/dev/null
  total=$(sed -n 's/.*Collected : \([0-9]*\).*/\1/p' "$out.log")
  echo "| $op | $((total / count)) instructions per run ($count runs) |"
  exit 0
fi
build/bench/bench/sensor_bench --benchmark_repetitions="${REPS:-3}" --benchmark_report_aggregates_only=true \
  --benchmark_enable_random_interleaving=true "$@" 2>/dev/null
lib=$(ls build/bench/libsensordll.so* | head -1)
strip -o build/bench/libsensordll.stripped "$lib"
echo "| libsensordll.so stripped | $(stat -c %s build/bench/libsensordll.stripped) bytes |"
