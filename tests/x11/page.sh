#!/usr/bin/env bash
# The real main page in the app's window: it themes itself from the theme library, paints the skin pieces
# that the native side serves, polls the status (written to status.txt) and shows a tool that a hotkey
# started; order and collapse come from the app settings.
source "$(dirname "$0")/lib.sh"
data="$XDG_DATA_HOME/Quorvane"

mkdir -p "$data/themes"
chmod 700 "$data" "$data/themes"
node "$(dirname "$0")/../ui/make-theme.js" "$data/themes/Window Test.qvntheme"
printf 'Window Test' > "$data/theme.txt"

"$QVN_BIN" & app=$!
check "the main window appears" wait_for 20 has_main_window
win=$(main_windows | head -n1)
shot="$QVN_ARTIFACTS/skinned-window.png"
shoot_painted "$shot" "$win" 20 30
# The colour of one pixel of the window, as r,g,b.
pixel() { pixel_at $((X + $1)) $((Y + $2)); }
shows() { screen_shows $((X + $1)) $((Y + $2)) "$3"; }
wait_for 20 shows 4 300 20,14,34
check "the page's background is the theme's (got $(pixel 4 300))" near "$(pixel 4 300)" 20,14,34
check "the Spammer's header shows the skin piece (got $(pixel 220 70))" near "$(pixel 220 70)" 0,150,90
check "the accent button shows its piece (got $(pixel 40 372))" near "$(pixel 40 372)" 200,40,160
check "the page polls the status" wait_for 10 grep -q '"state":"Idle"' "$data/status.txt"

# The Spammer's hotkey, pressed as a user would: the page shows it running (Stop lit in the danger red) and
# stopped again. The clicks land on the empty root window, away from the page.
xdotool mousemove 900 700
stop_lit() { import -window root "$shot"; near "$(pixel 124 360)" 229,72,77; }
xdotool key F6
check "the hotkey's start shows in the page" wait_for 5 stop_lit
xdotool key F6
check "and its stop" wait_for 5 eval '! stop_lit'

kill -TERM "$app"
wait_exit "$app" 15
check "SIGTERM ends it cleanly (got $rc)" test "$rc" = 0
check "the theme is still the chosen one" test "$(cat "$data/theme.txt")" = "Window Test"

# Order and collapse come from the app settings: all five folded, the settings panel first. The Spammer is
# set to click 0 times (its repeat mode and count in the session's settings line).
sed -i -E '1s/^SETTINGS:(([^,]*,){6})[^,]*,[^,]*,/SETTINGS:\10,0,/' "$data/session.dat"
printf 'minimizedPanels=panel-keyspam,panel-profile,panel-spammer,panel-tracker,panel-ui\npanelOrder=panel-ui\n' \
  > "$data/appsettings.txt"
"$QVN_BIN" & app=$!
check "the main window appears again" wait_for 20 has_main_window
shot="$QVN_ARTIFACTS/folded-window.png"
shoot_painted "$shot" "$(main_windows | head -n1)" 20 30
wait_for 20 shows 200 450 20,14,34
check "the folded panels leave the page's background below them (got $(pixel 200 450))" near "$(pixel 200 450)" 20,14,34
check "the headers still show (got $(pixel 220 70))" near "$(pixel 220 70)" 0,150,90
# Its hotkey then does nothing, and the page says why in a toast at the bottom.
xdotool key F6
toast_shown() { import -window root "$shot"; ! near "$(pixel 210 535)" 20,14,34; }
check "a hotkey's start that does nothing is explained on the page" wait_for 5 toast_shown
kill -TERM "$app"
wait_exit "$app" 15
check "it ends cleanly again (got $rc)" test "$rc" = 0
check "nothing unfolded the panels" grep -q '^minimizedPanels=panel-keyspam,panel-profile,panel-spammer,panel-tracker,panel-ui$' \
  "$data/appsettings.txt"
finish
