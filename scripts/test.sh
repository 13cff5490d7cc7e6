#!/usr/bin/env bash
# Sets up a fresh Debian machine (installing what is missing), builds the library,
# the tools and the tests in the debug and the sanitizer presets, and runs every test.
# Usage: scripts/test.sh [preset ...]   (default: debug asan tsan;
# tsan runs only the tests labelled "threads")
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup-deps.sh

presets=("$@")
[ ${#presets[@]} -eq 0 ] && presets=(debug asan tsan)

for preset in "${presets[@]}"; do
  echo "=== $preset ==="
  cmake --preset "$preset"
  cmake --build --preset "$preset" -j "$(nproc)"
  ctest --preset "$preset"
done
