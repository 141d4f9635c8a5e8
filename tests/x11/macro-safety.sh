#!/usr/bin/env bash
# Macro files that open a command line the ways of this desktop, opened with the app as a file manager
# does: the real page holds each back with its findings named (read from the window the way a user copies
# text: select all, copy), and the session keeps it out until the user imports it anyway.
source "$(dirname "$0")/lib.sh"
data="$XDG_DATA_HOME/Quorvane"
files=$(mktemp -d)
# Win down, the Key Spammer on, Win up; its list types R, C, M, D and Enter once: the Run box and a command,
# made by the Key Spammer that the macro starts, not by the macro's own keys.
{
  echo 'Helper'
  echo 'SETTINGS:0,0,0,5,0,0,1,10,0,0,0,0,0,0,0,1,1.0,0,0,0,0,0,0,0,0,0,5,0,5,0,82,82|67|77|68|13,0,0,0,0'
  echo '3,2,0,0,0,91,1,0'
  echo '5,2,0,0,0,2,1,0'
  echo '3,2.003,0,0,0,91,0,0'
} > "$files/helper.qvnmacro"
# Alt+F2, a command typed, Enter: the run dialog of the common desktops.
{
  echo 'Runner'
  for e in '18,1' '113,1' '113,0' '18,0' '88,1' '88,0' '13,1' '13,0'; do echo "3,1,0,0,0,$e,0"; done
} > "$files/runner.qvnmacro"
printf 'Notes\n3,0.5,0,0,0,65,1,0\n3,0.6,0,0,0,65,0,0\n' > "$files/notes.qvnmacro"
kRunBox="Opens the Windows Run box, types something and presses Enter. This can start programs or run commands on your PC."
kRunDialog="Opens the desktop's Run dialog (Alt+F2), types something and presses Enter. This can start programs or run commands on your computer."

# The window's text as a user would copy it; the copy is asked for again until it names $1.
copied=""
shows() {
  local win
  win=$(main_windows | head -n1)
  [ -n "$win" ] || return 1
  xdotool windowactivate --sync "$win" 2>/dev/null
  xdotool key --clearmodifiers ctrl+a ctrl+c
  sleep 0.2
  copied=$(timeout 5 xclip -selection clipboard -o 2>/dev/null)
  grep -qF -- "$1" <<< "$copied"
}

(cd "$files" && exec "$QVN_BIN" helper.qvnmacro) & app=$!
check "the main window appears" wait_for 30 has_main_window
shoot_painted "$QVN_ARTIFACTS/started.png" "$(main_windows | head -n1)" 20 30
check "the page holds the macro back and names the Key Spammer's Run box" wait_for 40 shows "$kRunBox"
printf '%s\n' "$copied" > "$QVN_ARTIFACTS/helper-dialog.txt"
import -window root "$QVN_ARTIFACTS/helper-dialog.png"
check "as a danger" grep -qx 'This macro could do harm' <<< "$copied"

# A harmless macro opened meanwhile goes straight in; the session saved with it leaves the waiting one out.
(cd / && exec "$QVN_BIN" "$files/notes.qvnmacro")
check "a harmless macro opened meanwhile is saved at once" wait_for 20 grep -q '^PROFILE:Notes$' "$data/session.dat"
check "without the waiting macro" eval "! grep -q '^PROFILE:Helper' '$data/session.dat'"

# Import anyway: the second button, from the keyboard.
xdotool key Tab
sleep 0.3
import -window root "$QVN_ARTIFACTS/import-anyway.png"
xdotool key Return
check "imported anyway, it is saved as a profile" wait_for 20 grep -q '^PROFILE:Helper$' "$data/session.dat"

# A second start hands the next file to the running app, which asks again; Escape declines it.
(cd / && exec "$QVN_BIN" "$files/runner.qvnmacro"); rc=$?
check "a second start with a file ends at once with 0 (got $rc)" test "$rc" = 0
check "the page names the run dialog's command" wait_for 30 shows "$kRunDialog"
printf '%s\n' "$copied" > "$QVN_ARTIFACTS/runner-dialog.txt"
xdotool key Escape

kill -TERM "$app"
wait_exit "$app" 15
check "the master ends cleanly (got $rc)" test "$rc" = 0
check "the declined macro never reached the session" eval "! grep -q '^PROFILE:Runner' '$data/session.dat'"
check "the confirmed one stays" grep -q '^PROFILE:Helper$' "$data/session.dat"
rm -rf "$files"
finish
