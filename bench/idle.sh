#!/usr/bin/env bash
# Idle cost: the app with its window shown and no tool running, for 30 s after it has settled. Prints the
# processor time of the app and of every process it started (the web view's helpers), as a share of one
# core, and how many bytes the data folder saw written meanwhile. Run inside scripts/xvfb-session.sh:
#   scripts/xvfb-session.sh -- bench/idle.sh build/release/quorvane [seconds]
set -u
bin=${1:?usage: idle.sh QUORVANE_BINARY [seconds]}
secs=${2:-30}
data="$XDG_DATA_HOME/Quorvane"
tick=$(getconf CLK_TCK)

# utime + stime of a process and its descendants, in clock ticks.
ticks() {
  local total=0 p
  for p in $1 $(pgrep -P "$1"); do
    [ "$p" = "$1" ] || { total=$((total + $(ticks "$p"))); continue; }
    [ -r "/proc/$p/stat" ] || continue
    total=$((total + $(awk '{ sub(/^.*\) /, ""); print $12 + $13 }' "/proc/$p/stat")))
  done
  echo "$total"
}
stamp() { find "$data" -maxdepth 1 -type f -printf '%T@ %s %p\n' 2>/dev/null | sort | md5sum; }

"$bin" & app=$!
for _ in $(seq 100); do xdotool search --onlyvisible --pid "$app" >/dev/null 2>&1 && break; sleep 0.2; done
sleep 10  # the page loads, paints and settles
before=$(ticks "$app")
files=$(stamp)
start=$(date +%s%N)
sleep "$secs"
after=$(ticks "$app")
elapsed=$(( ($(date +%s%N) - start) / 1000000 ))
share=$(awk -v t=$((after - before)) -v hz="$tick" -v ms="$elapsed" 'BEGIN { printf "%.2f", 100 * t / hz / (ms / 1000) }')
same="no"; [ "$(stamp)" = "$files" ] && same="yes"
echo "idle: $share% of one core over ${elapsed} ms (app and its helpers); data folder untouched: $same"
echo "load: $(uptime)"
kill -TERM "$app"
wait "$app"
