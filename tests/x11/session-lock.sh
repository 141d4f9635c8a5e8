#!/usr/bin/env bash
# A lock of this login session stops a tool that runs in hold mode: the screen saver's signal on the session
# bus, or logind's LockedHint of our own session. Another user's session locking on the same machine does
# not. logind is played by a small service on a private bus that the app takes for its system bus.
source "$(dirname "$0")/lib.sh"
: "${QVN_FAKE_LOGIND:?QVN_FAKE_LOGIND must name the login manager stand-in}"
data="$XDG_DATA_HOME/Quorvane"
own=/org/freedesktop/login1/session/_31
other=/org/freedesktop/login1/session/_32

system_bus=$(mktemp -d)
dbus-daemon --session --nofork --address="unix:path=$system_bus/bus" > /dev/null 2>&1 & bus_pid=$!
wait_for 10 test -S "$system_bus/bus"
export DBUS_SYSTEM_BUS_ADDRESS="unix:path=$system_bus/bus"
"$QVN_FAKE_LOGIND" "$own" > "$system_bus/logind.out" & logind_pid=$!
check "the login manager stand-in is up" wait_for 10 grep -q ready "$system_bus/logind.out"
locked_hint() {
  gdbus emit --system --object-path "$1" \
    --signal org.freedesktop.DBus.Properties.PropertiesChanged \
    org.freedesktop.login1.Session "{'LockedHint': <true>}" "@as []"
}

start_with_page session-lock
# The page's phase, one of the alternatives in $1 (it starts the next round at once after a stop).
phase() { grep -qxE "phase:($1)" "$data/theme.txt" 2>/dev/null; }
check "the Spammer runs in hold mode" wait_for 30 phase running:1
locked_hint "$other"
sleep 1
check "another session's lock leaves it running" phase running:1
locked_hint "$own"
check "our own session's lock stops it" wait_for 10 phase "stopped:1|running:2"

check "it runs again" wait_for 10 phase "running:2|stopped:2|running:3"
dbus-send --session --type=signal /org/freedesktop/ScreenSaver org.freedesktop.ScreenSaver.ActiveChanged boolean:true
check "the screen saver's lock signal stops it" wait_for 10 phase "stopped:2|running:3"

kill -TERM "$app"
wait_exit "$app" 15
check "SIGTERM ends it cleanly (got $rc)" test "$rc" = 0
kill "$logind_pid" "$bus_pid"
wait "$logind_pid" "$bus_pid" 2>/dev/null
rm -rf "$system_bus"
finish
