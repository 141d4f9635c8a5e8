#!/usr/bin/env bash
# The app starts, shows its page in its window, keeps one instance, and ends cleanly on SIGTERM.
source "$(dirname "$0")/lib.sh"

"$QVN_BIN" & app=$!
check "the main window appears" wait_for 20 has_main_window
win=$(main_windows | head -n1)
# The web process paints about a second after the window maps, later on a loaded machine: look again
# until the page shows or 20 s have passed.
shot="$QVN_ARTIFACTS/main-window.png"
eval "$(xdotool getwindowgeometry --shell "$win")"
deadline=$(( $(date +%s) + 20 ))
while :; do
  sleep 1
  import -window root "$shot"
  colours=$(convert "$shot" -crop "${WIDTH}x${HEIGHT}+${X}+${Y}" -unique-colors -format '%w' info:)
  [ "$colours" -gt 20 ] || [ "$(date +%s)" -ge "$deadline" ] && break
done
check "the page is painted (window has $colours colours)" test "$colours" -gt 20
check "the window has the default size" test "$WIDTH" -eq 420 -a "$HEIGHT" -eq 560
brightness() { convert "$1" -crop "${WIDTH}x${HEIGHT}+${X}+${Y}" -colorspace Gray -format '%[fx:int(100*mean)]' info:; }
level=$(brightness "$shot")
check "it is the main page, dark themed (brightness $level%)" test "$level" -lt 25

data="$XDG_DATA_HOME/Quorvane"
check "the data folder is private" test "$(stat -c %a "$data")" = 700
check "the instance lock is held" test -f "$data/instance.lock"

"$QVN_BIN" & second=$!
wait_exit "$second" 10
check "a second master exits 0 at once (got $rc)" test "$rc" = 0
check "the first master still runs" kill -0 "$app"
check "still one main window" test "$(main_windows | wc -l)" -eq 1

helpers=$(pgrep -P "$app" | tr '\n' ' ')
kill -TERM "$app"
wait_exit "$app" 15
check "SIGTERM ends the master with status 0 (got $rc)" test "$rc" = 0
check "no window is left" wait_for 5 sh -c "[ -z \"\$(xdotool search --name '$kTitle' 2>/dev/null)\" ]"
leftover=""
for p in $helpers; do kill -0 "$p" 2>/dev/null && leftover="$leftover $p"; done
check "the web helper processes are gone (${leftover:-none left})" wait_for 5 sh -c "for p in $helpers; do kill -0 \$p 2>/dev/null && exit 1; done; exit 0"

"$QVN_BIN" & again=$!
check "after the exit a new master can start" wait_for 20 has_main_window
kill -TERM "$again"
wait_exit "$again" 15
check "the new master ends cleanly too (got $rc)" test "$rc" = 0

# Without its pages beside it the app says so in the window, and still runs.
bare=$(mktemp -d)
cp "$QVN_BIN" "$bare/quorvane"
"$bare/quorvane" & nopage=$!
check "without pages the window still appears" wait_for 20 has_main_window
sleep 1.5
import -window root "$QVN_ARTIFACTS/missing-page.png"
level=$(brightness "$QVN_ARTIFACTS/missing-page.png")
check "the window shows the plain missing-page message instead (brightness $level%)" test "$level" -gt 75
kill -TERM "$nopage"
wait_exit "$nopage" 15
check "and ends cleanly (got $rc)" test "$rc" = 0
rm -rf "$bare"

finish
