#!/usr/bin/env bash
# The served camera under load: `sensorctl serve` from the optimised build in
# build/bench, on a free port of this machine and a fresh camera root, driven
# by wrk with 1, 8 and 64 clients, each request setting one parameter through
# the JSON API (PUT /api/channels/CH/params/34, a new value each time, so every
# request reaches the library), on one channel and spread over sixteen. Beside
# each: the same module call made in-process (SetParameterSend of the benchmark
# binary) and the library's own call (its floor). Then the image settings
# page's load time to its first rendered control in headless Chromium
# (bench/page-load.mjs, PAGE_RUNS fresh browser contexts, 20 unless set).
#
#   scripts/load.sh              DURATION seconds per case (10 unless set)
set -euo pipefail
cd "$(dirname "$0")/.."
./scripts/setup.sh wrk

build=build/bench
duration=${DURATION:-10}
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Release -DSENSOR_BUILD_TESTS=OFF >/dev/null
cmake --build "$build" -j"${JOBS:-2}" --target sensorctl sensor_bench >/dev/null
sensorctl=$PWD/$build/tools/sensorctl/sensorctl

work=$(mktemp -d)
server=
cleanup() {
  if [ -n "$server" ]; then kill "$server" 2>/dev/null || true; fi
  rm -rf "$work"
}
trap cleanup EXIT

# root DIR CHANNELS: a bundled bullet camera; for sixteen channels its module
# is listed sixteen times, as a board with sixteen sensors lists its modules.
root() {
  "$sensorctl" init-root "$1" --profile bullet >/dev/null
  local config=$1/hd1/moduleConfig/moduleConfig.xml
  if [ "$2" -gt 1 ]; then
    awk -v n="$2" '/<module /{m=1} m{b=b $0 "\n"} !m{print} /<\/module>/{for(i=0;i<n;i++) printf "%s", b; m=0; b=""}' \
      "$config" >"$config.new"
    mv "$config.new" "$config"
  fi
  # Level 1, as in the benchmarks: every gated statement reads the file and prints nothing.
  printf '1\n0\n' >"$1/tmp/Debug.sign"
}

# serve DIR: starts the server on a free port; sets $server and $port.
serve() {
  "$sensorctl" serve --root "$1" --listen 127.0.0.1:0 >"$work/serve.log" 2>&1 &
  server=$!
  for _ in $(seq 100); do
    port=$(sed -n 's|^serving http://127.0.0.1:\([0-9]*\)/.*|\1|p' "$work/serve.log")
    [ -n "$port" ] && return 0
    kill -0 "$server" 2>/dev/null || break
    sleep 0.1
  done
  cat "$work/serve.log" >&2
  echo "sensorctl serve did not start" >&2
  exit 1
}

stop() {
  kill "$server"
  wait "$server" || true
  server=
}

# Channels taken in turn; each channel's values go round 0-100, the second
# wrk thread half a round ahead, so that requests in flight together rarely
# carry the same value. The answer's trace is empty when the module skipped
# an unchanged value.
cat >"$work/set.lua" <<'EOF'
local channels = tonumber(os.getenv("CHANNELS"))
local threads = {}
function setup(thread)
  thread:set("id", #threads)
  table.insert(threads, thread)
end
local n = 0
skipped = 0
function request()
  n = n + 1
  local ch = n % channels + 1
  local value = (math.floor(n / channels) + 50 * id) % 101
  return wrk.format("PUT", "/api/channels/" .. ch .. "/params/34", { ["Content-Type"] = "application/json" },
    '{"value":' .. value .. '}')
end
function response(status, headers, body)
  if status ~= 200 or string.find(body, '"trace":[]', 1, true) then skipped = skipped + 1 end
end
function done(summary, latency, requests)
  local notSent = 0
  for _, t in ipairs(threads) do notSent = notSent + t:get("skipped") end
  local e = summary.errors
  io.write(string.format("RESULT %d %d %.1f %.1f %d %d\n", summary.requests, summary.duration,
    latency:percentile(50), latency:percentile(99), notSent, e.connect + e.read + e.write + e.status + e.timeout))
end
EOF

# The floors, in-process, lowest of three runs.
floors=$("$build/bench/sensor_bench" --benchmark_filter='^SetParameterSend' --benchmark_repetitions=3 \
  --raw-times 2>/dev/null)
call=$(awk '$1 == "SetParameterSend" { print $2 / 1000 }' <<<"$floors")
library=$(awk '$1 == "SetParameterSend_floor" { print $2 / 1000 }' <<<"$floors")

echo "In-process setParameter (a new value): ${call} us; its library call with the debug-level checks: ${library} us"
echo
echo "| Channels | Clients | Requests/s | p50 | p99 | p50 / in-process call | not sent (skipped, refused) | errors |"
echo "|---:|---:|---:|---:|---:|---:|---:|---:|"
for channels in 1 16; do
  for clients in 1 8 64; do
    rm -rf "$work/root"
    root "$work/root" "$channels"
    serve "$work/root"
    threads=$((clients < 2 ? 1 : 2))
    result=$(CHANNELS=$channels wrk -t"$threads" -c"$clients" -d"${duration}s" -s "$work/set.lua" \
      "http://127.0.0.1:$port" | sed -n 's/^RESULT //p')
    stop
    read -r requests us p50 p99 skipped errors <<<"$result"
    awk -v ch="$channels" -v c="$clients" -v n="$requests" -v us="$us" -v p50="$p50" -v p99="$p99" \
      -v s="$skipped" -v e="$errors" -v call="$call" 'BEGIN {
        printf "| %d | %d | %.0f | %.0f us | %.0f us | %.1f | %.1f %% | %d |\n",
          ch, c, n / (us / 1e6), p50, p99, p50 / call, 100 * s / n, e }'
  done
done

echo
echo "| The page (bullet camera, channel 1) | Time |"
echo "|---|---:|"
(cd tests/browser && PLAYWRIGHT_SKIP_BROWSER_DOWNLOAD=1 npm ci --no-audit --no-fund >/dev/null)
node bench/page-load.mjs "$sensorctl" "${PAGE_RUNS:-20}"
