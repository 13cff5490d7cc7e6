#!/usr/bin/env bash
# Builds the release preset and runs the benchmarks against the gateway simulator on
# a private bus. Extra arguments go to the benchmark binaries
# (e.g. --benchmark_min_time=2).
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup-deps.sh
cmake --preset release
cmake --build --preset release -j "$(nproc)"
for b in build/release/bench/bench_*; do
  [ -x "$b" ] || continue
  echo "=== $(basename "$b") ==="
  scripts/gwsim-session.sh --gwsim build/release/tools/lumo-gwsim -- "$b" "$@"
done
