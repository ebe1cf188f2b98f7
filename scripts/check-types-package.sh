#!/usr/bin/env bash
# Packs the declarations as an npm package (npm pack), installs the tarball into a scratch light
# app whose tsconfig.json extends the package's, and type-checks the app with it: a right call
# passes, and a wrong one is refused.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
work=$(mktemp -d "${TMPDIR:-/tmp}/tn_types.XXXXXX")
trap 'rm -rf "$work"' EXIT
tarball=$(cd "$work" && npm pack "$root/pages/types" --silent 2>/dev/null | tail -1)
mkdir -p "$work/app/node_modules/@tnwebui/types"
tar -xzf "$work/$tarball" -C "$work/app/node_modules/@tnwebui/types" --strip-components=1
cat >"$work/app/tsconfig.json" <<'JSON'
{"extends": "@tnwebui/types/tsconfig.light-app.json", "include": ["app.js"]}
JSON
tsc="$root/node_modules/.bin/tsc"
echo "TavrinJsBridge.callHandler('utils.downloadFile', {payload: {url: 'https://a/b?c=1'}});" >"$work/app/app.js"
(cd "$work/app" && "$tsc" -p .) || { echo "check-types-package: a right call does not type-check"; exit 1; }
echo "TavrinJsBridge.callHandler('utils.downloadFile', {payload: {url: 42}});" >"$work/app/app.js"
if (cd "$work/app" && "$tsc" -p . >/dev/null); then
  echo "check-types-package: a wrong payload type-checks"; exit 1
fi
echo "check-types-package: $tarball installs, and an app that extends its tsconfig is checked by it"
