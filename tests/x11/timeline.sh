#!/usr/bin/env bash
# The Timeline Editor as a user meets it: opened by the Tracker's "Timeline Editor" button in the main
# window, centred, one at a time, loading the master's macro, a retimed event saved back into the profile,
# the busy state while a recording runs, a save from a copy that went stale refused in the editor's window
# with the master's macro untouched, and the editor noticing that the master has gone.
source "$(dirname "$0")/lib.sh"
data="$XDG_DATA_HOME/Quorvane"
mkdir -p "$data"
chmod 700 "$data"
# The hotkeys as shipped: F8 records. The Tracker's panel comes first, so its buttons are in view.
settings='SETTINGS:1,2,3,77,1,1,0,9,1,100,200,0,0,0,0,1,3,1,500,119,118,0,117,4,5,6,7,0,8,88,90,90|91,1,1,0,72'
printf '%s\nCURRENT:0\nPROFILE:Default Tracking Profile\n3,0.5,0,0,0,65,1,0\n3,0.75,0,0,0,65,0,0\n2,1.25,300,400,2,0,0,0\n2,1.3,300,400,4,0,0,0\n' \
  "$settings" > "$data/session.dat"
printf 'panelOrder=panel-tracker,panel-spammer,panel-keyspam,panel-profile,panel-ui\nshowWarnings=0\n' > "$data/appsettings.txt"
kEditor='^Quorvane - Timeline Editor$'
editors() { xdotool search --onlyvisible --name "$kEditor" 2>/dev/null || true; }
has_editor() { [ -n "$(editors)" ]; }
# Waits up to $2 seconds for process $1, not necessarily ours, to end.
gone() { local deadline=$(( $(date +%s) + $2 )); while kill -0 "$1" 2>/dev/null && ! ps -o stat= -p "$1" | grep -q Z; do
  [ "$(date +%s)" -ge "$deadline" ] && return 1; sleep 0.1; done; }
"$QVN_BIN" & app=$!
check "the main window appears" wait_for 20 has_main_window
main=$(main_windows | head -n1)
shoot_painted "$QVN_ARTIFACTS/main.png" "$main" 20 30

# The Tracker's "Timeline Editor" button, beside Optimise under the switches.
eval "$(xdotool getwindowgeometry --shell "$main")"
button_x=$((X + 320)); button_y=$((Y + 352))
xdotool mousemove "$button_x" "$button_y" click 1
check "the button opens the editor's window" wait_for 20 has_editor
win=$(editors | head -n1)
check "timeline.pid names it" wait_for 5 test -s "$data/timeline.pid"
editor=$(cat "$data/timeline.pid")
check "it was started for this master ($(tr '\0' ' ' < "/proc/$editor/cmdline"))" \
  sh -c "tr '\0' ' ' < /proc/$editor/cmdline | grep -q -- '--timeline $app \$'"
shoot_painted "$QVN_ARTIFACTS/editor.png" "$win" 20 30
eval "$(xdotool getwindowgeometry --shell "$win")"
check "the window has its default size (${WIDTH}x${HEIGHT})" test "$WIDTH" = 1000 -a "$HEIGHT" = 680
# Centred on the screen, frame and all, once the window manager has framed it.
read -r sw sh <<< "$(xdotool getdisplaygeometry)"
centred() {
  read -r fx fy fw fh <<< "$(frame "$win")"
  [ $((2 * fx + fw - sw)) -ge -4 ] && [ $((2 * fx + fw - sw)) -le 4 ] && [ $((2 * fy + fh - sh)) -ge -4 ] && [ $((2 * fy + fh - sh)) -le 4 ]
}
check "it is centred on the screen" wait_for 5 centred
echo "editor frame: $(frame "$win") on ${sw}x$sh"

# The button again, and a second "--timeline" start: both bring the first forward, and it stays alone.
xdotool mousemove "$button_x" "$button_y" click 1
"$QVN_BIN" --timeline "$app" & second=$!
wait_exit "$second" 20
check "a second editor ends at once with status 0 (got $rc)" test "$rc" = 0
check "and the first stays, alone" test "$(editors | wc -l)" = 1
check "timeline.pid still names the first" test "$(cat "$data/timeline.pid")" = "$editor"

# The page loads on its own and its keys work without a click: the first event (the key press) 10 ms
# later, then saved. Keys sent before the macro has arrived do nothing, so this is tried until it lands.
saved() { grep -q '"time":0\.51' "$data/macroevents.txt" 2>/dev/null; }
retime() {
  for _ in 1 2 3 4 5 6; do
    xdotool windowactivate --sync "$win" key Home Right ctrl+s
    wait_for 4 saved && return 0
  done
  return 1
}
check "a retimed key press reaches the master's event list" retime
head -c 300 "$data/macroevents.txt"; echo

# The middle of the editor's timeline, where a notice over the page (the busy overlay, a dialog) shows;
# `differs` counts the pixels unlike the middle as it was with the macro on screen and nothing over it.
middle() { import -window root "$1"; eval "$(xdotool getwindowgeometry --shell "$win")"; \
  mogrify -crop "240x60+$((X + WIDTH / 2 - 160))+$((Y + HEIGHT / 2 - 30))" +repage "$1"; }
middle "$QVN_ARTIFACTS/middle-idle.png"
differs() { middle "$QVN_ARTIFACTS/middle-now.png"; compare -metric AE "$QVN_ARTIFACTS/middle-idle.png" \
  "$QVN_ARTIFACTS/middle-now.png" null: 2>&1 | cut -d' ' -f1; }
covered() { [ "$(differs)" -gt 1500 ]; }
clear_view() { [ "$(differs)" -lt 300 ]; }

# A recording started with the master's hotkey makes the editor busy within moments, and idle after.
xdotool mousemove 5 5
state_is() { [ "$(cut -d' ' -f2 "$data/timeline-state.txt" 2>/dev/null)" = "$1" ]; }
xdotool key F8
check "recording: the editor is told it is busy" wait_for 2 state_is 1
check "and its page shows the busy overlay" wait_for 10 covered
import -window root "$QVN_ARTIFACTS/editor-busy.png"
xdotool key F8
check "stopped: and idle again" wait_for 2 state_is 0
check "and the overlay goes" wait_for 10 clear_view

# The recording replaced the macro. Once the master has saved that to its session file, an edit made in
# the editor's old copy and saved is refused: the editor takes the master's answer and shows it, and the
# session file keeps the recorded macro to the byte.
recorded() { ! grep -q '^3,0\.51\?,' "$data/session.dat"; }  # neither the first macro nor the retimed one
check "the session file holds the recording" wait_for 15 recorded
session_before=$(md5sum < "$data/session.dat")
xdotool windowactivate --sync "$win" key Right ctrl+s
check "the editor shows the refusal over its timeline" wait_for 10 covered
import -window root "$QVN_ARTIFACTS/editor-stale.png"
check "and has taken the master's answer" wait_for 5 test ! -e "$data/timeline-result.txt"

# The master ends while the editor holds unsaved edits: it saves its session on the way out, and the
# editor stays up to say so.
kill -TERM "$app"
wait_exit "$app" 15
check "SIGTERM ends the master (got $rc)" test "$rc" = 0
check "the session file still holds the recorded macro, not the stale copy" test "$(md5sum < "$data/session.dat")" = "$session_before"
sleep 3
check "the editor with unsaved edits is still open" has_editor
import -window root "$QVN_ARTIFACTS/editor-master-gone.png"
kill -TERM "$editor"
check "SIGTERM ends the editor" gone "$editor" 15
check "timeline.pid is gone with it" test ! -e "$data/timeline.pid"
check "no transfer file is left" sh -c "! ls '$data'/timeline-load.txt* '$data'/timeline-state.txt* '$data'/timeline-save.json* 2>/dev/null | grep -q ."

# Without unsaved edits, the editor closes by itself within about 2 s of the master's end.
"$QVN_BIN" & app=$!
check "a new master starts" wait_for 20 has_main_window
"$QVN_BIN" --timeline "$app" & editor=$!
check "its editor appears" wait_for 20 has_editor
check "its web process has started" wait_for 20 sh -c "pgrep -P $editor > /dev/null"
helpers=$(pgrep -d' ' -P "$editor" || true)
kill -TERM "$app"
wait_exit "$app" 15
wait_exit "$editor" 4
check "the idle editor ends on its own (got $rc)" test "$rc" = 0
check "its web helper processes end too" wait_for 10 sh -c "for p in $helpers; do kill -0 \$p 2>/dev/null && exit 1; done; exit 0"
finish
