#!/usr/bin/env bash
# Builds everything and runs the whole suite: plain (then the page's browser
# tests and a host program against the installed package), under ASan+UBSan,
# the concurrency tests under TSan, the AArch64 cross build under qemu-user,
# and a fuzz smoke run.
set -euo pipefail
cd "$(dirname "$0")/.."

./scripts/setup.sh

jobs=${JOBS:-2}
# Warnings are errors here, in every build this script makes (and in the cross
# build and the fuzz driver it calls), but not for users who build by hand.
export SENSOR_WERROR=ON

run_suite() {
  local dir=$1 type=$2; shift 2
  cmake -S . -B "$dir" -DCMAKE_BUILD_TYPE="$type" -DSENSOR_WERROR=ON "$@" >/dev/null
  cmake --build "$dir" -j"$jobs"
  (cd "$dir" && ctest -j"$jobs" --output-on-failure --timeout 300)
}

echo "== plain build, as most users build it (Release)"
run_suite build/plain Release

echo "== the image settings page in headless Chromium (sensorctl serve from the plain build)"
./scripts/page-test.sh build/plain

echo "== installed package: a host program through find_package and through pkg-config"
./scripts/consumer.sh build/plain

echo "== AddressSanitizer + UndefinedBehaviorSanitizer"
export ASAN_OPTIONS=detect_leaks=1:abort_on_error=0
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
run_suite build/asan RelWithDebInfo -DSENSOR_SANITIZE=address

echo "== ThreadSanitizer: the concurrency tests"
export TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1
cmake -S . -B build/tsan -DCMAKE_BUILD_TYPE=RelWithDebInfo -DSENSOR_WERROR=ON -DSENSOR_SANITIZE=thread \
  -DSENSOR_TEST_ONLY="stress;thread;hostsim;params;schemes;server_api" >/dev/null
cmake --build build/tsan -j"$jobs" --target sensordll_tests
(cd build/tsan && ctest -j"$jobs" --output-on-failure --timeout 300 -R "Stress|SensorThread|HostSim|ParamTest|SchemeTest|ServeConcurrency")

echo "== AArch64 cross build, the whole suite under qemu-user"
./scripts/cross.sh

echo "== Fuzz smoke run: every target for a bounded time under ASan+UBSan"
./scripts/fuzz.sh "${FUZZ_SECONDS:-60}"
