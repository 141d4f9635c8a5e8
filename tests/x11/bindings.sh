#!/usr/bin/env bash
# A test page in the real window calls the bindings; it reports through theme.txt, and the data files
# show what the calls changed.
source "$(dirname "$0")/lib.sh"
data="$XDG_DATA_HOME/Quorvane"


start_with_page bindings
reported() { grep -q '^report:' "$data/theme.txt" 2>/dev/null; }
check "the page reports back" wait_for 30 reported
report=$(python3 -c 'import sys, urllib.parse; print(urllib.parse.unquote(open(sys.argv[1]).read()[7:]))' "$data/theme.txt")
echo "report: $report"
field() { python3 -c 'import json, sys; r = json.loads(sys.argv[1]); print(eval(sys.argv[2], {"r": r}))' "$report" "$1"; }

check "no binding threw" test "$(field 'r.get("error", "")')" = ""
check "getAppSettings answers the settings document" test "$(field 'r["settings"]["hotkeysEnabled"]')" = True
check "addProfile made the new profile current" test "$(field 'r["profiles"]["names"][r["profiles"]["current"]]')" = "Bound one"
check "a bad number rejects the promise with a message" test "$(field 'r["resize"]')" = 'rejected: resizeWindow: "wide" is not a number'
check "getSharedTheme gives the key set" test "$(field 'r["shared"]')" = midnight
check "the start-up script reworded the login option" test "$(field 'r["label"]')" = " Launch at login"
check "alert goes to the native alert" test "$(field 'r["alertRouted"]')" = True
check "getTrackerStatus names the hotkeys by the live keymap" test "$(field 'r["status"]["hkRec"] + "," + r["status"]["keySpamTargets"][0]')" = "F8,Space"
check "the status file holds what the poll returned" sh -c "grep -q '\"count\":0' '$data/status.txt'"
check "updateSpammer applied the page's settings" test "$(field 'r["settingsDoc"]["ss"], r["settingsDoc"]["sms"], r["settingsDoc"]["sbtn"]')" = "(1, 250, 1)"
check "updateKeySpam with too few fields is refused" test "$(field 'r["badUpdate"]')" = "rejected: updateKeySpam: needs six whole numbers"
check "setAppSetting wrote the settings file" grep -q '^showWarnings=0$' "$data/appsettings.txt"

kill -TERM "$app"
wait_exit "$app" 15
check "SIGTERM ends it cleanly (got $rc)" test "$rc" = 0
check "the new profile is in the saved session" grep -q '^PROFILE:Bound one$' "$data/session.dat"
finish
