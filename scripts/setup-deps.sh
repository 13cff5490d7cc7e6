#!/usr/bin/env bash
# Installs the Debian packages the build, the tests and the tools need, when missing.
# Usage: scripts/setup-deps.sh [extra-package ...]
set -euo pipefail

packages=(
  cmake ninja-build g++ pkg-config
  libglib2.0-dev libglib2.0-bin dbus-daemon
  googletest libgtest-dev libbenchmark-dev
  libcli11-dev nlohmann-json3-dev
  libjson-c-dev
  man-db
  "$@"
)

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$p")
  fi
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "installing: ${missing[*]}"
SUDO=""
[ "$(id -u)" -ne 0 ] && SUDO="sudo"
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -qq
$SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
