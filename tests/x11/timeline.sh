#!/usr/bin/env bash
# The Timeline Editor as a user meets it: started for the running master (as its window's button and the
# pop-out panels start it), one at a time, loading the master's macro, a retimed event saved back into the
# profile, the busy state while a recording runs, a refused save of a copy that went stale, and the editor
# noticing that the master has gone.
source "$(dirname "$0")/lib.sh"
data="$XDG_DATA_HOME/Quorvane"
mkdir -p "$data"
chmod 700 "$data"
# The hotkeys as shipped: F8 records.
settings='SETTINGS:1,2,3,77,1,1,0,9,1,100,200,0,0,0,0,1,3,1,500,119,118,0,117,4,5,6,7,0,8,88,90,90|91,1,1,0,72'
printf '%s\nCURRENT:0\nPROFILE:Default Tracking Profile\n3,0.5,0,0,0,65,1,0\n3,0.75,0,0,0,65,0,0\n2,1.25,300,400,2,0,0,0\n2,1.3,300,400,4,0,0,0\n' \
  "$settings" > "$data/session.dat"
kEditor='^Quorvane - Timeline Editor$'
editors() { xdotool search --onlyvisible --name "$kEditor" 2>/dev/null || true; }
has_editor() { [ -n "$(editors)" ]; }

"$QVN_BIN" & app=$!
check "the main window appears" wait_for 20 has_main_window
shoot_painted "$QVN_ARTIFACTS/main.png" "$(main_windows | head -n1)" 20 30

"$QVN_BIN" --timeline "$app" & editor=$!
check "the editor's window appears" wait_for 20 has_editor
win=$(editors | head -n1)
check "timeline.pid names the editor" wait_for 5 sh -c "[ \"\$(cat '$data/timeline.pid' 2>/dev/null)\" = $editor ]"
shoot_painted "$QVN_ARTIFACTS/editor.png" "$win" 20 30
eval "$(xdotool getwindowgeometry --shell "$win")"
check "the window has its default size (${WIDTH}x${HEIGHT})" test "$WIDTH" = 1000 -a "$HEIGHT" = 680

"$QVN_BIN" --timeline "$app" & second=$!
wait_exit "$second" 20
check "a second editor ends at once with status 0 (got $rc)" test "$rc" = 0
check "and the first stays, alone" test "$(editors | wc -l)" = 1
check "timeline.pid still names the first" test "$(cat "$data/timeline.pid")" = "$editor"

# The page loads on its own; its keys work without a click: the first event (the key press) 10 ms later.
sleep 2
xdotool windowactivate --sync "$win"
xdotool key Home Right ctrl+s
saved() { grep -q '"time":0.51' "$data/macroevents.txt" 2>/dev/null || grep -q '0\.51' "$data/macroevents.txt" 2>/dev/null; }
check "the save reaches the master's event list" wait_for 10 saved
head -c 300 "$data/macroevents.txt"; echo

# A recording started with the master's hotkey makes the editor busy within moments, and idle after.
xdotool mousemove 5 5
state() { cut -d' ' -f2 "$data/timeline-state.txt" 2>/dev/null; }
xdotool key F8
check "recording: the editor is told it is busy" wait_for 2 sh -c "[ \"\$(cut -d' ' -f2 '$data/timeline-state.txt' 2>/dev/null)\" = 1 ]"
sleep 0.5
import -window root "$QVN_ARTIFACTS/editor-busy.png"
xdotool key F8
check "stopped: and idle again" wait_for 2 sh -c "[ \"\$(cut -d' ' -f2 '$data/timeline-state.txt' 2>/dev/null)\" = 0 ]"
before=$(cat "$data/macroevents.txt")

# The recording replaced the macro: a save from the editor's old copy is refused and changes nothing.
sleep 0.5
xdotool windowactivate --sync "$win"
xdotool key Right ctrl+s
sleep 2
import -window root "$QVN_ARTIFACTS/editor-stale.png"
check "the stale save left the master's macro alone" test "$(cat "$data/macroevents.txt")" = "$before"
check "and its answer was taken by the editor" test ! -e "$data/timeline-result.txt"

# The master ends while the editor holds unsaved edits: the editor stays up to say so.
kill -TERM "$app"
wait_exit "$app" 15
check "SIGTERM ends the master (got $rc)" test "$rc" = 0
sleep 3
check "the editor with unsaved edits is still open" has_editor
import -window root "$QVN_ARTIFACTS/editor-master-gone.png"
kill -TERM "$editor"
wait_exit "$editor" 15
check "SIGTERM ends the editor (got $rc)" test "$rc" = 0
check "timeline.pid is gone with it" test ! -e "$data/timeline.pid"
check "no transfer file is left" sh -c "! ls '$data'/timeline-load.txt* '$data'/timeline-state.txt* '$data'/timeline-save.json* 2>/dev/null | grep -q ."

# Without unsaved edits, the editor closes by itself within about 2 s of the master's end.
"$QVN_BIN" & app=$!
check "a new master starts" wait_for 20 has_main_window
"$QVN_BIN" --timeline "$app" & editor=$!
check "its editor appears" wait_for 20 has_editor
sleep 2
helpers=$(pgrep -d' ' -P "$editor" || true)
kill -TERM "$app"
wait_exit "$app" 15
wait_exit "$editor" 4
check "the idle editor ends on its own (got $rc)" test "$rc" = 0
check "its web helper processes end too" wait_for 10 sh -c "for p in $helpers; do kill -0 \$p 2>/dev/null && exit 1; done; exit 0"
finish
