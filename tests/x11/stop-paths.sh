#!/usr/bin/env bash
# The user holds both tools' hotkeys (hold mode) while the Spammer clicks and the Key Spammer presses a
# four-key chord every 2 ms, and stops them each way there is: the hotkeys' release, the hotkey lock, the
# screen lock, closing the window, SIGTERM. After each the X server holds no key and no button, the test
# window got a release for every press the tools made, and the status counted what the window got.
source "$(dirname "$0")/lib.sh"
: "${QVN_TEST_WINDOW:?QVN_TEST_WINDOW must name the test window}"
: "${QVN_SERVER_PROBE:?QVN_SERVER_PROBE must name the server probe}"
data="$XDG_DATA_HOME/Quorvane"
mkdir -p "$data"
chmod 700 "$data"

# Spammer: the left button every 2 ms until stopped, run while the middle button (its hotkey) is held.
# Key Spammer: the chord a s d f every 2 ms until stopped, run while F9 is held. F10 works the hotkey lock.
settings="0,0,0,2,0,0,1,10,0,0,0,1,1,1,1,0,1,0,500,119,118,0,4,0,0,0,2,1,10,120,65,65|83|68|70,1,1,1,121"
chord="a s d f"

status_has() { grep -q "$1" "$data/status.txt" 2>/dev/null; }
presses() { grep -cE "^$1Press ($2)( |$)" "$out" || true; }
releases() { grep -cE "^$1Release ($2)( |$)" "$out" || true; }
key_code() { grep -m1 -E "^KeyPress [0-9]+ $1$" "$out" | cut -d' ' -f2; }
# Both tools made at least 20 rounds since the hotkeys went down.
both_ran() {
  [ "$(presses Key "[0-9]+ a")" -ge $((keys_before + 20)) ] && [ "$(presses Button 1)" -ge $((clicks_before + 20)) ]
}
# Every press of the chord and of the left button that reached the window was released there too.
all_released() {
  local k code
  for k in $chord; do
    code=$(key_code "$k")
    [ -n "$code" ] || return 1
    [ "$(presses Key "$code $k")" = "$(releases Key "$code $k")" ] || return 1
  done
  [ "$(presses Button 1)" = "$(releases Button 1)" ]
}
# The status's own count of what the tools made in their last run against what the window got in it.
measured() {
  python3 -c 'import json, sys; m = json.loads(open(sys.argv[1]).readline())["measured"]; print(m["clicks"], m["keyPresses"])' \
    "$data/status.txt" 2> /dev/null
}
counted() { echo "$(($(presses Button 1) - clicks_before)) $(($(presses Key "[0-9]+ (a|s|d|f)") - chord_before))"; }
counts_agree() { [ "$(measured)" = "$(counted)" ]; }
nothing_held() { "$QVN_SERVER_PROBE" held > "$QVN_ARTIFACTS/held.txt"; }
both_stopped() { status_has '"autoClicking":false,"keySpamming":false'; }
both_running() { status_has '"autoClicking":true,"keySpamming":true'; }

start_app() {
  printf 'SETTINGS:%s\nCURRENT:0\nPROFILE:Default Tracking Profile\n' "$settings" > "$data/session.dat"
  printf 'windowX=0\nwindowY=0\nwindowWidth=440\nwindowHeight=620\nwindowMaximized=0\nhotkeyLockOn=1\n' \
    > "$data/appsettings.txt"
  rm -f "$data/status.txt"
  "$QVN_BIN" 2>> "$QVN_ARTIFACTS/stderr.txt" & app=$!
  check "the main window appears" wait_for 30 has_main_window
  win=$(main_windows | head -n1)
  check "the page polls the status" wait_for 30 status_has '"autoClicking":false'
  # Started after the app, so that it lies over the main window and has the focus.
  out="$QVN_ARTIFACTS/window-$1.txt"
  "$QVN_TEST_WINDOW" > "$out" & tw=$!
  check "the test window is up" wait_for 10 grep -q '^ready$' "$out"
  xdotool mousemove 1100 900  # away from the main window, should it come up
}

# The user's hand: the Key Spammer's hotkey and the Spammer's mouse-button hotkey.
hold() { xdotool mousedown 2 keydown F9; }
let_go() { xdotool keyup F9 mouseup 2; }

for way in release lock screen-lock close sigterm; do
  if [ "$way" = release ] || [ "$way" = sigterm ]; then start_app "$way"; fi
  keys_before=$(presses Key "[0-9]+ a")
  clicks_before=$(presses Button 1)
  chord_before=$(presses Key "[0-9]+ (a|s|d|f)")
  hold
  check "[$way] both tools run while their hotkeys are held" wait_for 20 both_ran
  check "[$way] the status says so" wait_for 10 both_running
  if [ "$way" = release ]; then
    xdotool key z
    check "[$way] a key the user types meanwhile reaches the window" wait_for 10 grep -qE '^KeyPress [0-9]+ z$' "$out"
  fi
  case $way in
    release) let_go ;;
    lock) xdotool key F10 ;;
    screen-lock)
      dbus-send --session --type=signal /org/freedesktop/ScreenSaver org.freedesktop.ScreenSaver.ActiveChanged \
        boolean:true ;;
    close) "$QVN_SERVER_PROBE" close "$win" ;;
    sigterm) kill -TERM "$app" ;;
  esac
  if [ "$way" = close ] || [ "$way" = sigterm ]; then
    wait_exit "$app" 20
    check "[$way] the app ends with status 0 (got $rc)" test "$rc" = 0
    [ "$rc" = timeout ] && kill -KILL "$app"
  else
    check "[$way] both tools stop" wait_for 10 both_stopped
  fi
  [ "$way" = release ] || let_go
  wait_for 10 nothing_held
  check "[$way] the server holds no key and no button (it shows: $(tr '\n' ' ' < "$QVN_ARTIFACTS/held.txt"))" \
    nothing_held
  check "[$way] every press of the tools reached the window with its release" wait_for 10 all_released
  if [ "$way" != close ] && [ "$way" != sigterm ]; then
    wait_for 10 counts_agree
    check "[$way] the status counts the clicks and keys the window got (status: $(measured), window: $(counted))" \
      counts_agree
  fi
  # Nothing starts again once the hand is off the keys.
  settled=$(wc -l < "$out")
  sleep 0.5
  check "[$way] the tools stay stopped" test "$(wc -l < "$out")" = "$settled"
  if [ "$way" = lock ]; then
    xdotool key F10
    check "[$way] the unlock key opens the lock again" wait_for 10 status_has '"unlocked":true'
  fi
  if [ "$way" = close ] || [ "$way" = sigterm ]; then
    kill "$tw" 2> /dev/null
    wait "$tw" 2> /dev/null
  fi
done

finish
