#!/usr/bin/env bash
# Builds the libFuzzer driver with clang under ASan+UBSan and runs every fuzz
# target for a bounded time from its seed corpus, JOBS targets at a time; any
# finding fails the run.
# Usage: scripts/fuzz.sh [SECONDS_PER_TARGET] [TARGET...]
set -euo pipefail
cd "$(dirname "$0")/.."
./scripts/setup.sh

seconds=${1:-20}
shift || true
targets=("$@")
if [ ${#targets[@]} -eq 0 ]; then
  targets=(pair_list key_list detail_field debug_sign fov_file scheme_file style_merge dynamic_style parameter_text
    soap_request)
fi
jobs=${JOBS:-2}

CC=clang CXX=clang++ cmake -S . -B build/fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo -DSENSOR_SANITIZE=address \
  -DSENSOR_FUZZ=ON -DSENSOR_BUILD_TESTS=OFF -DSENSOR_WERROR="${SENSOR_WERROR:-OFF}" >/dev/null
cmake --build build/fuzz -j"$jobs" --target sensor_fuzz

export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
mkdir -p build/fuzz/findings

# One target: its own copy of the seeds, its log, and a status file for the summary.
run_target() {
  local t=$1 work=build/fuzz/corpus/$1 log=build/fuzz/$1.log
  rm -rf "$work" && mkdir -p "$work"
  cp fuzz/corpus/"$t"/* "$work"/
  if SENSOR_FUZZ_TARGET=$t build/fuzz/fuzz/sensor_fuzz -max_total_time="$seconds" -close_fd_mask=1 \
       -print_final_stats=1 -artifact_prefix=build/fuzz/findings/"$t"- "$work" >"$log" 2>&1; then
    echo ok >build/fuzz/$t.status
  else
    echo finding >build/fuzz/$t.status
  fi
}

running=0
for t in "${targets[@]}"; do
  rm -f build/fuzz/$t.status
  run_target "$t" &
  running=$((running + 1))
  if [ "$running" -ge "$jobs" ]; then
    wait -n || true
    running=$((running - 1))
  fi
done
wait || true

status=0
printf '%-16s %12s %10s %8s\n' target executions exec/s cov
for t in "${targets[@]}"; do
  log=build/fuzz/$t.log
  if [ "$(cat build/fuzz/$t.status 2>/dev/null)" = ok ]; then
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
