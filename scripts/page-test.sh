#!/usr/bin/env bash
# The served camera's client tests (tests/browser), with Playwright's runner
# against sensorctl serve from a build directory (default build/plain, built
# here when missing): the image settings page in Debian's headless Chromium,
# and the ONVIF services through the npm ONVIF clients. Screenshots of each
# bundled camera's page land in BUILD/page-tests.
set -euo pipefail
cd "$(dirname "$0")/.."
./scripts/setup.sh

build=${1:-build/plain}
if [ ! -x "$build/tools/sensorctl/sensorctl" ]; then
  cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Release >/dev/null
  cmake --build "$build" -j"${JOBS:-2}" --target sensorctl
fi
root=$PWD
cd tests/browser
# Playwright's own browsers are never downloaded: the tests use /usr/bin/chromium.
PLAYWRIGHT_SKIP_BROWSER_DOWNLOAD=1 npm ci --no-audit --no-fund
SENSORCTL="$root/$build/tools/sensorctl/sensorctl" PAGE_TEST_OUTPUT="$root/$build/page-tests" npx playwright test
