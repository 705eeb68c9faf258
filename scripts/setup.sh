#!/usr/bin/env bash
# Installs the Debian packages the build and the tests need, when they are missing.
#   scripts/setup.sh [PACKAGE...]    also these (a script's own tools, e.g. the load generator)
set -euo pipefail

packages=(build-essential cmake pkg-config clang libtinyxml-dev libgtest-dev libgmock-dev libcli11-dev libbenchmark-dev
  nlohmann-json3-dev libcpp-httplib-dev libssl-dev chromium "$@")
# The page's browser tests need Node.js and npm; a machine that has them from elsewhere keeps its own.
if ! command -v npm >/dev/null; then packages+=(nodejs npm); fi

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$p")
  fi
done

if [ ${#missing[@]} -gt 0 ]; then
  echo "installing: ${missing[*]}"
  SUDO=""
  if [ "$(id -u)" != "0" ]; then SUDO="sudo"; fi
  export DEBIAN_FRONTEND=noninteractive
  $SUDO apt-get update -qq
  $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi
