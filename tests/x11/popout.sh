#!/usr/bin/env bash
# Pop-out panels under a window manager, driven as a user would: the Spammer's pop-out button opens a
# second process of our executable in a frameless window near the cursor; its Start runs the Spammer in
# the master (the test window counts the clicks) and its status follows; dragged over the main window it
# shows the dock hint and, dropped there, it ends and the panel is back in the main page. A theme change in
# the master repaints it; Escape docks it; the master's exit, or its death, leaves no panel behind.
source "$(dirname "$0")/lib.sh"
: "${QVN_TEST_WINDOW:?QVN_TEST_WINDOW must name the test window}"
data="$XDG_DATA_HOME/Quorvane"
mkdir -p "$data/themes"
chmod 700 "$data" "$data/themes"
# The main window at a known place, with its frame saved: that rectangle is where a panel docks.
printf 'windowX=40\nwindowY=40\nwindowWidth=440\nwindowHeight=620\nwindowMaximized=0\n' > "$data/appsettings.txt"
node "$(dirname "$0")/../ui/make-theme.js" "$data/themes/Window Test.qvntheme"
printf 'Window Test' > "$data/theme.txt"

shot="$QVN_ARTIFACTS/screen.png"
grab() { import -window root "$shot"; }
status_has() { grep -q "$1" "$data/status.txt" 2>/dev/null; }
# A process that has ended; a panel whose master died is reparented, and its zombie may stay unreaped.
gone() { ! kill -0 "$1" 2>/dev/null || ps -o stat= -p "$1" | grep -q Z; }

"$QVN_BIN" & app=$!
check "the main window appears" wait_for 20 has_main_window
main=$(main_windows | head -n1)
shoot_painted "$shot" "$main" 20 40
geometry "$main"; mx=$X; my=$Y; mw=$W
# The Spammer's header in the main page, before it leaves and after it is back.
convert "$shot" -crop "200x30+$((mx + 20))+$((my + 55))" "$QVN_ARTIFACTS/header-before.png"

# The pop-out button sits at the right of the Spammer's header.
click_x=$((mx + mw - 71)); click_y=$((my + 70))
xdotool mousemove "$click_x" "$click_y" click 1
check "a panel window appears" wait_for 30 has_panel
panel=$(panels | head -n1)
window_pid() { pid=$(xdotool getwindowpid "$panel" 2>/dev/null) && [ "${pid:-0}" -gt 0 ]; }
wait_for 10 window_pid || pid=0
check "it is a second process of our executable (pid $pid)" test "$(readlink "/proc/$pid/exe")" = "$(readlink -f "$QVN_BIN")"
check "started as a panel" grep -qa -- '--child' "/proc/$pid/cmdline"
geometry "$panel"
check "its corner is near the cursor (at $X,$Y for a click at $click_x,$click_y)" \
  test $((X - (click_x - 150))) -le 2 -a $((click_x - 150 - X)) -le 2 -a $((Y - (click_y - 20))) -le 2 -a $((click_y - 20 - Y)) -le 2
check "it is frameless" test "$(xprop -id "$panel" _MOTIF_WM_HINTS | sed 's/.*= //' | cut -d, -f3 | tr -d ' ')" = 0x0
check "and kept above others" eval "xprop -id $panel _NET_WM_STATE | grep -q _NET_WM_STATE_ABOVE"
check "the tools' settings were handed over" grep -q '"sms":' "$data/panelsettings.txt"
shoot_painted "$shot" "$panel" 20 40
geometry "$panel"; px=$X; py=$Y
# The panel's colour at its left edge; the window shows the pages' background until the page draws.
themed() { screen_shows $((px + 4)) $((py + 200)) "$1"; }
check "the panel shows the master's theme (got $(pixel_at $((px + 4)) $((py + 200))))" wait_for 20 themed 30,22,46
cp "$shot" "$QVN_ARTIFACTS/popped-out.png"
# How many pixels of the main page's first header differ from the Spammer's.
header_change() {
  convert "$shot" -crop "200x30+$((mx + 20))+$((my + 55))" "$QVN_ARTIFACTS/header-now.png"
  compare -metric AE -fuzz 10% "$QVN_ARTIFACTS/header-before.png" "$QVN_ARTIFACTS/header-now.png" null: 2>&1 | cut -d' ' -f1
}
check "the main page no longer shows the Spammer's header ($(header_change) pixels differ)" test "$(header_change)" -gt 300

# Start in the panel runs the Spammer in the master. It clicks at the cursor: the test window, raised over
# everything once Start is pressed, counts what arrives.
xdotool mousemove $((px + 57)) $((py + 320)) click 1
# The page asks first whether clicks every few milliseconds are meant (the master's default interval).
sleep 1
xdotool mousemove $((px + 375)) $((py + 260)) click 1
xdotool mousemove $((px + 57)) $((py + 320))
check "the master's status says the Spammer runs" wait_for 10 status_has '"autoClicking":true'
"$QVN_TEST_WINDOW" > "$QVN_ARTIFACTS/clicks.txt" & tw=$!
wait_for 5 grep -q ready "$QVN_ARTIFACTS/clicks.txt"
sleep 0.5
kill "$tw"; wait "$tw" 2>/dev/null
clicks=$(grep -c '^ButtonPress 1 ' "$QVN_ARTIFACTS/clicks.txt" || true)
check "the test window received the Spammer's clicks ($clicks)" test "$clicks" -ge 3
stop_lit() { grab; near "$(pixel_at $((px + 112)) $((py + 320)))" 229,72,77; }
check "the panel's status follows: Stop is lit" wait_for 10 stop_lit
xdotool mousemove $((px + 112)) $((py + 320)) click 1
check "Stop in the panel stops it in the master" wait_for 10 status_has '"autoClicking":false'
check "and the panel shows it stopped" wait_for 5 eval '! stop_lit'

# Dragged by its header away from the main window, it stays where it is dropped.
moved() { geometry "$panel"; [ "$X,$Y" != "$1" ]; }
drag() {  # drag x0 y0 x1 y1: press, nudge until the panel follows (the page asks for the drag), move, release
  geometry "$panel"
  local from="$X,$Y" i
  xdotool mousemove "$1" "$2" mousedown 1
  for i in $(seq 40); do
    xdotool mousemove $(($1 + i % 2 * 4)) "$2"
    moved "$from" && break
    sleep 0.25
  done
  for i in 1 2 3 4 5 6; do xdotool mousemove $(($1 + ($3 - $1) * i / 6)) $(($2 + ($4 - $2) * i / 6)); sleep 0.1; done
  [ -z "${hold:-}" ] && xdotool mouseup 1
  return 0
}
drag $((px + 120)) $((py + 20)) 900 300
geometry "$panel"
check "dropped away from the main window, the panel stays where it was put (at $X,$Y)" \
  test $((X - (900 - 120))) -le 6 -a $((900 - 120 - X)) -le 6 -a $((Y - (300 - 20))) -le 6 -a $((300 - 20 - Y)) -le 6
check "its process goes on" kill -0 "$pid"
check "no hover is left behind" wait_for 3 status_has '"panelHover":false'
# Over the main window the master knows a panel hovers; released there, the panel docks.
hold=1 drag 900 300 250 400
check "over the main window the master shows the dock hint" wait_for 10 status_has '"panelHover":true'
grab; cp "$shot" "$QVN_ARTIFACTS/dock-hint.png"
xdotool mouseup 1
check "released there, the panel's process ends" wait_for 10 gone "$pid"
check "its window is gone" wait_for 10 no_panel
check "the hover ends" wait_for 5 status_has '"panelHover":false'
back_header() { grab; [ "$(header_change)" -lt 100 ]; }
check "the main page shows the Spammer again" wait_for 10 back_header

# A theme change in the master reaches an open panel: the custom theme in use leaves the themes folder, the
# master's watcher signals the panel, and it repaints in the default look without a restart.
xdotool mousemove "$click_x" "$click_y" click 1
check "the panel pops out again" wait_for 30 has_panel
panel=$(panels | head -n1); pid=$(xdotool getwindowpid "$panel")
shoot_painted "$shot" "$panel" 20 40
geometry "$panel"; px=$X; py=$Y
check "in the custom theme" wait_for 20 themed 30,22,46
rm "$data/themes/Window Test.qvntheme"
check "it repaints in the default look (got $(grab; pixel_at $((px + 4)) $((py + 200))))" wait_for 10 themed 22,29,45
check "and its process is the same one" kill -0 "$pid"

# Escape docks the panel as well. (The main page is in the default look now: its header is compared with
# how it looks while the Spammer is out.)
grab
convert "$shot" -crop "200x30+$((mx + 20))+$((my + 55))" "$QVN_ARTIFACTS/header-before.png"
xdotool mousemove $((px + 300)) $((py + 150)) click 1 key Escape
check "Escape docks it" wait_for 10 gone "$pid"

# The master's exit ends its panels.
check "the Escaped panel is back in the main page" wait_for 10 eval 'grab; [ "$(header_change)" -gt 300 ]'
xdotool mousemove "$click_x" "$click_y" click 1
check "a panel is open again" wait_for 30 has_panel
pid=$(xdotool getwindowpid "$(panels | head -n1)")
kill -TERM "$app"
wait_exit "$app" 15
check "the master ends cleanly (got $rc)" test "$rc" = 0
check "no panel process is left" wait_for 3 gone "$pid"

# A panel whose master dies without a word closes itself within two seconds.
"$QVN_BIN" & app=$!
wait_for 20 has_main_window
shoot_painted "$shot" "$(main_windows | head -n1)" 20 40
xdotool mousemove "$click_x" "$click_y" click 1
check "a panel of a new master opens" wait_for 30 has_panel
pid=$(xdotool getwindowpid "$(panels | head -n1)")
kill -KILL "$app"
wait "$app" 2>/dev/null
check "when the master is killed, the panel closes itself" wait_for 3 gone "$pid"

finish
