#!/usr/bin/env bash
# The native alert and the file chooser, answered from the keyboard as a person would.
source "$(dirname "$0")/lib.sh"
data="$XDG_DATA_HOME/Quorvane"

start_with_page dialogs
printf 'Typed\n3,0.5,0,0,0,65,1,0\n3,0.6,0,0,0,65,0,0\n' > "$app_dir/typed.qvnmacro"
phase() { grep -q "^phase:$1" "$data/theme.txt" 2>/dev/null; }
windows() { xdotool search --onlyvisible --pid "$app" 2>/dev/null | wc -l; }

check "the page asks for an alert" wait_for 30 phase alerting
check "a second window, the alert, appears" wait_for 10 sh -c "[ \$(xdotool search --onlyvisible --pid $app 2>/dev/null | wc -l) -ge 2 ]"
sleep 0.5
import -window root "$QVN_ARTIFACTS/alert.png"
xdotool key Return
check "Return answers the alert and the page goes on" wait_for 10 phase choosing

check "the file chooser appears" wait_for 10 sh -c "[ \$(xdotool search --onlyvisible --pid $app 2>/dev/null | wc -l) -ge 2 ]"
sleep 1
xdotool key ctrl+l
sleep 0.3
xdotool type --delay 20 "$app_dir/typed.qvnmacro"
sleep 0.3
import -window root "$QVN_ARTIFACTS/chooser.png"
xdotool key Return
check "the chosen macro is imported" wait_for 15 phase 'imported %7B%22outcome%22%3A%22imported%22%7D'

xdotool windowactivate --sync "$(main_windows | head -n1)" 2>/dev/null
xdotool key ctrl+q
wait_exit "$app" 15
check "Ctrl+Q quits cleanly (got $rc)" test "$rc" = 0
check "the imported profile is in the session" grep -q '^PROFILE:Typed (Imported)$' "$data/session.dat"
finish
