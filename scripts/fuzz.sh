#!/usr/bin/env bash
# Runs every fuzz target over its seed corpus, with its dictionary (fuzz/<name>.dict) if it has
# one: `smoke` (part of `make test`) for up to 200,000 runs or ten seconds each, `long`
# (`make fuzz`) for FUZZ_SECONDS each (300 unless told). New inputs and crash
# files go to a temporary folder, never into the repository; a crash prints its log and fails.
set -euo pipefail
cd "$(dirname "$0")/.."
mode=${1:-smoke}
if [[ $mode == smoke ]]; then
  limits=(-runs="${FUZZ_RUNS:-200000}" -max_total_time=10)
else
  limits=(-max_total_time="${FUZZ_SECONDS:-300}")
fi
export LSAN_OPTIONS="suppressions=$PWD/tests/lsan.supp"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export APPDATA="$work/appdata"  # the downloads of the SDK's fuzzer land there
for target in build/fuzz/fuzz/*_fuzz; do
  name=$(basename "$target")
  mkdir -p "$work/$name"
  options=()
  [[ -f fuzz/$name.dict ]] && options=(-dict="$PWD/fuzz/$name.dict")
  # Targets whose world keeps what the module keeps for the process (functions that never end)
  # check for leaks once, at the end, rather than after every input that allocates.
  [[ -f fuzz/$name.flags ]] && read -r -a extra <"fuzz/$name.flags" && options+=("${extra[@]}")
  if ! (cd "$work" && "$OLDPWD/$target" "$work/$name" "$OLDPWD/fuzz/$name.corpus" "${limits[@]}" \
          "${options[@]}" -artifact_prefix="$work/$name-" >"$work/$name.log" 2>&1); then
    tail -n 60 "$work/$name.log"
    echo "fuzz: $name FAILED"
    exit 1
  fi
  done_line=$(grep -E '^Done [0-9]+ runs' "$work/$name.log" | tail -n 1 || true)
  cov=$(grep -oE 'cov: [0-9]+' "$work/$name.log" | tail -n 1 || true)
  echo "fuzz: $name: ${done_line:-no summary} ($cov)"
done
