#!/usr/bin/env bash
# Builds the libFuzzer driver with clang under ASan+UBSan and runs every fuzz
# target for a bounded time from its seed corpus; any finding fails the run.
# Usage: scripts/fuzz.sh [SECONDS_PER_TARGET] [TARGET...]
set -euo pipefail
cd "$(dirname "$0")/.."
./scripts/setup.sh

seconds=${1:-20}
shift || true
targets=("$@")
if [ ${#targets[@]} -eq 0 ]; then
  targets=(pair_list key_list detail_field debug_sign fov_file scheme_file style_merge dynamic_style parameter_text)
fi

CC=clang CXX=clang++ cmake -S . -B build/fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo -DSENSOR_SANITIZE=address \
  -DSENSOR_FUZZ=ON -DSENSOR_BUILD_TESTS=OFF >/dev/null
cmake --build build/fuzz -j"${JOBS:-2}" --target sensor_fuzz

export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
mkdir -p build/fuzz/findings
status=0
printf '%-16s %12s %10s %8s\n' target executions exec/s cov
for t in "${targets[@]}"; do
  work=build/fuzz/corpus/$t
  rm -rf "$work" && mkdir -p "$work"
  cp fuzz/corpus/"$t"/* "$work"/
  log=build/fuzz/$t.log
  if SENSOR_FUZZ_TARGET=$t build/fuzz/fuzz/sensor_fuzz -max_total_time="$seconds" -close_fd_mask=1 \
       -print_final_stats=1 -artifact_prefix=build/fuzz/findings/"$t"- "$work" >"$log" 2>&1; then
    runs=$(grep -o 'stat::number_of_executed_units: [0-9]*' "$log" | awk '{print $2}')
    cov=$(grep -o 'cov: [0-9]*' "$log" | tail -1 | awk '{print $2}')
    printf '%-16s %12s %10s %8s\n' "$t" "$runs" "$((runs / seconds))" "$cov"
  else
    echo "$t: FINDING (see $log; the input is in build/fuzz/findings/; copy it to fuzz/regressions/$t/)"
    tail -40 "$log"
    status=1
  fi
done
exit $status
