#!/usr/bin/env bash
# Cross-builds the module, sensorctl and the test suite for the camera (AArch64
# Linux, little-endian) into build/aarch64 and runs the whole suite there under
# qemu-user. Installs the cross compiler, qemu and the arm64 libraries first.
set -euo pipefail
cd "$(dirname "$0")/.."
./scripts/setup.sh

SUDO=""
if [ "$(id -u)" != "0" ]; then SUDO="sudo"; fi
packages=(g++-aarch64-linux-gnu qemu-user libtinyxml-dev:arm64 libgtest-dev:arm64 libgmock-dev:arm64
  libcpp-httplib-dev:arm64 libssl-dev:arm64)
missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then missing+=("$p"); fi
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "installing: ${missing[*]}"
  if ! dpkg --print-foreign-architectures | grep -qx arm64; then $SUDO dpkg --add-architecture arm64; fi
  export DEBIAN_FRONTEND=noninteractive
  $SUDO apt-get update -qq
  $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi

jobs=${JOBS:-2}
dir=build/aarch64
# No benchmarks (timings under an emulator mean nothing) and no fuzz driver (clang's libFuzzer).
cmake -S . -B "$dir" -DCMAKE_TOOLCHAIN_FILE=cmake/aarch64-linux-gnu.cmake -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DSENSOR_WERROR="${SENSOR_WERROR:-OFF}" -DSENSOR_BUILD_BENCH=OFF -DSENSOR_FUZZ=OFF >/dev/null
cmake --build "$dir" -j"$jobs"
if ! readelf -h "$dir/libsensordll.so" | grep -q "Machine: *AArch64"; then
  echo "$dir/libsensordll.so is not an AArch64 library"
  exit 1
fi
(cd "$dir" && ctest -j"$jobs" --output-on-failure --timeout 300)
