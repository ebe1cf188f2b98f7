#!/usr/bin/env bash
# Builds the reference of include/tnwebui into $1/html with Doxygen; any warning fails it.
set -euo pipefail
out=$(mkdir -p "$1" && cd "$1" && pwd)
source_dir=$(cd "$(dirname "$0")/.." && pwd)
headers=(unknown module tnwebui view services business_service)
for i in "${!headers[@]}"; do headers[i]="$source_dir/include/tnwebui/${headers[i]}.h"; done
python3 "$source_dir/docs/slots.py" "$out/slots.md" "${headers[@]}"
{
  cat "$source_dir/docs/Doxyfile"
  echo "INPUT = $source_dir/docs/mainpage.md ${headers[*]} $out/slots.md"
  echo "STRIP_FROM_PATH = $source_dir/include $out"
  echo "OUTPUT_DIRECTORY = $out"
  echo "WARN_LOGFILE = $out/warnings.txt"
} | (cd "$source_dir/docs" && doxygen -) || true
if [[ ! -f "$out/html/index.html" || -s "$out/warnings.txt" ]]; then
  cat "$out/warnings.txt" >&2 || true
  exit 1
fi
echo "docs: $out/html/index.html"
