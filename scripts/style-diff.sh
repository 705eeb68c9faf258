#!/usr/bin/env bash
# Differential check of the module's text work against another revision: the
# dynamic style, factory set and merge of the bundled styles at every size and
# of mutated styles, pair texts, and applies on a simulated camera (results,
# library trace, console and error log), byte for byte. Source line numbers in
# the reports are masked: they move with the code.
#
#   scripts/style-diff.sh [REV] [CASES] [SEEDS]     (defaults: main 2000 4)
set -euo pipefail
cd "$(dirname "$0")/.."
rev=${1:-main}
cases=${2:-2000}
seeds=${3:-4}
work=build/style-diff
rm -rf "$work/src" && mkdir -p "$work/src" "$work/out"
git archive "$rev" | tar -x -C "$work/src"
cmake -S "$work/src" -B "$work/base" -DCMAKE_BUILD_TYPE=Release -DSENSOR_BUILD_TESTS=OFF -DSENSOR_BUILD_BENCH=OFF >/dev/null
cmake --build "$work/base" -j"${JOBS:-2}" --target sensordll >/dev/null
cmake -S . -B build/bench -DCMAKE_BUILD_TYPE=Release -DSENSOR_BUILD_TESTS=OFF >/dev/null
cmake --build build/bench -j"${JOBS:-2}" --target style_diff sensordll >/dev/null
mask() { sed 's/line:[0-9]*/line:N/g'; }
for seed in $(seq 1 "$seeds"); do
  LD_LIBRARY_PATH="$work/base" build/bench/bench/style_diff profiles "$cases" "$seed" | mask >"$work/out/base.txt"
  build/bench/bench/style_diff profiles "$cases" "$seed" | mask >"$work/out/new.txt"
  if ! cmp -s "$work/out/base.txt" "$work/out/new.txt"; then
    echo "seed $seed: outputs differ (kept in $work/out)" >&2
    diff -a "$work/out/base.txt" "$work/out/new.txt" | head -20 >&2
    exit 1
  fi
  echo "seed $seed: $cases mutated styles, $cases pair texts, the bundled styles and the applies: identical ($(wc -c <"$work/out/new.txt") bytes)"
done
rm -rf "$work/out"
