#!/bin/sh
# A plug-in's long life: builds the soak program (bench/soak) and runs it against the
# gateway simulator on a private bus, which it kills and restarts every S seconds
# (the bus daemon once, half-way). Prints calls/s, failures outside the restart
# windows, memory, descriptors and threads at 10/50/100 %, and how soon the caches
# agree with the gateway after each restart; exits 1 when a goal is missed.
#
#   scripts/soak.sh [--calls N] [--restart-every S] [--seconds S] [--threads N] [--ci]
#                   [--flood RATE] [--allocator-caches]
#                   [--preset P]
# Defaults: 1,000,000 calls, a restart every 10 s, 4 threads, preset debug.
# --seconds runs for a time instead of a number of calls; --ci uses tolerant leak
# thresholds for a short run on a loaded machine (what scripts/test.sh runs).
# GLib's slice magazines and malloc's per-thread caches are off, so that the memory
# figures show what the program holds rather than what the allocator keeps for later;
# --allocator-caches leaves them on, as a plug-in would run.
set -eu
cd "$(dirname "$0")/.."

preset=debug
args=""
caches=off
while [ $# -gt 0 ]; do
    case "$1" in
        --preset) preset="$2"; shift 2 ;;
        --calls|--restart-every|--seconds|--threads|--flood) args="$args $1 $2"; shift 2 ;;
        --ci) args="$args $1"; shift ;;
        --allocator-caches) caches=on; shift ;;
        -h|--help) sed -n '2,16p' "$0" | sed 's/^# \{0,1\}//'; exit 0 ;;
        *) echo "soak: unknown option $1" >&2; exit 2 ;;
    esac
done

[ -f "build/$preset/CMakeCache.txt" ] || cmake --preset "$preset" >/dev/null
cmake --build "build/$preset" --target soak lumo-gwsim
if [ "$caches" = off ]; then
    export G_SLICE=always-malloc
    export GLIBC_TUNABLES="${GLIBC_TUNABLES:+$GLIBC_TUNABLES:}glibc.malloc.tcache_count=0"
fi
# shellcheck disable=SC2086  # the options are words
LUMO_GWSIM="$PWD/build/$preset/tools/lumo-gwsim" "build/$preset/bench/soak/soak" $args
