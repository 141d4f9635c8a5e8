#!/usr/bin/env bash
# Opening the Timeline Editor on a 100,000-event macro in the real app, under a virtual display with a
# window manager: from the start of the editor process (as the Tracker's button starts it) to its window on
# screen, the master's load document written, the page taking it, and the macro painted in the window; then
# the frame rate while the view zooms and scrolls.
# Run: cmake --build --preset release --target bench_timeline_open, or QVN_BIN=build/release/quorvane
# [QVN_PAINT_WATCH=build/release/bench/qvn_paint_watch] scripts/xvfb-session.sh --wm -- bench/timeline-open.sh [events]
source "$(dirname "$0")/../tests/x11/lib.sh"
count=${1:-100000}
data="$XDG_DATA_HOME/Quorvane"
mkdir -p "$data"
chmod 700 "$data"
# The page benchmark's macro: moves every 8 ms, with clicks, keys and the odd wheel in between.
python3 - "$count" > "$data/session.dat" <<'EOF'
import math, sys
n = int(sys.argv[1])
print('SETTINGS:1,2,3,77,1,1,0,9,1,100,200,0,0,0,0,1,3,1,500,119,118,0,117,4,5,6,7,0,8,88,90,90|91,1,1,0,72')
print('CURRENT:0')
print('PROFILE:Bench')
out, t, i = 0, 0.0, 0
while out < n:
    i += 1
    t = round(t + 0.008, 6)
    k = i % 50
    if k == 10:
        print(f'2,{t},{400 + i % 300},300,2,0,0,0'); print(f'2,{round(t + 0.004, 6)},{400 + i % 300},300,4,0,0,0'); out += 2
    elif k == 30:
        print(f'3,{t},0,0,0,{65 + i % 26},1,0'); print(f'3,{round(t + 0.005, 6)},0,0,0,{65 + i % 26},0,0'); out += 2
    elif k == 45:
        print(f'4,{t},500,300,0,0,0,{120 if i % 2 else -120}'); out += 1
    else:
        print(f'0,{t},{200 + round(300 * math.sin(i / 40))},{300 + round(200 * math.cos(i / 55))},0,0,0,0'); out += 1
EOF
ms() { echo $(( $(date +%s%N) / 1000000 )); }
kEditor='^Quorvane - Timeline Editor$'

"$QVN_BIN" & app=$!
wait_for 30 has_main_window || { echo "the main window didn't appear"; exit 1; }
sleep 2  # the master settles (session read, page loaded) before the clock starts

# The load document lives for moments only: a watcher of its own notes when it comes and goes.
python3 - "$data/timeline-load.txt" > "$QVN_ARTIFACTS/load-file.txt" <<'EOF' & watcher=$!
import os, sys, time
seen = None
end = time.time() + 30
while time.time() < end:
    if os.path.exists(sys.argv[1]):
        seen = seen or time.time()
    elif seen:
        print(int(seen * 1000), int(time.time() * 1000), flush=True)
        break
    time.sleep(0.005)
EOF
start=$(ms)
"$QVN_BIN" --timeline "$app" & editor=$!
shown='' written='' taken='' painted='' win=''
while [ $(( $(ms) - start )) -lt 30000 ]; do
  now=$(ms)
  [ -z "$taken" ] && [ -s "$QVN_ARTIFACTS/load-file.txt" ] && read -r written taken < "$QVN_ARTIFACTS/load-file.txt"
  if [ -z "$shown" ]; then
    win=$(xdotool search --onlyvisible --name "$kEditor" 2>/dev/null | head -n1)
    [ -n "$win" ] && shown=$now
  elif [ -n "$taken" ]; then
    # The moves' lane, left of the middle: a band of many shades once the macro is drawn. The watcher looks
    # every 5 ms from one connection; a screenshot tool started in a loop took most of a core meanwhile.
    eval "$(xdotool getwindowgeometry --shell "$win")"
    if [ -n "${QVN_PAINT_WATCH:-}" ]; then
      painted=$("$QVN_PAINT_WATCH" $((X + 150)) $((Y + 140)) 300 20 8 $((30000 - ($(ms) - start))))
      break
    fi
    colours=$(import -window root -crop "300x20+$((X + 150))+$((Y + 140))" +repage -format '%k' info: 2>/dev/null)
    [ "${colours:-0}" -gt 8 ] && { painted=$(ms); break; }
  fi
  # Each look at the window list starts a process: looked for every 50 ms, the rest every 10 ms.
  if [ -z "$shown" ]; then sleep 0.05; else sleep 0.01; fi
done
echo "events: $count"
echo "editor process start to its window on screen: $(( ${shown:-0} - start )) ms"
echo "to the master's load document written: $(( ${written:-0} - start )) ms"
echo "to the page having taken it: $(( ${taken:-0} - start )) ms"
echo "to the macro painted in the window: $(( ${painted:-0} - start )) ms"
import -window root "$QVN_ARTIFACTS/timeline-open.png"

# Frames that reach the screen while the view moves, counted on a strip of the moves lane: zooming in from
# the whole macro and out again (a Ctrl+wheel step every 10 ms; the direction turns once, since a step
# back within one frame would leave the strip as it was and count as a missed frame), then scrolling zoomed
# in (a step every 10 ms).
if [ -n "${QVN_PAINT_WATCH:-}" ] && [ -n "$win" ]; then
  eval "$(xdotool getwindowgeometry --shell "$win")"
  lanes=(--frames $((X + 150)) $((Y + 140)) 300 20 2.5)
  xdotool mousemove $((X + 350)) $((Y + 200))
  xdotool keydown ctrl click --repeat 80 --delay 10 4 click --repeat 80 --delay 10 5 keyup ctrl & mover=$!
  echo "zooming in from the whole macro and out again: $("$QVN_PAINT_WATCH" "${lanes[@]}")"
  wait "$mover"
  xdotool mousemove $((X + 160)) $((Y + 200)) keydown ctrl click --repeat 30 --delay 20 4 keyup ctrl
  sleep 1
  xdotool click --repeat 300 --delay 10 5 & mover=$!
  echo "scrolling zoomed in: $("$QVN_PAINT_WATCH" "${lanes[@]}")"
  wait "$mover"
  import -window root "$QVN_ARTIFACTS/timeline-scrolled.png"
fi
kill "$watcher" 2>/dev/null
kill -TERM "$editor" "$app"
wait_exit "$editor" 15
wait_exit "$app" 15
