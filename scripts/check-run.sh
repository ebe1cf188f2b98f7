#!/usr/bin/env bash
# Checks tnwebui-run as a user meets it, an option at a time: its manual, its errors, a light
# app that closes its own window, a host file, --check on a good and a faulty app, a timed run
# with a screenshot, a page that never loads, a visible window under Xvfb, and Ctrl-C.
# usage: scripts/check-run.sh BUILD_DIR
set -uo pipefail
run="$1/tools/tnwebui-run"
root="$(cd "$(dirname "$0")/.." && pwd)"
out=$(mktemp -d)
pids=()
trap 'kill "${pids[@]}" 2>/dev/null; rm -rf "$out"' EXIT
[ -x "$run" ] || { echo "check-run: no program at $run"; exit 1; }
failed=0
fail() { echo "check-run: FAILED: $*"; failed=1; }
expect() {  # expect STATUS PATTERN -- ARGS...: the exit status and a line of the output
  local status=$1 pattern=$2; shift 3
  "$run" "$@" >"$out/log" 2>&1
  local got=$?
  [ "$got" = "$status" ] || { fail "tnwebui-run $* exited $got, not $status"; cat "$out/log"; }
  grep -qF -- "$pattern" "$out/log" || { fail "tnwebui-run $* printed no '$pattern'"; cat "$out/log"; }
}
is_png() { [ "$(head -c 8 "$1" | od -An -tx1 | tr -d ' \n')" = "89504e470d0a1a0a" ]; }
# A port that something else listens on, and a server that takes a connection and never answers:
# sets `port`. (Not in a subshell, so that the exit trap knows the listener and ends it.)
listen() {
  rm -f "$out/port"
  python3 -c 'import socket,sys,time
s=socket.socket(); s.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
s.bind(("127.0.0.1", 0)); s.listen(8); print(s.getsockname()[1], flush=True); time.sleep(600)' \
    >"$out/port" 2>/dev/null </dev/null &
  pids+=($!)
  for _ in $(seq 50); do [ -s "$out/port" ] && break; sleep 0.1; done
  port=$(cat "$out/port")
}

expect 0 "usage: tnwebui-run" -- --help
# config's signature, as the check computes it.
expect 0 "53b865be00d936b499c1581aaa7747b213ed1ef10e325afc25d4c5079f046753" -- sign 7-12 n1 1700000000 https://tavrin5.frames.invalid/lightapp/index.html
expect 2 "sign needs APP_ID NONCE TIMESTAMP ADDRESS (1 given)" -- sign 7-12
expect 2 "no such file or folder: /no/such/app" -- /no/such/app
expect 2 "has no index.html" -- "$root/scripts"
expect 2 "unknown option --frobnicate" -- --frobnicate "$root/examples/hello"
expect 2 "not a number of seconds: soon" -- --for soon "$root/examples/hello"
expect 2 "no light app given" --
# A light app that closes its own window: every message is printed, and the run ends with it.
expect 2 "cannot write the trace /no/such/folder/t.jsonl" -- --trace /no/such/folder/t.jsonl "$root/examples/hello"
expect 0 "the page closed its window" -- --trace "$out/trace.jsonl" --timeline "$out/timeline.png" "$root/examples/hello"
grep -q 'sdk      internal.biz.getVisitorToken' "$out/log" || fail "the SDK call was not printed"
grep -q 'action   contact/hello' "$out/log" || fail "the refused business action was not printed"
grep 'internal.biz.getVisitorToken' "$out/trace.jsonl" | grep -q '"kind":"sdk"' || fail "the trace has no SDK step"
grep -q "timeline $out/timeline.png" "$out/log" || fail "no timeline was drawn"
# A page that stays: its time ends the run, and the screenshot is a PNG.
expect 0 "its time is up" -- --for 2 --screenshot "$out/shot.png" "$root/pages/tavrin5main/index.html"
is_png "$out/shot.png" || fail "no PNG at $out/shot.png"

# --host: the file is read and checked before anything starts.
expect 2 "missing.json: cannot be read" -- --host "$out/missing.json" "$root/examples/hello"
echo '{"user": {"orgId": "seven"}}' >"$out/bad-type.json"
expect 2 "user.orgId is not a whole number" -- --host "$out/bad-type.json" "$root/examples/hello"
echo '{"actions": {"expense/submit": {"code": 0}}}' >"$out/actions.json"
expect 2 "actions can't act: a light window's tnpc.exebusinessaction gets no answer" -- --host "$out/actions.json" "$root/examples/hello"
echo '{"secrets": "x"}' >"$out/bad-key.json"
expect 2 "secrets is not a key of the host file" -- --host "$out/bad-key.json" "$root/examples/hello"
listen
echo '{"server": {"port": '"$port"'}}' >"$out/busy.json"
expect 1 "of the download server is in use" -- --host "$out/busy.json" "$root/examples/hello"
expect 2 "no module at /no/such/module.so" -- --module /no/such/module.so "$root/examples/hello"

# --check: the good app passes with its calls, progress and screenshot; the faulty one fails
# naming each of its mistakes; --quiet leaves only the report.
expect 0 "tnwebui-run --check: no mistakes" -- --check --screenshot "$out/expenses.png" \
  --host "$root/examples/expenses/host.json" "$root/examples/expenses"
for line in "sdk      biz.chooseContacts" "host     the file dialog: the user picks harbour.png" \
            "progress utils.downloadFile 96.0 KiB of 96.0 KiB (100%)" "console  signed in as"; do
  grep -qF "$line" "$out/log" || fail "the good app's run printed no '$line'"
done
is_png "$out/expenses.png" || fail "no screenshot of the good app"
expect 3 "tnwebui-run --check: 16 mistakes" -- --check --quiet \
  --host "$root/examples/faulty/host.json" "$root/examples/faulty"
while read -r line; do
  grep -qF "  $line" "$out/log" || fail "the faulty app's report has no '$line'"
done <"$root/examples/faulty/expected-report.txt"
grep -q "^ *[0-9.]*  sdk" "$out/log" && fail "--quiet still printed the calls"
# The same run against its expected report passes, and writes a JUnit report for CI; a report
# that misses a mistake fails, naming it.
expect 0 "the mistakes are the expected ones" -- --quiet --expect "$root/examples/faulty/expected-report.txt" \
  --report junit "$out/faulty.xml" --host "$root/examples/faulty/host.json" "$root/examples/faulty"
grep -q '<testsuite name="tnwebui-run" tests="16" failures="16"' "$out/faulty.xml" || fail "no JUnit report of 16 failures"
head -3 "$root/examples/faulty/expected-report.txt" >"$out/short-report.txt"
expect 3 "unexpected: unknown SDK name: media.takePhoto" -- --quiet --expect "$out/short-report.txt" \
  --report json "$out/faulty.json" --host "$root/examples/faulty/host.json" "$root/examples/faulty"
python3 -c 'import json,sys; d=json.load(open(sys.argv[1])); assert len(d["mistakes"]) == 16, d' "$out/faulty.json" \
  || fail "the JSON report does not hold the 16 mistakes"

# The outside app, written with Vue from docs/workbench.md alone: its own type check, then a
# person's way through it (attach, review, the bar's back button, close) passes the check.
"$root/node_modules/.bin/tsc" -p "$root/examples/claims/tsconfig.json" || fail "the claims app does not type-check"
expect 0 "tnwebui-run --check: no mistakes" -- --check --framed --script "$root/examples/claims/steps.txt" \
  --host "$root/examples/claims/host.json" --screenshot "$out/claims.png" "$root/examples/claims"
for line in "step     press back" "command  the back button asks the page's ui.onHistoryBack" \
            "script   tnpc.goback();" "step     close" "the page closed its window"; do
  grep -qF "$line" "$out/log" || fail "the claims app's run printed no '$line'"
done
is_png "$out/claims.png" || fail "no screenshot of the claims app"
# Steps that can't be taken are usage errors; a back answer of another shape and tnpc's window
# functions in a light window are mistakes.
expect 2 "'press back' needs --framed" -- --do "press back" "$root/examples/hello"
expect 2 "the step 'shoot' is not one of" -- --do shoot "$root/examples/hello"
expect 3 "step failed: press back: the window's history has nothing to go back to" -- --check --framed \
  --do "press back" "$root/pages/tavrin5main/index.html"
mkdir -p "$out/oldback"
cat >"$out/oldback/index.html" <<'HTML'
<!doctype html><title>Old back</title><script src="tavrin-js-bridge.js"></script><script>
TavrinJsBridge.callHandler('ui.setNavigationBarMenu', {payload: {items: []}});
history.pushState({}, '', '#a'); history.pushState({}, '', '#b');
TavrinJsBridge.registerHandler('ui.onHistoryBack', function (data, respond) { respond({result: true}); });
</script>
HTML
expect 3 "back answer refused: ui.onHistoryBack answered {\"result\":true}" -- --check --framed \
  --do "wait 1" --do "press back" --do "wait 1" --do close "$out/oldback"
mkdir -p "$out/closewnd"
printf '<!doctype html><title>Closes</title><script>tnpc.closewnd();</script>\n' >"$out/closewnd/index.html"
expect 3 "never served: tnpc.closewnd(): a light window serves none" -- --check --do "wait 1" "$out/closewnd"

# A page that never loads fails the check: a server that never answers (--load-limit), an
# address that refuses, a page of the client's that isn't there; and a missing script or style
# sheet of a served folder answers 404 and is named.
listen
expect 1 "the page did not load within 2 s" -- --check --load-limit 2 "http://127.0.0.1:$port/app.html"
grep -q "no mistakes" "$out/log" && fail "--check passed a page that never loaded"
expect 1 "not loaded: http://127.0.0.1:9/app.html" -- --check "http://127.0.0.1:9/app.html"
expect 1 "the page could not be loaded: file://tavrin5main/nothere.html" -- --check "file://tavrin5main/nothere.html"
mkdir -p "$out/app404"
printf '<!doctype html><title>Parts missing</title><script src="missing.js"></script>\n<link rel="stylesheet" href="gone.css"><p>hi</p>\n' >"$out/app404/index.html"
expect 3 "not loaded: https://tavrin5.frames.invalid/lightapp/missing.js" -- --check --for 2 "$out/app404"
grep -qF "lightapp/gone.css: Failed to load resource: the server responded with a status of 404" "$out/log" \
  || fail "the missing style sheet was not named"

# --headful: the client's window on a display, seen on the X screen, clicked by a person.
display=${DISPLAY-}; unset DISPLAY
expect 1 "--headful needs a display" -- --headful --for 1 "$root/examples/hello"
[ -n "$display" ] && export DISPLAY="$display"
if command -v Xvfb >/dev/null && command -v import >/dev/null && command -v xdotool >/dev/null; then
  Xvfb :57 -screen 0 1280x900x24 -nolisten tcp >/dev/null 2>&1 &
  pids+=($!)
  sleep 1
  # The client's window, bar and page, and no browser's: a person clicks the page's button, and
  # the app closes its window.
  mkdir -p "$out/clicked"
  cat >"$out/clicked/index.html" <<'HTML'
<!doctype html><title>Clicked</title><script src="tavrin-js-bridge.js"></script>
<body style="margin:0"><button id="b" style="position:absolute;left:100px;top:100px;width:200px;height:80px"
onclick="TavrinJsBridge.callHandler('ui.closeWindow', {})">Close me</button></body>
HTML
  DISPLAY=:57 "$run" --headful --for 20 "$out/clicked" >"$out/headful.log" 2>&1 &
  headful=$!
  for _ in $(seq 100); do DISPLAY=:57 xwininfo -root -tree 2>/dev/null | grep -q '"Clicked"' && break; sleep 0.1; done
  sleep 2
  DISPLAY=:57 import -window root "$out/xscreen.png" 2>/dev/null
  windows=$(DISPLAY=:57 xwininfo -root -tree 2>/dev/null)
  grep -q '"Clicked"' <<<"$windows" || fail "no window named by the app on the X screen"
  grep -qi 'chromium' <<<"$windows" && fail "a Chromium window shows on the X screen"
  # The button's middle: below the 36-pixel bar, at (200, 140) of the page.
  DISPLAY=:57 xdotool mousemove 200 176 click 1
  wait "$headful" || { fail "tnwebui-run --headful exited $?"; cat "$out/headful.log"; }
  grep -q "the page closed its window" "$out/headful.log" || { fail "the person's click did not reach the page"; cat "$out/headful.log"; }
  colours=$(identify -format '%k' "$out/xscreen.png" 2>/dev/null || echo 0)
  [ "$colours" -gt 16 ] || fail "the X screen shows no window ($colours colours)"
  [ -n "${TNWEBUI_KEEP_SCREEN:-}" ] && cp "$out/xscreen.png" "$TNWEBUI_KEEP_SCREEN"
else
  fail "no Xvfb, ImageMagick or xdotool: run scripts/install-deps.sh"
fi

# The page sees the window it is in: its outer size is the window's, its viewport the window's
# below the bar, and the screen is larger than both.
mkdir -p "$out/sizes"
echo '<!doctype html><title>Sizes</title><script>console.log("screen " + screen.width + "x" + screen.height + " window " + outerWidth + "x" + outerHeight + " viewport " + innerWidth + "x" + innerHeight)</script>' >"$out/sizes/index.html"
expect 0 "screen 1920x1080 window 1000x720 viewport 1000x684" -- --for 3 "$out/sizes"
expect 0 "screen 1920x1080 window 500x760 viewport 500x724" -- --for 3 --size narrow "$out/sizes"
expect 2 "--size: not WIDTHxHEIGHT" -- --size 10x10 "$out/sizes"

# --watch: a changed file of the app reloads its page, and the run goes on.
mkdir -p "$out/watched"
echo '<!doctype html><title>W</title><script>console.log("version 1")</script>' >"$out/watched/index.html"
"$run" --watch --for 8 "$out/watched" >"$out/watch.log" 2>&1 &
watched=$!
for _ in $(seq 80); do grep -q "version 1" "$out/watch.log" && break; sleep 0.1; done
sleep 1
echo '<!doctype html><title>W</title><script>console.log("version 2")</script>' >"$out/watched/index.html"
wait "$watched" || fail "tnwebui-run --watch exited $?"
grep -q "index.html changed: the page reloads" "$out/watch.log" || fail "--watch did not see the change"
grep -q "version 2" "$out/watch.log" || { fail "--watch did not reload the page"; cat "$out/watch.log"; }
expect 2 "--watch needs the app's folder or page" -- --watch "http://127.0.0.1:9/app.html"

# --devtools: Chromium's DevTools list the app's page while it runs.
"$run" --devtools 18499 --for 6 "$root/pages/tavrin5main/light.html" >"$out/devtools.log" 2>&1 &
devtools=$!
listed=""
for _ in $(seq 50); do
  listed=$(curl -s -m 1 http://127.0.0.1:18499/json/list 2>/dev/null) && grep -q '"title": "Expenses' <<<"$listed" && break
  sleep 0.2
done
grep -q '"title": "Expenses' <<<"$listed" || fail "DevTools at port 18499 did not list the app's page"
wait "$devtools" || fail "tnwebui-run --devtools exited $?"
grep -q "DevTools at http://127.0.0.1:18499" "$out/devtools.log" || fail "--devtools did not say where DevTools are"
expect 2 "--devtools needs a port" -- --devtools none "$root/examples/hello"

# Ctrl-C ends the run, Chromium and the render host with it, and the scratch folder goes.
"$run" "$root/pages/tavrin5main/index.html" >"$out/int.log" 2>&1 &
pid=$!
for _ in $(seq 100); do grep -q "opens as" "$out/int.log" && break; sleep 0.1; done
sleep 1
kids=$(pgrep -P "$pid")
[ -n "$kids" ] || fail "tnwebui-run started no Chromium"
kill -INT "$pid"
wait "$pid"; status=$?
[ "$status" = 130 ] || fail "after Ctrl-C tnwebui-run exited $status, not 130"
grep -q "interrupted" "$out/int.log" || fail "after Ctrl-C the run did not say it was interrupted"
grep -q "no mistakes" "$out/int.log" && fail "an interrupted run claimed no mistakes"
sleep 0.5
for kid in $kids; do
  kill -0 "$kid" 2>/dev/null && fail "a child of tnwebui-run ($(ps -o comm= -p "$kid")) outlived it"
done
[ "$failed" = 0 ] && echo "check-run: tnwebui-run behaves"
exit "$failed"
