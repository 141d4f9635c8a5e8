#!/usr/bin/env bash
# Under a window manager: the window goes back to its saved place, is clamped to the screen, keeps above
# others when asked, and its place is saved again on the way out.
source "$(dirname "$0")/lib.sh"
data="$XDG_DATA_HOME/Quorvane"
mkdir -p "$data"

settings() {  # settings x y w h [alwaysOnTop]
  printf 'alwaysOnTop=%s\nwindowX=%s\nwindowY=%s\nwindowWidth=%s\nwindowHeight=%s\nwindowMaximized=0\n' \
    "${5:-0}" "$1" "$2" "$3" "$4" > "$data/appsettings.txt"
}
saved() { grep "^$1=" "$data/appsettings.txt" | cut -d= -f2; }

start() {
  "$QVN_BIN" & app=$!
  wait_for 20 has_main_window || return 1
  win=$(main_windows | head -n1)
  shoot_painted "$QVN_ARTIFACTS/$1.png" "$win" 20 30
  sleep 1  # the deferred placement and the window manager's answer
}

stop() {
  kill -TERM "$app"
  wait_exit "$app" 15
}

settings 100 80 500 400 1
check "the app starts" start restored
read -r fx fy fw fh <<< "$(frame "$win")"
check "the saved frame comes back ($fx,$fy ${fw}x$fh)" test "$fx $fy $fw $fh" = "100 80 500 400"
check "and keeps above other windows" sh -c "xprop -id $win _NET_WM_STATE | grep -q _NET_WM_STATE_ABOVE"
xdotool windowmove "$win" 150 120
sleep 1
read -r mx my _ _ <<< "$(frame "$win")"
stop
check "SIGTERM ends it cleanly (got $rc)" test "$rc" = 0
check "the moved place is saved ($(saved windowX),$(saved windowY) vs $mx,$my)" \
  test "$(saved windowX) $(saved windowY) $(saved windowWidth) $(saved windowHeight)" = "$mx $my 500 400"

# Taller than the screen: shrunk to the visible height and raised to keep its bottom on screen.
settings 60 900 400 5000
check "the app starts again" start clamped
read -r fx fy fw fh <<< "$(frame "$win")"
screen_h=$(xdpyinfo | sed -n 's/.*dimensions: *[0-9]*x\([0-9]*\) pixels.*/\1/p')
check "a frame taller than the screen is clamped ($fx,$fy ${fw}x$fh on height $screen_h)" \
  test "$fx" -eq 60 -a "$fh" -le "$screen_h" -a "$((fy + fh))" -le "$screen_h"
stop

# A corner on no screen: the window stays where the window manager put it, and that place is saved.
settings 5000 5000 500 400
check "the app starts on a missing display's place" start offscreen
read -r fx fy fw fh <<< "$(frame "$win")"
check "it stays on the screen ($fx,$fy)" test "$fx" -lt 1280 -a "$fy" -lt 1024
stop
check "and that place is what is saved" test "$(saved windowX)" = "$fx" -a "$(saved windowY)" = "$fy"
finish
