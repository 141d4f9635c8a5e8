#!/usr/bin/env bash
# The app starts, shows its page in its window, keeps one instance, and ends cleanly on SIGTERM.
source "$(dirname "$0")/lib.sh"

shot="$QVN_ARTIFACTS/main-window.png"
start_painted "$shot"
check "the page is painted (window has $colours colours)" test "$colours" -gt 20
check "the window has the default size" test "$WIDTH" -eq 420 -a "$HEIGHT" -eq 560
brightness() { convert "$1" -crop "${WIDTH}x${HEIGHT}+${X}+${Y}" -colorspace Gray -format '%[fx:int(100*mean)]' info:; }
level=$(brightness "$shot")
check "it is the main page, dark themed (brightness $level%)" test "$level" -lt 25

data="$XDG_DATA_HOME/Quorvane"
check "the data folder is private" test "$(stat -c %a "$data")" = 700
check "the instance lock is held" test -f "$data/instance.lock"

"$QVN_BIN" & second=$!
wait_exit "$second" 30
check "a second master exits 0 at once (got $rc)" test "$rc" = 0
check "the first master still runs" kill -0 "$app"
check "still one main window" test "$(main_windows | wc -l)" -eq 1

helpers=$(pgrep -P "$app" | tr '\n' ' ')
kill -TERM "$app"
wait_exit "$app" 15
check "SIGTERM ends the master with status 0 (got $rc)" test "$rc" = 0
check "no window is left" wait_for 5 sh -c "[ -z \"\$(xdotool search --name '$kTitle' 2>/dev/null)\" ]"
check "the web helper processes are gone" wait_for 5 sh -c "for p in $helpers; do kill -0 \$p 2>/dev/null && exit 1; done; exit 0"

check "the session was saved on the way out" grep -q '^PROFILE:Default Tracking Profile$' "$data/session.dat"

# A session from an earlier run comes back byte for byte (the current profile gains its settings line).
settings='SETTINGS:1,2,3,77,1,1,0,9,1,100,200,0,0,0,0,1,3,1,500,65,66,0,67,4,5,6,7,0,8,88,90,90|91,1,1,0,72'
printf '%s\nCURRENT:1\nPROFILE:Default Tracking Profile\nPROFILE:Farm, long\n3,0.5,0,0,0,65,1,0\n2,1.25,300,400,2,0,0,0\n' \
  "$settings" > "$data/session.dat"
"$QVN_BIN" & again=$!
check "after the exit a new master can start" wait_for 20 has_main_window
kill -TERM "$again"
wait_exit "$again" 15
check "the new master ends cleanly too (got $rc)" test "$rc" = 0
expected=$(printf '%s\nCURRENT:1\nPROFILE:Default Tracking Profile\nPROFILE:Farm, long\nPROFILESETTINGS:1,2,3,77,1,1,0,9,1,100,200,4,5,6,7,0,8,90,90|91,1\n3,0.5,0,0,0,65,1,0\n2,1.25,300,400,2,0,0,0' "$settings")
check "the session file reads back byte for byte" test "$(cat "$data/session.dat")" = "$expected"

# Without its pages beside it the app says so in the window, and still runs.
bare=$(mktemp -d)
cp "$QVN_BIN" "$bare/quorvane"
# Started from a folder that holds pages: they are not taken (only the program's own locations are).
(cd "$(dirname "$QVN_BIN")/resources" && exec "$bare/quorvane") & nopage=$!
check "without pages the window still appears" wait_for 20 has_main_window
shoot_painted "$QVN_ARTIFACTS/missing-page.png" "$(main_windows | head -n1)" 4 30
level=$(brightness "$QVN_ARTIFACTS/missing-page.png")
check "the window shows the plain missing-page message instead (brightness $level%)" test "$level" -gt 75
kill -TERM "$nopage"
wait_exit "$nopage" 15
check "and ends cleanly (got $rc)" test "$rc" = 0
rm -rf "$bare"

finish
