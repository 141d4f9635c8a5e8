#!/usr/bin/env bash
# A screen saver's lock signal on the session bus stops a tool that runs in hold mode.
source "$(dirname "$0")/lib.sh"
data="$XDG_DATA_HOME/Quorvane"


start_with_page session-lock
phase() { [ "$(cat "$data/theme.txt" 2>/dev/null)" = "phase:$1" ]; }
check "the Spammer runs in hold mode" wait_for 30 phase running
sleep 0.5
check "it is still running half a second later" phase running
dbus-send --session --type=signal /org/freedesktop/ScreenSaver org.freedesktop.ScreenSaver.ActiveChanged boolean:true
check "the lock signal stops it" wait_for 10 phase stopped

kill -TERM "$app"
wait_exit "$app" 15
check "SIGTERM ends it cleanly (got $rc)" test "$rc" = 0
finish
