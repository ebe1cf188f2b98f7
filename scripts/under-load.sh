#!/usr/bin/env bash
# Runs `make test` RUNS times in a row (5 unless told) with a CPU hog on every core beside it,
# as CI's busy machine would, and stops at the first run that fails.
#
# usage: scripts/under-load.sh [RUNS] [TARGET]     TARGET is `test` unless told (e.g. `tsan`)
# Each run's output goes to build/under-load/run-N.log; a line per run says how it went.
set -uo pipefail
cd "$(dirname "$0")/.."
runs=${1:-5}
target=${2:-test}
case "$runs" in ''|*[!0-9]*) echo "under-load: RUNS must be a number, not '$runs'" >&2; exit 2;; esac
logs=build/under-load
mkdir -p "$logs"

hogs=()
stop_hogs() { [ ${#hogs[@]} -gt 0 ] && kill "${hogs[@]}" 2>/dev/null; wait 2>/dev/null; }
trap stop_hogs EXIT
trap 'exit 130' INT TERM
for _ in $(seq "$(nproc)"); do
  ( while :; do :; done ) &
  hogs+=($!)
done
echo "under-load: ${#hogs[@]} CPU hogs started; $runs runs of make $target"

for n in $(seq "$runs"); do
  start=$(date +%s)
  if make --no-print-directory "$target" >"$logs/run-$n.log" 2>&1; then
    echo "under-load: run $n of $runs passed in $(( $(date +%s) - start )) s"
  else
    echo "under-load: run $n of $runs FAILED after $(( $(date +%s) - start )) s; see $logs/run-$n.log"
    grep -E '^\s+[0-9]+ - |\*\*\*Failed|Timeout' "$logs/run-$n.log" | head -20
    exit 1
  fi
done
echo "under-load: all $runs runs passed"
