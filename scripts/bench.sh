#!/usr/bin/env bash
# Builds the release preset and runs the benchmarks against the gateway simulator on
# a private bus. Extra arguments go to the benchmark binaries
# (e.g. --benchmark_min_time=2).
set -euo pipefail
cd "$(dirname "$0")/.."
# lumoctl's start-up: a one-shot get against gdbus call of the same GetAll, side by
# side in one run (goal: at most 1.2 times). Best of N runs each, in microseconds.
startup() {
  local n=40 i t0 t1 best_l=999999999 best_g=999999999 best_h=999999999
  time_us() { t0=$(date +%s%N); "$@" >/dev/null; t1=$(date +%s%N); echo $(((t1 - t0) / 1000)); }
  for ((i = 0; i < n; i++)); do
    t=$(time_us build/release/tools/lumoctl device get); ((t < best_l)) && best_l=$t
    t=$(time_us gdbus call --system --dest com.quv.igd1 --object-path /com/quv/igd1/Info/Device \
          --method org.freedesktop.DBus.Properties.GetAll com.quv.igd1.DeviceInfo); ((t < best_g)) && best_g=$t
    t=$(time_us build/release/tools/lumoctl --help); ((t < best_h)) && best_h=$t
  done
  echo "lumoctl device get ${best_l} us, gdbus call GetAll ${best_g} us" \
       "(ratio $(awk "BEGIN { printf \"%.2f\", $best_l / $best_g }")); lumoctl --help ${best_h} us"
}
# (inside the simulator session below)
if [[ ${1:-} == --startup ]]; then startup; exit 0; fi

scripts/setup-deps.sh
cmake --preset release
cmake --build --preset release -j "$(nproc)"
for b in build/release/bench/bench_*; do
  [ -x "$b" ] || continue
  echo "=== $(basename "$b") ==="
  scripts/gwsim-session.sh --gwsim build/release/tools/lumo-gwsim -- "$b" "$@"
done

echo "=== lumoctl start-up ==="
scripts/gwsim-session.sh --gwsim build/release/tools/lumo-gwsim -- "$0" --startup
