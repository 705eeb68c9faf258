#!/usr/bin/env bash
# The served camera under load: `sensorctl serve` from the optimised build in
# build/bench, on a free port of this machine and a fresh camera root per case,
# driven by wrk with 1, 8 and 64 clients on one channel and spread over
# sixteen. Each request sets one parameter to a new value, so that each one
# reaches the library:
#   JSON   PUT /api/channels/CH/params/34 {"value": V}
#   ONVIF  SetImagingSettings of Brightness on VideoSource_CH (not persisted),
#          with a WS-Security UsernameToken digest of its own (fresh nonce,
#          created times in order: the server refuses a nonce it has seen)
# Beside each: the same module call made in-process (SetParameterSend of the
# benchmark binary) and the library's own call with its debug-level checks
# (its floor). Then the image settings page's load time to its first rendered
# control in headless Chromium (bench/page-load.mjs, PAGE_RUNS fresh browser
# contexts, 20 unless set).
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

# serve DIR: starts the server on a free port, with an ONVIF user; sets $server and $port.
serve() {
  "$sensorctl" serve --root "$1" --listen 127.0.0.1:0 --onvif-user bench:load-secret >"$work/serve.log" 2>&1 &
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

# onvif_bodies CHANNELS COUNT: one SetImagingSettings envelope per line, each
# with its own nonce and a created time 1 ms after the one before (starting a
# minute back, well inside the server's five-minute window).
onvif_bodies() {
  python3 - "$1" "$2" <<'EOF'
import base64, datetime, hashlib, os, sys
channels, count = int(sys.argv[1]), int(sys.argv[2])
start = datetime.datetime.now(datetime.timezone.utc) - datetime.timedelta(minutes=1)
for i in range(count):
    created = (start + datetime.timedelta(milliseconds=i)).strftime("%Y-%m-%dT%H:%M:%S.%f")[:-3] + "Z"
    nonce = os.urandom(16)
    digest = base64.b64encode(hashlib.sha1(nonce + created.encode() + b"load-secret").digest()).decode()
    print('<s:Envelope xmlns:s="http://www.w3.org/2003/05/soap-envelope"><s:Header>'
          '<Security s:mustUnderstand="1" xmlns="http://docs.oasis-open.org/wss/2004/01/'
          'oasis-200401-wss-wssecurity-secext-1.0.xsd"><UsernameToken><Username>bench</Username>'
          '<Password Type="http://docs.oasis-open.org/wss/2004/01/oasis-200401-wss-username-token-profile-1.0'
          f'#PasswordDigest">{digest}</Password><Nonce>{base64.b64encode(nonce).decode()}</Nonce>'
          f'<Created>{created}</Created></UsernameToken></Security></s:Header><s:Body>'
          '<timg:SetImagingSettings xmlns:timg="http://www.onvif.org/ver20/imaging/wsdl" '
          f'xmlns:tt="http://www.onvif.org/ver10/schema"><timg:VideoSourceToken>VideoSource_{i % channels + 1}'
          f'</timg:VideoSourceToken><timg:ImagingSettings><tt:Brightness>{i // channels % 101}</tt:Brightness>'
          '</timg:ImagingSettings><timg:ForcePersistence>false</timg:ForcePersistence>'
          '</timg:SetImagingSettings></s:Body></s:Envelope>')
EOF
}

# One wrk thread drives every client, in request order: channels taken in
# turn, each channel's values going round 0-100, so that no two requests in
# flight carry the same value (the JSON answer's trace is empty when the
# module skipped an unchanged value), and ONVIF tokens leave in the order they
# were created (the server forgets the oldest of its last 1024 nonces and
# refuses any token created before it).
cat >"$work/set.lua" <<'EOF'
local channels = tonumber(os.getenv("CHANNELS"))
local bodiesFile = os.getenv("BODIES")
local thread
function setup(t) thread = t end
local bodies = {}
function init(args)
  if bodiesFile ~= "" then
    for line in io.lines(bodiesFile) do bodies[#bodies + 1] = line end
  end
end
local n = 0
notSent = 0
function request()
  n = n + 1
  if bodiesFile ~= "" then
    return wrk.format("POST", "/onvif/imaging_service", { ["Content-Type"] = "application/soap+xml" },
      bodies[(n - 1) % #bodies + 1])
  end
  local value = math.floor(n / channels) % 101
  return wrk.format("PUT", "/api/channels/" .. n % channels + 1 .. "/params/34",
    { ["Content-Type"] = "application/json" }, '{"value":' .. value .. '}')
end
function response(status, headers, body)
  if status ~= 200 or string.find(body, '"trace":[]', 1, true) then notSent = notSent + 1 end
end
function done(summary, latency, requests)
  local all = thread:get("notSent")
  local e = summary.errors
  io.write(string.format("RESULT %d %d %.1f %.1f %d %d\n", summary.requests, summary.duration,
    latency:percentile(50), latency:percentile(99), all, e.connect + e.read + e.write + e.status + e.timeout))
end
EOF

# The floors, in-process, lowest of three runs.
floors=$("$build/bench/sensor_bench" --benchmark_filter='^SetParameterSend' --benchmark_repetitions=3 \
  --raw-times 2>/dev/null)
call=$(awk '$1 == "SetParameterSend" { print $2 / 1000 }' <<<"$floors")
library=$(awk '$1 == "SetParameterSend_floor" { print $2 / 1000 }' <<<"$floors")

echo "In-process setParameter (a new value): ${call} us; its library call with the debug-level checks: ${library} us"
echo
echo "| Request | Channels | Clients | Requests/s | p50 | p99 | p50 / in-process call | not sent or refused | errors |"
echo "|---|---:|---:|---:|---:|---:|---:|---:|---:|"
for kind in JSON ONVIF; do
  for channels in 1 16; do
    for clients in 1 8 64; do
      bodies=
      if [ "$kind" = ONVIF ]; then
        bodies=$work/bodies.txt
        onvif_bodies "$channels" $((duration * 8000)) >"$bodies"
      fi
      rm -rf "$work/root"
      root "$work/root" "$channels"
      serve "$work/root"
      result=$(CHANNELS=$channels BODIES=$bodies wrk -t1 -c"$clients" -d"${duration}s" \
        -s "$work/set.lua" "http://127.0.0.1:$port" | sed -n 's/^RESULT //p')
      stop
      read -r requests us p50 p99 notsent errors <<<"$result"
      awk -v k="$kind" -v ch="$channels" -v c="$clients" -v n="$requests" -v us="$us" -v p50="$p50" -v p99="$p99" \
        -v s="$notsent" -v e="$errors" -v call="$call" 'BEGIN {
          printf "| %s | %d | %d | %.0f | %.0f us | %.0f us | %.1f | %.1f %% | %d |\n",
            k, ch, c, n / (us / 1e6), p50, p99, p50 / call, 100 * s / n, e }'
    done
  done
done

# The server's instructions per request under callgrind (connections' work
# only, from accept to close), one client for a few seconds, and the part of
# them spent in the module's public calls the handler made.
instructions() {
  local kind=$1 bodies= out=$work/callgrind.out vg
  rm -rf "$work/root"
  root "$work/root" 1
  if [ "$kind" = ONVIF ]; then
    bodies=$work/bodies.txt
    onvif_bodies 1 20000 >"$bodies"
  fi
  valgrind --tool=callgrind --toggle-collect='httplib::Server::process_and_close_socket*' \
    --callgrind-out-file="$out" "$sensorctl" serve --root "$work/root" --listen 127.0.0.1:0 \
    --onvif-user bench:load-secret >"$work/serve.log" 2>"$work/valgrind.log" &
  vg=$!
  for _ in $(seq 300); do
    port=$(sed -n 's|^serving http://127.0.0.1:\([0-9]*\)/.*|\1|p' "$work/serve.log")
    [ -n "$port" ] && break
    sleep 0.1
  done
  local requests
  requests=$(CHANNELS=1 BODIES=$bodies wrk -t1 -c1 -d5s -s "$work/set.lua" "http://127.0.0.1:$port" |
    sed -n 's/^RESULT \([0-9]*\) .*/\1/p')
  kill -INT "$vg"
  wait "$vg" || true
  callgrind_annotate --inclusive=yes "$out" 2>/dev/null | awk -v n="$requests" -v k="$kind" '
    /PROGRAM TOTALS/ { gsub(",", "", $1); all = $1 }
    /ISensorController::(setParameter\(int, int, bool\)|getParameter\(int, int&\)|setParameters\(std::)/ {
      gsub(",", "", $1); module += $1 }
    END { printf "| %s | %d | %.0f | %.0f | %.1f |\n", k, n, all / n, module / n, all / module }'
}

echo
echo "| Request (1 client, callgrind) | Requests | Server instructions per request | of which module calls | Ratio |"
echo "|---|---:|---:|---:|---:|"
instructions JSON
instructions ONVIF

echo
echo "| The page (bullet camera, channel 1) | Time |"
echo "|---|---:|"
(cd tests/browser && PLAYWRIGHT_SKIP_BROWSER_DOWNLOAD=1 npm ci --no-audit --no-fund >/dev/null)
node bench/page-load.mjs "$sensorctl" "${PAGE_RUNS:-20}"
