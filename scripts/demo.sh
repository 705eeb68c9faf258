#!/usr/bin/env bash
# Builds the module and runs the sensorctl demonstration on a simulated camera.
set -euo pipefail
cd "$(dirname "$0")/.."
./scripts/setup.sh
cmake -S . -B build/plain -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build/plain -j"${JOBS:-2}" --target sensorctl
if [ $# -eq 0 ]; then set -- demo; fi
exec build/plain/tools/sensorctl/sensorctl "$@"
