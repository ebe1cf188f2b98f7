#!/usr/bin/env bash
# Builds the Debian package of the build in $1 (cpack), checks its declared dependencies, unpacks
# it into a scratch root as dpkg would install it, and runs sample light apps through the
# unpacked tnwebui-run: the hello app under --check, and the Vue app with a person's steps.
set -euo pipefail
build=$1
work=$(mktemp -d "${TMPDIR:-/tmp}/tn_package.XXXXXX")
trap 'rm -rf "$work"' EXIT

(cd "$build" && cpack -G DEB -B "$work/out" >/dev/null)
deb=$(ls "$work"/out/tnwebui_*.deb)
echo "check-package: built $(basename "$deb") ($(du -h "$deb" | cut -f1))"
depends=$(dpkg-deb -f "$deb" Depends)
for needed in chromium libqt5gui5 libprotobuf libjsoncpp; do
  grep -q "$needed" <<<"$depends" || { echo "check-package: the package does not depend on $needed: $depends"; exit 1; }
done
dpkg-deb -x "$deb" "$work/root"
run="$work/root/usr/bin/tnwebui-run"
apps="$work/root/usr/share/tnwebui/examples"
[ -f "$work/root/usr/share/doc/tnwebui/workbench.md" ] || { echo "check-package: no manual in the package"; exit 1; }
"$run" --check "$apps/hello" >"$work/hello.log" 2>&1 || {
  cat "$work/hello.log"; echo "check-package: the packaged tnwebui-run did not pass the hello app"; exit 1; }
grep -qF "(module $work/root/usr/bin/../lib/libTnWebUI.so)" "$work/hello.log" || {
  cat "$work/hello.log"; echo "check-package: the packaged tnwebui-run used another module"; exit 1; }
"$run" --check --framed --script "$apps/claims/steps.txt" --host "$apps/claims/host.json" \
  "$apps/claims" >"$work/claims.log" 2>&1 || {
  cat "$work/claims.log"; echo "check-package: the packaged Vue app did not pass its check"; exit 1; }
grep -qF "command  the back button asks the page's ui.onHistoryBack" "$work/claims.log" || {
  cat "$work/claims.log"; echo "check-package: the packaged run did not press back"; exit 1; }
echo "check-package: the package declares its dependencies, and its tnwebui-run runs the sample apps"
