#!/usr/bin/env bash
# Installs the build in $1 under a scratch DESTDIR, then builds and runs the host in
# tests/outside_host from a copy outside the source tree, against the installed package only.
# $2: the C++ compiler; $3: extra compiler and linker flags (the build's sanitizers).
set -euo pipefail
build=$1 compiler=$2 flags=${3:-}
source_dir=$(cd "$(dirname "$0")/.." && pwd)
work=$(mktemp -d "${TMPDIR:-/tmp}/tn_install.XXXXXX")
trap 'rm -rf "$work"' EXIT

DESTDIR="$work/stage" cmake --install "$build" --prefix /opt/tnwebui >/dev/null
cp -r "$source_dir/tests/outside_host" "$work/host"
cmake -S "$work/host" -B "$work/host/build" -G Ninja -DCMAKE_CXX_COMPILER="$compiler" \
  -DCMAKE_CXX_FLAGS="$flags" -DCMAKE_EXE_LINKER_FLAGS="$flags" \
  -DCMAKE_PREFIX_PATH="$work/stage/opt/tnwebui" >/dev/null
cmake --build "$work/host/build" >/dev/null
"$work/host/build/outside_host"

# The installed tnwebui-run finds its module, render host and pages beside itself: a sample
# light app passes its check from the installed tree, with the installed module.
installed="$work/stage/opt/tnwebui"
"$installed/bin/tnwebui-run" --check "$installed/share/tnwebui/examples/hello" >"$work/run.log" 2>&1 || {
  cat "$work/run.log"; echo "check-install: the installed tnwebui-run did not run its sample app"; exit 1; }
grep -qF "(module $installed/bin/../lib" "$work/run.log" || {
  cat "$work/run.log"; echo "check-install: the installed tnwebui-run used another module"; exit 1; }
echo "check-install: the installed tnwebui-run runs a light app"
