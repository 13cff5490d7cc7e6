#!/usr/bin/env bash
# Sets up a fresh Debian machine (installing what is missing), builds the library,
# the tools and the tests in the debug and the sanitizer presets, and runs every test.
# Usage: scripts/test.sh [preset ...]   (default: debug asan tsan uci-system, then the
# soak, the armhf and s390x cross steps and fuzzing; tsan runs only the tests labelled
# "threads", uci-system only the UCI tests)
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup-deps.sh

# Each step says how long the one before it took, so a slow CI run shows where.
step_start=$SECONDS
step() {
  [ -n "${step_name:-}" ] && echo "--- $step_name took $((SECONDS - step_start)) s (total $SECONDS s)"
  step_name=$1
  step_start=$SECONDS
  [ -n "$step_name" ] && echo "=== $step_name ==="
  return 0
}
trap 'step ""' EXIT

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
  step "$preset"
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
  step soak
  scripts/soak.sh --seconds 20 --restart-every 5 --ci
fi

# Gateway CPUs (only in a full run), built with Debian's cross compilers and tested
# under qemu-user: 32-bit ARM on the platform's libuci (built for it from
# ../shared/third_party, as a vendor SDK has it), and big-endian s390x on the own
# store. mipsel and the footprint are in scripts/cross.sh only. LUMO_CROSS=0 skips
# the step; LUMO_CROSS_ARCHES names others.
if [ $# -eq 0 ] && [ "${LUMO_CROSS:-1}" != 0 ]; then
  for arch in ${LUMO_CROSS_ARCHES:-armhf s390x}; do
    step "cross $arch"
    uci=own
    [ "$arch" = armhf ] && uci=system
    # Lightly optimised and without debug information: quicker to build, and the tests
    # run several times faster under the emulator.
    LUMO_CROSS_CMAKE_ARGS=${LUMO_CROSS_CMAKE_ARGS:-"-DCMAKE_C_FLAGS_DEBUG=-O1 -DCMAKE_CXX_FLAGS_DEBUG=-O1"} \
      LUMO_CROSS_UCI=$uci LUMO_CROSS_STEPS="build test" scripts/cross.sh "$arch"
  done
fi

# Fuzzing (only in a full run): replay every target's seed corpus, then fuzz each
# target briefly. LUMO_FUZZ_SECONDS=0 replays only; LUMO_FUZZ=0 skips the step.
if [ $# -eq 0 ] && [ "${LUMO_FUZZ:-1}" != 0 ]; then
  step fuzz
  scripts/fuzz.sh "${LUMO_FUZZ_SECONDS:-30}"
fi
