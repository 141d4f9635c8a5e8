#!/usr/bin/env bash
# Under a window manager, starting the app again brings the running window back.
source "$(dirname "$0")/lib.sh"

"$QVN_BIN" & app=$!
check "the main window appears" wait_for 20 has_main_window
win=$(main_windows | head -n1)
shoot_painted "$QVN_ARTIFACTS/started.png" "$win" 20 30  # fully up before it is minimised
xdotool windowminimize "$win"
hidden() { xprop -id "$win" _NET_WM_STATE | grep -q _NET_WM_STATE_HIDDEN; }
check "the window is minimised" wait_for 5 hidden

"$QVN_BIN" & second=$!
wait_exit "$second" 30
check "the second launch exits 0 (got $rc)" test "$rc" = 0
check "the first window is shown again" wait_for 5 sh -c "! xprop -id $win _NET_WM_STATE | grep -q _NET_WM_STATE_HIDDEN"
active=$(xprop -root _NET_ACTIVE_WINDOW | awk '{print $NF}')
check "and is the active window ($active)" test "$((active))" -eq "$((win))"
import -window root "$QVN_ARTIFACTS/activated.png"

kill -TERM "$app"
wait_exit "$app" 15
check "SIGTERM ends the master with status 0 (got $rc)" test "$rc" = 0
finish
