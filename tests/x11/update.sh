#!/usr/bin/env bash
# The self-update of a user-local install, end to end: the app (a test build, which trusts the loopback host
# and the test key) finds the signed manifest on a local HTTPS server, the page starts the update, the
# download shows its progress, and the new version is swapped in and started once the app has ended. A
# refused download first: the page is told why, and the install stays as it was. At start the app sweeps
# what a crashed update left, and only that.
source "$(dirname "$0")/lib.sh"
here=$(cd "$(dirname "$0")" && pwd)
src=$(cd "$here/../.." && pwd)
data="$XDG_DATA_HOME/Quorvane"
work=$(mktemp -d)
export TMPDIR="$work/tmp"
mkdir -p "$TMPDIR" "$work/served" "$work/apps"
server=""
stop_server() { [ -n "$server" ] && kill "$server" 2>/dev/null; [ -n "$server" ] && wait "$server" 2>/dev/null; server=""; }
trap 'stop_server; rm -rf "$work"' EXIT

python3 "$src/tests/update/https_server.py" "$work/served" "$work/port" 150 & server=$!
check "the local HTTPS server starts" wait_for 20 test -s "$work/port"
base="https://127.0.0.1:$(cat "$work/port")"

# The install: the binary and its pages under one folder, as cmake --install lays it out.
app="$work/apps/Quorvane"
mkdir -p "$app/resources/ui"
cp "$QVN_BIN" "$app/quorvane"
cp "$here/pages/update.html" "$app/resources/ui/index.html"
# The new version: a stand-in binary that says it was started, and new pages.
new="$work/new"
mkdir -p "$new/resources/ui"
printf '#!/bin/sh\necho "1.0.2 $*" > "%s/relaunched"\n' "$work" > "$new/quorvane"
chmod 755 "$new/quorvane"
echo '<p>1.0.2</p>' > "$new/resources/ui/index.html"
python3 "$src/scripts/make-update.py" archive "$src/tests/update/test-key.pem" 1.0.2 "$new" "$work/served/quorvane-1.0.2.zip"
# Big enough for several progress calls at the slow route's pace.
head -c 300000 /dev/urandom > "$new/resources/noise.bin"
python3 "$src/scripts/make-update.py" archive "$src/tests/update/test-key.pem" 1.0.2 "$new" "$work/served/quorvane-1.0.2.zip"
key="$src/tests/update/test-key.pem"
manifest() {  # manifest URL-of-the-archive DIGEST-FILE
  local sha; sha=$(sha256sum "$2" | cut -c1-64)
  local sig; sig=$(python3 "$src/scripts/make-update.py" sign "$key" "QVN-UPDATE-1|pro|1.0.2|$sha|$1")
  printf '{"tier":"pro","version":"1.0.2","url":"%s","sha256":"%s","sig":"%s"}\n' "$1" "$sha" "$sig" > "$work/served/pro.json"
}
snapshot() { (cd "$app" && find . -printf '%p %m %s\n' | sort && find . -type f -exec sha256sum {} + | sort); }
reported() { grep -q "$1" <<< "$(python3 -c 'import sys, urllib.parse; print(urllib.parse.unquote(open(sys.argv[1]).read()))' "$data/theme.txt" 2>/dev/null)"; }
report() { python3 -c 'import sys, urllib.parse; print(urllib.parse.unquote(open(sys.argv[1]).read()[7:]))' "$data/theme.txt"; }
field() { python3 -c 'import json, sys; r = json.loads(sys.argv[1]); print(eval(sys.argv[2], {"r": r}))' "$(report)" "$1"; }

# Left by a crash: a download folder, a staging folder and an old copy are swept; a link with our prefix
# and a folder not ours by name stay.
mkdir -p "$TMPDIR/Quorvane-update-app.quorvane.pro-XXstale1/x" "$work/apps/.app.quorvane.pro-update-XXstale2/quorvane" \
         "$work/apps/.app.quorvane.pro-old-0123456789abcdef" "$work/keep"
ln -s "$work/keep" "$work/apps/.app.quorvane.pro-update-link"

# First run: the digest that the manifest signed doesn't match the archive.
manifest "$base/files/quorvane-1.0.2.zip" "$app/quorvane"
before=$(snapshot)
"$app/quorvane" --update-manifest="$base/update/pro.json" & pid=$!
check "the update is offered" wait_for 40 reported '"offered":\["1.0.2","1.0.1"\]'
check "the start-up sweep took the download folder" test ! -e "$TMPDIR/Quorvane-update-app.quorvane.pro-XXstale1"
check "and the staging folder and the old copy" test ! -e "$work/apps/.app.quorvane.pro-update-XXstale2" -a ! -e "$work/apps/.app.quorvane.pro-old-0123456789abcdef"
check "but not a link with our prefix" test -L "$work/apps/.app.quorvane.pro-update-link" -a -d "$work/keep"
check "the page is told why it failed" wait_for 30 reported '"answer":"Update failed: the download did not match the signed update. Nothing was changed."'
check "nothing of the install changed" test "$before" = "$(snapshot)"
check "nothing is left beside it" test "$(ls -A "$work/apps")" = "$(printf 'Quorvane\n.app.quorvane.pro-update-link' | sort)"
check "nor in the temporary folder" test -z "$(ls -A "$TMPDIR")"
kill -TERM "$pid"
wait_exit "$pid" 15
check "it ends cleanly (got $rc)" test "$rc" = 0
rm -f "$work/apps/.app.quorvane.pro-update-link"

# Second run: the real thing, downloaded slowly enough to show progress.
manifest "$base/slow/quorvane-1.0.2.zip" "$work/served/quorvane-1.0.2.zip"
: > "$data/theme.txt"
"$app/quorvane" --update-manifest="$base/update/pro.json" & pid=$!
check "the update is offered again" wait_for 40 reported '"offered":\["1.0.2","1.0.1"\]'
wait_exit "$pid" 60
[ "$rc" = timeout ] && kill -TERM "$pid"
check "the app ends by itself to make way (got $rc)" test "$rc" = 0
check "the new version was started" wait_for 15 test -s "$work/relaunched"
check "as the app, without arguments" test "$(cat "$work/relaunched" 2>/dev/null)" = "1.0.2 "
check "the install holds the new version" test "$(cat "$app/resources/ui/index.html")" = "<p>1.0.2</p>"
check "and its every file" test "$(cd "$app" && find . -type f | sort)" = "$(printf './.qvn-files\n./.qvn-files.sig\n./quorvane\n./resources/noise.bin\n./resources/ui/index.html')"
check "the old copy is gone" wait_for 10 test "$(ls -A "$work/apps")" = "Quorvane"
check "the temporary folder is empty" test -z "$(ls -A "$TMPDIR")"
check "the page saw the download progress" test "$(field 'r["progress"] >= 2')" = True
size=$(stat -c %s "$work/served/quorvane-1.0.2.zip")
# The last report may still be queued for the page when the app ends to make way for the new copy.
check "counting toward the whole archive" test "$(field 'r["last"][1]')" = "$size"
check "and never past it" test "$(field 'r["last"][0] <= r["last"][1]')" = True
check "the page was told of the install (or the app ended first)" test "$(field 'r["answer"] is None')" = True
cp "$work/served/requests.log" "$QVN_ARTIFACTS/update-requests.log" 2>/dev/null
finish
