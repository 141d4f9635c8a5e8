#!/usr/bin/env bash
# On an X server without XTEST (run with --without XTEST) the app can't post input: it shows the start-up
# check's page, which names what is missing, instead of a main page whose hotkeys would be dead. The main
# page is the one that polls the status (status.txt); the boot page doesn't.
source "$(dirname "$0")/lib.sh"
data="$XDG_DATA_HOME/Quorvane"
if xdpyinfo -queryExtensions | grep -q XTEST; then
  echo "FAILED: this test needs a server without XTEST"; exit 1
fi

shot="$QVN_ARTIFACTS/boot-page.png"
start_painted "$shot"
check "a page is painted (window has $colours colours)" test "$colours" -gt 20
# The red mark of a missing piece (#e5484d), painted once the page's first status call is answered.
red_pixels() {
  import -window root "$shot"
  red=$(convert "$shot" -crop "${WIDTH}x${HEIGHT}+${X}+${Y}" -fuzz 10% -fill black +opaque '#e5484d' -fill white \
    -opaque '#e5484d' -format '%[fx:int(mean*w*h)]' info:)
  [ "$red" -gt 40 ]
}
check "it marks a missing piece in red" wait_for 30 red_pixels
sleep 2
check "the main page never came up (no status poll)" test ! -e "$data/status.txt"
check "and no record of working input was written" test ! -e "$data/inputaccess.txt"

# The boot page's window is the master's: a second start hands over and ends, the first still shows.
"$QVN_BIN" & second=$!
wait_exit "$second" 30
check "a second start still ends at once (got $rc)" test "$rc" = 0

kill -TERM "$app"
wait_exit "$app" 15
check "SIGTERM ends it cleanly from the boot page (got $rc)" test "$rc" = 0
finish
