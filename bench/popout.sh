#!/usr/bin/env bash
# Pop-out panels: from the click on the Spammer's pop-out button to the panel's window on screen (mapped)
# and painted, and the memory of each panel: the proportional set size (PSS) of the panel process and of
# the WebKit processes it starts. Runs inside scripts/xvfb-session.sh --wm; QVN_BIN names the binary.
#   scripts/xvfb-session.sh --wm -- bench/popout.sh [runs]
set -u
: "${QVN_BIN:?QVN_BIN must name the built quorvane binary}"
runs=${1:-5}
data="$XDG_DATA_HOME/Quorvane"
mkdir -p "$data" && chmod 700 "$data"
printf 'windowX=40\nwindowY=40\nwindowWidth=440\nwindowHeight=620\nwindowMaximized=0\n' > "$data/appsettings.txt"
shot=$(mktemp --suffix .png)

now() { date +%s%N; }
panel() { xdotool search --onlyvisible --name '^Quorvane - Spammer$' 2>/dev/null | head -n1; }
painted() {  # more than 20 colours in the window's area
  local X Y WIDTH HEIGHT
  eval "$(xdotool getwindowgeometry --shell "$1")"
  import -window root "$shot"
  [ "$(convert "$shot" -crop "${WIDTH}x${HEIGHT}+${X}+${Y}" -unique-colors -format '%w' info:)" -gt 20 ]
}
# PSS in kB of a process and all its descendants.
tree_pss() {
  local total=0 p
  for p in $1 $(pgrep -P "$1") $(for c in $(pgrep -P "$1"); do pgrep -P "$c"; done); do
    total=$((total + $(awk '/^Pss:/ { print $2 }' "/proc/$p/smaps_rollup" 2>/dev/null || echo 0)))
  done
  echo "$total"
}

"$QVN_BIN" & app=$!
until xdotool search --onlyvisible --name '^Quorvane \(Pro' > /dev/null 2>&1; do sleep 0.1; done
main=$(xdotool search --onlyvisible --name '^Quorvane \(Pro' | head -n1)
until painted "$main"; do sleep 0.5; done
sleep 2
eval "$(xdotool getwindowgeometry --shell "$main")"
bx=$((X + WIDTH - 71)); by=$((Y + 50))  # the Spammer's pop-out button (the position xdotool reports is 20 below)
echo "run  mapped_ms  painted_ms  panel_pss_kB  with_webkit_pss_kB"
for run in $(seq "$runs"); do
  t0=$(now)
  xdotool mousemove "$bx" "$by" click 1
  until [ -n "$(panel)" ]; do sleep 0.01; done
  t1=$(now)
  w=$(panel)
  until painted "$w"; do sleep 0.05; done
  t2=$(now)
  sleep 3  # the web process settles
  pid=$(xdotool getwindowpid "$w")
  echo "$run  $(((t1 - t0) / 1000000))  $(((t2 - t0) / 1000000))  $(awk '/^Pss:/ { print $2 }' "/proc/$pid/smaps_rollup")  $(tree_pss "$pid")"
  kill -TERM "$pid"
  while [ -n "$(panel)" ]; do sleep 0.1; done
  sleep 1.5  # the main page's poll shows the panel again
done
kill -TERM "$app"
wait "$app"
rm -f "$shot"
