# Helpers for the window tests; sourced by scripts that run inside scripts/xvfb-session.sh.
set -u
: "${QVN_BIN:?QVN_BIN must name the built quorvane binary}"
: "${QVN_ARTIFACTS:=/tmp}"
mkdir -p "$QVN_ARTIFACTS"
kTitle='^Quorvane \(Pro Version 1\.0\.1\)$'
failures=0
passes=0

# A check that took a few seconds says how long, so that a slow step shows in a log that passed.
check() {  # check "what" command...
  local what=$1 began=$SECONDS took='' result; shift
  if "$@"; then passes=$((passes + 1)); result=ok; else failures=$((failures + 1)); result=FAILED; fi
  [ $((SECONDS - began)) -ge 3 ] && took=" ($((SECONDS - began)) s)"
  echo "$result: $what$took"
}

# The colour of the pixel at $1,$2 of the screenshot in $shot, as r,g,b.
pixel_at() { convert "$shot" -crop "1x1+$1+$2" -format '%[fx:int(255*r+0.5)],%[fx:int(255*g+0.5)],%[fx:int(255*b+0.5)]' info:; }
# Whether the colour $1 is the colour $2; WebKit may land a channel one step off the colour asked for.
near() { awk -F, -v w="$2" 'BEGIN { split(w, e, ",") } { for (i = 1; i <= 3; i++) if ($i - e[i] > 2 || e[i] - $i > 2) exit 1 }' <<< "$1"; }
# Screenshots into $shot and tells whether the pixel at $1,$2 is now the colour $3: the page may still be
# drawing, so callers wait for it (wait_for 20 screen_shows X Y COLOUR).
screen_shows() { import -window root "$shot"; near "$(pixel_at "$1" "$2")" "$3"; }

# Prints the ids of our visible main windows.
main_windows() { xdotool search --onlyvisible --name "$kTitle" 2>/dev/null || true; }

wait_for() {  # wait_for seconds command...
  local deadline=$(( $(date +%s) + $1 )); shift
  until "$@"; do [ "$(date +%s)" -ge "$deadline" ] && return 1; sleep 0.1; done
}

has_main_window() { [ -n "$(main_windows)" ]; }

# Screenshots the screen into $1 until window $2 shows more than $3 colours and black is no longer its
# main colour (the web process paints a second or more after the window maps, longer on a loaded machine;
# until then the window is black but for a few lines of GTK's), for up to $4 seconds.
shoot_painted() {
  local shot=$1 win=$2 min=$3 secs=$4 main
  local deadline=$(( $(date +%s) + secs ))
  eval "$(xdotool getwindowgeometry --shell "$win")"
  while :; do
    import -window root "$shot"
    colours=$(convert "$shot" -crop "${WIDTH}x${HEIGHT}+${X}+${Y}" -unique-colors -format '%w' info:)
    main=$(convert "$shot" -crop "${WIDTH}x${HEIGHT}+${X}+${Y}" -format %c histogram:info:- | sort -rn | head -n1)
    [ "$colours" -gt "$min" ] && [[ "$main" != *"#000000"* ]] && return 0
    [ "$(date +%s)" -ge "$deadline" ] && return 1
    sleep 0.5
  done
}

# The outer frame of window $1 ("x y width height"): its client geometry and the window manager's decorations.
frame() {
  local win=$1 info X Y WIDTH HEIGHT l r t b
  info=$(xwininfo -id "$win")
  X=$(sed -n 's/.*Absolute upper-left X: *//p' <<< "$info")
  Y=$(sed -n 's/.*Absolute upper-left Y: *//p' <<< "$info")
  WIDTH=$(sed -n 's/.*Width: *//p' <<< "$info")
  HEIGHT=$(sed -n 's/.*Height: *//p' <<< "$info")
  local ext
  ext=$(xprop -id "$win" _NET_FRAME_EXTENTS | sed -n 's/.*= //p' | tr -d ' ')
  IFS=, read -r l r t b <<< "${ext:-0,0,0,0}"
  echo "$((X - l)) $((Y - t)) $((WIDTH + l + r)) $((HEIGHT + t + b))"
}

# Waits up to $2 seconds for our child $1 to end and puts its exit status in $rc ("timeout" if it didn't:
# then the stacks of its threads are printed, to show where it hangs). Not a command substitution: only
# this shell can wait for its own children.
wait_exit() {
  local pid=$1 secs=$2
  local deadline=$(( $(date +%s) + secs ))
  while kill -0 "$pid" 2>/dev/null && [ -z "$(ps -o stat= -p "$pid" | grep Z)" ]; do
    if [ "$(date +%s)" -ge "$deadline" ]; then rc=timeout; print_stacks "$pid"; return; fi
    sleep 0.1
  done
  rc=0
  wait "$pid" || rc=$?
}

print_stacks() {
  command -v gdb > /dev/null || return 0
  echo "--- threads of $1, still running:"
  timeout 60 gdb -p "$1" -batch -ex 'thread apply all bt 25' 2>&1 | grep -E '^(Thread|#)' || true
  echo "---"
}

# Starts the app with arguments $2... and waits for its main window to show a painted page, screenshot in
# $1; sets $app, $win, the window's X Y WIDTH HEIGHT and $colours.
start_painted() {
  local shot=$1; shift
  "$QVN_BIN" "$@" & app=$!
  check "the main window appears" wait_for 20 has_main_window
  win=$(main_windows | head -n1)
  shoot_painted "$shot" "$win" 20 30
}

# Pop-out Spammer panels on screen.
panels() { xdotool search --onlyvisible --name '^Quorvane - Spammer$' 2>/dev/null || true; }
has_panel() { [ -n "$(panels)" ]; }
no_panel() { [ -z "$(panels)" ]; }

# Client area of window $1: sets X Y W H.
geometry() {
  local info
  info=$(xwininfo -id "$1")
  X=$(sed -n 's/.*Absolute upper-left X: *//p' <<< "$info")
  Y=$(sed -n 's/.*Absolute upper-left Y: *//p' <<< "$info")
  W=$(sed -n 's/.*Width: *//p' <<< "$info")
  H=$(sed -n 's/.*Height: *//p' <<< "$info")
}

# Starts a copy of the app whose main page is tests/x11/pages/$1.html; sets $app (pid) and $app_dir.
# The copy's folder is removed by finish.
start_with_page() {
  app_dir=$(mktemp -d)
  mkdir -p "$app_dir/resources/ui"
  cp "$QVN_BIN" "$app_dir/quorvane"
  cp "$(dirname "${BASH_SOURCE[0]}")/pages/$1.html" "$app_dir/resources/ui/index.html"
  "$app_dir/quorvane" & app=$!
}

finish() {
  [ -n "${app_dir:-}" ] && rm -rf "$app_dir"
  echo "$passes passed, $failures failed"
  [ "$failures" -eq 0 ]
}
