#!/usr/bin/env bash
# Sets up a fresh Debian machine (installing what is missing), builds the library,
# the tools and the tests in the debug and the sanitizer presets, and runs every test.
# Usage: scripts/test.sh [preset ...]   (default: debug asan tsan uci-system, then the
# soak, the armhf cross step and fuzzing; tsan runs only the tests labelled
# "threads", uci-system only the UCI tests)
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup-deps.sh

# The UCI tests on the platform's libuci: builds libubox, libuci and the uci tool once
# from ../shared/third_party into build/third_party (LUMO_THIRD_PARTY elsewhere), then
# only the UCI tests (both stores, and the differential test against the tool).
# Without the sources the step is skipped, saying why.
uci_system() {
  local rc=0
  scripts/build-uci.sh >/dev/null || rc=$?
  if [ "$rc" -eq 2 ]; then
    echo "skipping the libuci tests: no uci/libubox sources in ${LUMO_THIRD_PARTY:-../shared/third_party}"
    return 0
  fi
  [ "$rc" -eq 0 ] || return "$rc"
  cmake --preset uci-system
  cmake --build --preset uci-system -j "$(nproc)"
  ctest --preset uci-system
}

presets=("$@")
[ ${#presets[@]} -eq 0 ] && presets=(debug asan tsan uci-system)

for preset in "${presets[@]}"; do
  echo "=== $preset ==="
  if [ "$preset" = uci-system ]; then
    uci_system
    continue
  fi
  cmake --preset "$preset"
  cmake --build --preset "$preset" -j "$(nproc)"
  ctest --preset "$preset"
done

# A short soak (only in a full run): 20 s of mixed calls under gateway and bus
# restarts; fails on failures outside the restarts or a visible leak trend.
if [ $# -eq 0 ]; then
  echo "=== soak ==="
  scripts/soak.sh --seconds 20 --restart-every 5 --ci
fi

# A gateway CPU (only in a full run): 32-bit ARM, built with Debian's cross compiler
# and tested under qemu-user. s390x, mipsel and the footprint are in scripts/cross.sh
# only for now. LUMO_CROSS=0 skips the step; LUMO_CROSS_ARCHES names others.
if [ $# -eq 0 ] && [ "${LUMO_CROSS:-1}" != 0 ]; then
  echo "=== cross ==="
  # shellcheck disable=SC2086
  LUMO_CROSS_STEPS="build test" scripts/cross.sh ${LUMO_CROSS_ARCHES:-armhf}
fi

# Fuzzing (only in a full run): replay every target's seed corpus, then fuzz each
# target briefly. LUMO_FUZZ_SECONDS=0 replays only; LUMO_FUZZ=0 skips the step.
if [ $# -eq 0 ] && [ "${LUMO_FUZZ:-1}" != 0 ]; then
  echo "=== fuzz ==="
  scripts/fuzz.sh "${LUMO_FUZZ_SECONDS:-30}"
fi
