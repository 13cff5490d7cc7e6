#!/usr/bin/env bash
# Builds the libFuzzer targets (preset "fuzz": clang, ASan, UBSan), replays each
# target's seed corpus, then fuzzes each target for SECONDS (default 60; 0 replays
# only). New inputs go to build/fuzz/corpus-work/<target>, findings to
# build/fuzz/findings/; the seed corpora in fuzz/corpus/ are never written.
# Usage: scripts/fuzz.sh [SECONDS] [TARGET ...]
set -euo pipefail
cd "$(dirname "$0")/.."

seconds="${1:-60}"
shift || true

# clang first, then the libFuzzer package of the same version.
scripts/setup-deps.sh clang
version="$(clang -dumpversion | cut -d. -f1)"
scripts/setup-deps.sh clang "libfuzzer-${version}-dev"

cmake --preset fuzz >/dev/null
cmake --build --preset fuzz -j "$(nproc)"

targets=("$@")
if [ ${#targets[@]} -eq 0 ]; then
  for dir in fuzz/corpus/*/; do targets+=("$(basename "$dir")"); done
fi

bin=build/fuzz/fuzz
findings=build/fuzz/findings
mkdir -p "$findings"
export ASAN_OPTIONS="detect_leaks=1:abort_on_error=1:symbolize=1"
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"

for t in "${targets[@]}"; do
  seeds="fuzz/corpus/$t"
  work="build/fuzz/corpus-work/$t"
  mkdir -p "$work"
  echo "=== $t: replaying $(find "$seeds" -type f | wc -l) seeds ==="
  if ! "$bin/$t" -runs=0 -artifact_prefix="$findings/$t-" "$seeds" "$work" >"build/fuzz/$t-replay.log" 2>&1; then
    tail -n 80 "build/fuzz/$t-replay.log" >&2
    exit 1
  fi
  if [ "$seconds" -gt 0 ]; then
    echo "=== $t: fuzzing for ${seconds}s ==="
    log="build/fuzz/$t.log"
    if ! "$bin/$t" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -max_len=65536 -print_final_stats=1 \
        -artifact_prefix="$findings/$t-" "$work" "$seeds" >"$log" 2>&1; then
      tail -n 80 "$log" >&2
      echo "$t: finding in $findings (log $log)" >&2
      exit 1
    fi
    grep -E '^stat::(number_of_executed_units|average_exec_per_sec|new_units_added|peak_rss_mb)' "$log" || true
  fi
done
echo "fuzz: ${#targets[@]} targets replayed, each fuzzed ${seconds}s"
