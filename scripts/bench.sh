#!/usr/bin/env bash
# Builds the module optimised and measures every operation beside its floor.
#
#   scripts/bench.sh                       everything docs/BENCHMARKS.md shows: the sizes and
#                                          heap figures, --compare $BEFORE (default: the module
#                                          before the second performance round), --debug-checks,
#                                          --flush-history, then scripts/load.sh (the served camera)
#   scripts/bench.sh --times [ARGS]        times: each benchmark REPS times (3 unless
#                                          set), the repetitions of all of them shuffled
#                                          together, the lowest kept; then the footprint
#                                          of a channel and the stripped sizes. ARGS go to
#                                          Google Benchmark (e.g. --benchmark_filter=UIStyle)
#   scripts/bench.sh --instructions        instructions per run of every operation and
#                                          floor under callgrind (independent of the load)
#   scripts/bench.sh --debug-checks        the share of the debug-level checks: the same
#                                          operations built with the checks compiled to
#                                          nothing (a scratch copy, never committed),
#                                          instructions and ROUNDS (5) interleaved timed runs
#   scripts/bench.sh --flush-history       Flush before crash-safe saving (the commit before
#                                          the merge of issue-20) and now
#   scripts/bench.sh --compare REV         before and after: the same benchmark source
#                                          built against REV's module and this one, times
#                                          (ROUNDS interleaved runs, lowest kept) and
#                                          instructions, every operation beside its floor
#   scripts/bench.sh --sizes               stripped sizes and the heap figures alone
#   scripts/bench.sh --load                scripts/load.sh: the served camera under load
#   scripts/bench.sh --callgrind OP [N]    instructions of N runs (default 20) of one
#                                          operation; the profile stays in
#                                          build/bench/callgrind.OP.out for callgrind_annotate
set -euo pipefail
cd "$(dirname "$0")/.."
./scripts/setup.sh

jobs=${JOBS:-2}

# build DIR SOURCE [TARGET...]: an optimised build of the benchmark (and targets).
build() {
  local dir=$1 src=$2
  shift 2
  cmake -S "$src" -B "$dir" -DCMAKE_BUILD_TYPE=Release -DSENSOR_BUILD_TESTS=OFF >/dev/null
  cmake --build "$dir" -j"$jobs" --target sensor_bench sensordll "$@" >/dev/null
}

# tree NAME REV: REV's sources with the current benchmark source, built in build/bench-NAME.
tree() {
  local dir=build/bench-$1
  rm -rf "$dir/src" && mkdir -p "$dir/src"
  git archive "$2" | tar -x -C "$dir/src"
  cp bench/* "$dir/src/bench/"
  build "$dir/build" "$dir/src"
}

# Runs per callgrind count: enough for the first run's one-time costs to vanish,
# fewer for the slow operations.
runs_of() {
  case $1 in
  SixteenChannels*) echo 3 ;;
  InitUinit* | UIStyle*/10 | UIStyle*/4) echo 5 ;;
  UIStyle* | SwitchForced*) echo 20 ;;
  SwitchTenKeys* | GetAllParameters* | Flush*/1) echo 100 ;;
  *) echo 200 ;;
  esac
}

# count BINARY OP [N]: instructions per run of OP.
count() {
  local bin=$1 op=$2 n=${3:-$(runs_of "$2")}
  command -v valgrind >/dev/null || { echo "valgrind is needed: apt-get install valgrind" >&2; exit 1; }
  local out
  out="$(dirname "$(dirname "$bin")")/callgrind.${op//\//_}.out"
  valgrind --tool=callgrind --toggle-collect='*countedRun*' --callgrind-out-file="$out" \
    "$bin" --count="$op:$n" 2>"$out.log" >/dev/null
  echo $(($(sed -n 's/.*Collected : \([0-9]*\).*/\1/p' "$out.log") / n))
}

floor_of() { case $1 in */*) echo "${1%%/*}_floor/${1#*/}" ;; *) echo "${1}_floor" ;; esac; }
operations() { "$1" --list-operations | grep -v _floor; }

times() {
  local bin=$1
  shift
  "$bin" --benchmark_repetitions="${REPS:-3}" --benchmark_report_aggregates_only=true \
    --benchmark_enable_random_interleaving=true "$@" 2>/dev/null
}

instructions() {
  local bin=$1 op i f
  echo "| Operation | Instructions | Floor | Ratio |"
  echo "|---|---:|---:|---:|"
  for op in $(operations "$bin"); do
    i=$(count "$bin" "$op")
    f=$(count "$bin" "$(floor_of "$op")")
    echo "| $op | $i | $f | $(awk -v a="$i" -v b="$f" 'BEGIN { printf "%.2f", a / b }') |"
  done
}

sizes() {
  local lib
  lib=$(ls build/bench/libsensordll.so.*.* | head -1)
  strip -o build/bench/libsensordll.stripped "$lib"
  strip -o build/bench/sensorctl.stripped build/bench/tools/sensorctl/sensorctl
  echo
  echo "| Stripped | Bytes |"
  echo "|---|---:|"
  echo "| libsensordll.so | $(stat -c %s build/bench/libsensordll.stripped) |"
  echo "| sensorctl (the executable, host-side library linked in; it loads libsensordll and libhostsim) | $(stat -c %s build/bench/sensorctl.stripped) |"
  if [ "$(stat -c %s build/bench/libsensordll.stripped)" -ge 262144 ]; then
    echo "libsensordll.so is 256 KB or more stripped" >&2
    exit 1
  fi
}

footprint() { build/bench/bench/sensor_bench --footprint; }

# interleaved A B [FILTER]: the lowest time (ns) of each operation over ROUNDS
# runs of each binary, the runs alternating; one line "name A B" per operation.
interleaved() {
  local rounds=${ROUNDS:-5} r b
  local filter=${3:-^[A-Za-z]+(/[0-9]+)?$}
  : >build/bench/times.a
  : >build/bench/times.b
  for r in $(seq "$rounds"); do
    "$1" --benchmark_filter="$filter" --raw-times 2>/dev/null >>build/bench/times.a
    "$2" --benchmark_filter="$filter" --raw-times 2>/dev/null >>build/bench/times.b
  done
  for b in a b; do
    awk '!($1 in m) || $2 < m[$1] { m[$1] = $2 } END { for (k in m) print k, m[k] }' build/bench/times.$b |
      sort >build/bench/times.$b.min
  done
  join build/bench/times.a.min build/bench/times.b.min
}

# compare REV: before (REV's module) and after (this tree), every operation and
# its floor, times from interleaved runs and instructions from callgrind.
compare() {
  local name old new op
  name=$(git rev-parse --short "$1")
  tree "$name" "$1"
  old=build/bench-$name/build/bench/sensor_bench
  new=build/bench/bench/sensor_bench
  echo "| Before and after | Before | After |"
  echo "|---|---:|---:|"
  local lib
  for lib in "build/bench-$name/build" build/bench; do
    strip -o "$lib/libsensordll.stripped" "$(ls "$lib"/libsensordll.so.*.* | head -1)"
  done
  echo "| libsensordll.so stripped | $(stat -c %s "build/bench-$name/build/libsensordll.stripped") bytes |" \
    "$(stat -c %s build/bench/libsensordll.stripped) bytes |"
  # The rows of the module's footprint, each with its value before and after.
  awk -F' [|] ' 'NR == FNR { if (/^\| [a-z]/) before[$1] = $2; next }
    /^\| [a-z]/ && ($1 in before) { sub(/ \|$/, "", $2); sub(/ \|$/, "", before[$1]); print $1 " | " before[$1] " | " $2 " |" }' \
    <("$old" --footprint) <("$new" --footprint | sed '/^| Served/,$d')
  echo
  interleaved "$old" "$new" . >build/bench/times.compare
  echo "| Operation | Before | Floor | Ratio | After | Floor | Ratio |"
  echo "|---|---:|---:|---:|---:|---:|---:|"
  for op in $(operations "$new"); do
    awk -v op="$op" -v fl="$(floor_of "$op")" '
      function t(ns) { return ns < 1e4 ? sprintf("%.0f ns", ns) : ns < 1e7 ? sprintf("%.1f us", ns / 1e3) : sprintf("%.1f ms", ns / 1e6) }
      $1 == op { b = $2; a = $3 } $1 == fl { fb = $2; fa = $3 }
      END { if (b != "") printf "| %s | %s | %s | %.2f | %s | %s | %.2f |\n", op, t(b), t(fb), b / fb, t(a), t(fa), a / fa }' \
      build/bench/times.compare
  done
  echo
  echo "| Operation | Before | Floor | Ratio | After | Floor | Ratio |"
  echo "|---|---:|---:|---:|---:|---:|---:|"
  for op in $(operations "$new"); do
    local b fb a fa
    b=$(count "$old" "$op")
    fb=$(count "$old" "$(floor_of "$op")")
    a=$(count "$new" "$op")
    fa=$(count "$new" "$(floor_of "$op")")
    awk -v op="$op" -v b="$b" -v fb="$fb" -v a="$a" -v fa="$fa" \
      'BEGIN { printf "| %s | %d | %d | %.2f | %d | %d | %.2f |\n", op, b, fb, b / fb, a, fa, a / fa }'
  done
}

debug_checks() {
  local dir=build/bench-nochecks op with without
  rm -rf "$dir/src" && mkdir -p "$dir/src"
  git ls-files -z --cached --others --exclude-standard | xargs -0 cp --parents -t "$dir/src"
  # The refresh of the level returns at once: no existence test, open or line read.
  sed -i '/^void updateDebugLevel()$/{n;s/^{$/{ return;/}' "$dir/src/diagnostics/SensorDebug.cpp"
  grep -q '^{ return;' "$dir/src/diagnostics/SensorDebug.cpp" || { echo "could not patch updateDebugLevel" >&2; exit 1; }
  build "$dir/build" "$dir/src"
  echo "| Operation | Instructions | without checks | checks | Time | without checks | checks |"
  echo "|---|---:|---:|---:|---:|---:|---:|"
  interleaved build/bench/bench/sensor_bench "$dir/build/bench/sensor_bench" >build/bench/times.joined
  for op in $(operations build/bench/bench/sensor_bench); do
    with=$(count build/bench/bench/sensor_bench "$op")
    without=$(count "$dir/build/bench/sensor_bench" "$op")
    awk -v op="$op" -v i="$with" -v j="$without" '
      function t(ns) { return ns < 1e4 ? sprintf("%.0f ns", ns) : ns < 1e7 ? sprintf("%.1f us", ns / 1e3) : sprintf("%.1f ms", ns / 1e6) }
      $1 == op { printf "| %s | %d | %d | %.0f %% | %s | %s | %.0f %% |\n", op, i, j, 100 * (i - j) / i,
        t($2), t($3), 100 * ($2 - $3) / $2 }' build/bench/times.joined
  done
}

flush_history() {
  local merge rev
  merge=$(git log --merges --grep="Merge branch 'issue-20'" -1 --format=%H)
  rev=$(git rev-parse "$merge^1")
  tree predurable "$rev"
  echo "| Flush | before crash-safe saving ($(git rev-parse --short "$rev")) | floor | now | floor |"
  echo "|---|---:|---:|---:|---:|"
  local old=build/bench-predurable/build/bench/sensor_bench new=build/bench/bench/sensor_bench op
  interleaved "$old" "$new" '^Flush' >build/bench/times.flush
  for op in Flush/0 Flush/1; do
    echo "| $op instructions | $(count "$old" "$op") | $(count "$old" "$(floor_of "$op")") |" \
      "$(count "$new" "$op") | $(count "$new" "$(floor_of "$op")") |"
  done
  awk '{ printf "| %s time | %.1f us | | %.1f us | |\n", $1, $2 / 1000, $3 / 1000 }' build/bench/times.flush
}

build build/bench . sensorctl style_diff
bin=build/bench/bench/sensor_bench
case "${1:-}" in
--callgrind)
  op=${2:?operation name, e.g. GetAllParameters or UIStyle/2}
  echo "| $op | $(count "$bin" "$op" "${3:-20}") instructions per run |"
  ;;
--times)
  shift
  times "$bin" "$@"
  sizes
  ;;
--instructions) instructions "$bin" ;;
--debug-checks) debug_checks ;;
--flush-history) flush_history ;;
--compare) compare "${2:?revision}" ;;
--sizes)
  sizes
  footprint
  ;;
--load) exec ./scripts/load.sh ;;
"")
  sizes
  footprint
  echo
  compare "${BEFORE:-611ba8f}"
  echo
  debug_checks
  echo
  flush_history
  echo
  ./scripts/load.sh
  ;;
*)
  echo "unknown mode $1 (see the top of $0)" >&2
  exit 2
  ;;
esac
