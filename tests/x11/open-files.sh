#!/usr/bin/env bash
# Files reach the master the ways a desktop sends them: named at its start (from another working folder),
# named to a second start (which hands them over and ends), and dragged onto its window. A probe page in
# the real window reports what the master tells the page, through theme.txt; the data folder shows the
# outcome. Neither a link nor a drop takes the window away from its page.
source "$(dirname "$0")/lib.sh"
: "${QVN_DRAG_FILES:?QVN_DRAG_FILES must name the drag source}"
data="$XDG_DATA_HOME/Quorvane"
files=$(mktemp -d)
printf 'Farm\n3,0.5,0,0,0,65,1,0\n' > "$files/Farm.qvnmacro"
printf 'Wipe\n3,0,0,0,0,16,1,0\n3,0.1,0,0,0,46,1,0\n' > "$files/wipe.qvnmacro"
theme() { printf '{"name":"%s","bgMain":"#101010","bgPanel":"#202020","bgHeader":"#303030","accent":"#4060ff","accentHover":"#6080ff","text":"#ffffff","font":"'"'"'Consolas'"'"', '"'"'Courier New'"'"', monospace"}' "$1"; }
theme Night > "$files/Night.qvntheme"
theme Dawn > "$files/Dawn.QVNTHEME"
echo "just notes" > "$files/notes.txt"

# The report in theme.txt as JSON, or nothing.
read_report() {
  python3 -c 'import sys, urllib.parse
t = open(sys.argv[1]).read().strip() if __import__("os").path.exists(sys.argv[1]) else ""
print(urllib.parse.unquote(t[7:]) if t.startswith("report:") else "")' "$data/theme.txt"
}
report_number() { local r; r=$(read_report); [ -n "$r" ] && python3 -c 'import json, sys; print(json.loads(sys.argv[1])["n"])' "$r" || echo 0; }
last=0
newer_report() { [ "$(report_number)" -gt "$last" ]; }
# Waits for the next report and puts it in $report.
next_report() {
  report='{"kind":"none","data":null}'
  wait_for 20 newer_report || return 1
  report=$(read_report)
  last=$(report_number)
  echo "report: $report"
}
field() { python3 -c 'import json, sys; r = json.loads(sys.argv[1]); print(eval(sys.argv[2], {"r": r}))' "$report" "$1"; }

# First start, with a relative path from another folder: handled once the window is up, before the page is.
app_dir=$(mktemp -d)
mkdir -p "$app_dir/resources/ui"
cp "$QVN_BIN" "$app_dir/quorvane"
cp "$(dirname "$0")/pages/open-files.html" "$app_dir/resources/ui/index.html"
(cd "$files" && exec "$app_dir/quorvane" Farm.qvnmacro) & app=$!
next_report
check "the page comes up and stays after a link away ($(field 'r.get("data")'))" test "$(field 'r["kind"]')" = ready
check "the macro named at the start became a profile" wait_for 15 grep -q '^PROFILE:Farm$' "$data/session.dat"

(cd / && exec "$app_dir/quorvane" "$files/wipe.qvnmacro"); rc=$?
check "a second start with a file ends at once with 0 (got $rc)" test "$rc" = 0
next_report
check "the master shows the second start's macro for confirmation" test "$(field 'r["kind"] + ":" + str(r["data"]["outcome"])')" = pending:pending
check "with what the scan found" test "$(field 'r["data"]["level"]')" = danger

(cd "$files" && exec "$app_dir/quorvane" Night.qvntheme)
next_report
check "a theme named to a second start is installed and applied" test "$(field 'r["data"]["appliedKey"]')" = Night
check "it lies in the themes folder" test -f "$data/themes/Night.qvntheme"

# Drags from another application's window onto ours.
"$QVN_DRAG_FILES" "$files/list" > "$QVN_ARTIFACTS/drag.log" 2>&1 & drag=$!
wait_for 10 sh -c "xdotool search --onlyvisible --name '^qvn drag source$' > /dev/null" || true
src=$(xdotool search --onlyvisible --name '^qvn drag source$' | head -n1)
xdotool windowmove --sync "$src" 760 40
win=$(main_windows | head -n1)
eval "$(xdotool getwindowgeometry --shell "$win")"
tx=$((X + WIDTH / 2)); ty=$((Y + HEIGHT / 2))
drag_to_window() {
  xdotool mousemove 860 90 sleep 0.3 mousedown 1 sleep 0.2 mousemove 850 95 sleep 0.2 mousemove 700 150 sleep 0.2 \
    mousemove $((tx + 10)) $((ty + 5)) sleep 0.3 mousemove "$tx" "$ty" sleep 0.5 mouseup 1
}
printf '%s\n' "$files/Dawn.QVNTHEME" > "$files/list"
drag_to_window
next_report
check "a theme dropped on the window is installed and applied" test "$(field 'r["data"]["appliedKey"]')" = Dawn
check "the dropped theme lies in the themes folder" sh -c "ls '$data/themes' | grep -qix dawn.qvntheme"

printf '%s\n' "$files/notes.txt" > "$files/list"
drag_to_window
next_report
check "a dropped text file is refused with a sentence" \
  test "$(field 'r["data"]')" = 'Not opened: "notes.txt". Quorvane opens macro files (.qvnmacro) and theme files (.qvntheme).'
(cd / && exec "$app_dir/quorvane" "$files/Farm.qvnmacro")
next_report
check "and the page is still there to be told the next import" test "$(field 'r["kind"]')" = imported
kill "$drag" 2>/dev/null; wait "$drag" 2>/dev/null

kill -TERM "$app"
wait_exit "$app" 15
check "the master ends cleanly (got $rc)" test "$rc" = 0
rm -rf "$files"
finish
