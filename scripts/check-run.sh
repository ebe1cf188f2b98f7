#!/usr/bin/env bash
# Checks tnwebui-run as a user meets it: its manual, its errors, a light app that closes its own
# window, a timed run with a screenshot, and Ctrl-C. usage: scripts/check-run.sh BUILD_DIR
set -uo pipefail
run="$1/tools/tnwebui-run"
root="$(cd "$(dirname "$0")/.." && pwd)"
out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT
[ -x "$run" ] || { echo "check-run: no program at $run"; exit 1; }
failed=0
fail() { echo "check-run: FAILED: $*"; failed=1; }
expect() {  # expect STATUS PATTERN -- ARGS...: the exit status and a line of the output
  local status=$1 pattern=$2; shift 3
  "$run" "$@" >"$out/log" 2>&1
  local got=$?
  [ "$got" = "$status" ] || fail "tnwebui-run $* exited $got, not $status"
  grep -q -- "$pattern" "$out/log" || { fail "tnwebui-run $* printed no '$pattern'"; cat "$out/log"; }
}

expect 0 "usage: tnwebui-run" -- --help
expect 2 "no such file or folder: /no/such/app" -- /no/such/app
expect 2 "has no index.html" -- "$root/scripts"
expect 2 "unknown option --frobnicate" -- --frobnicate "$root/examples/hello"
expect 2 "not a number of seconds: soon" -- --for soon "$root/examples/hello"
expect 2 "no light app given" --
# A light app that closes its own window: every message is printed, and the run ends with it.
expect 2 "cannot write the trace /no/such/folder/t.jsonl" -- --trace /no/such/folder/t.jsonl "$root/examples/hello"
expect 0 "the page closed its window" -- --trace "$out/trace.jsonl" --timeline "$out/timeline.png" "$root/examples/hello"
grep -q '"handlerName":"internal.biz.getVisitorToken"' "$out/log" || fail "the SDK call was not printed"
grep -q 'action   contact/hello' "$out/log" || fail "the refused business action was not printed"
grep 'internal.biz.getVisitorToken' "$out/trace.jsonl" | grep -q '"kind":"sdk"' || fail "the trace has no SDK step"
grep -q "timeline: $out/timeline.png" "$out/log" || fail "no timeline was drawn"
# A page that stays: its time ends the run, and the screenshot is a PNG.
expect 0 "its time is up" -- --for 2 --screenshot "$out/shot.png" "$root/pages/tavrin5main/index.html"
[ "$(head -c 8 "$out/shot.png" | od -An -tx1 | tr -d ' \n')" = "89504e470d0a1a0a" ] || fail "no PNG at $out/shot.png"
# Ctrl-C ends the run, Chromium and the render host with it, and the scratch folder goes.
"$run" "$root/pages/tavrin5main/index.html" >"$out/int.log" 2>&1 &
pid=$!
for _ in $(seq 100); do grep -q "opens as" "$out/int.log" && break; sleep 0.1; done
sleep 1
kids=$(pgrep -P "$pid")
[ -n "$kids" ] || fail "tnwebui-run started no Chromium"
kill -INT "$pid"
wait "$pid"; status=$?
[ "$status" = 0 ] || fail "after Ctrl-C tnwebui-run exited $status"
grep -q "stopped" "$out/int.log" || fail "after Ctrl-C the run did not say it stopped"
sleep 0.5
for kid in $kids; do
  kill -0 "$kid" 2>/dev/null && fail "a child of tnwebui-run ($(ps -o comm= -p "$kid")) outlived it"
done
[ "$failed" = 0 ] && echo "check-run: tnwebui-run behaves"
exit "$failed"
