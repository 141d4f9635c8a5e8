#!/usr/bin/env bash
# Sets up, builds and starts Quorvane. Without a display it starts a virtual one, says so, and saves a
# screenshot of the window that you can open.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
cd "$root"

bash scripts/setup.sh
cmake --preset release > /dev/null
cmake --build --preset release
app="$root/build/release/quorvane"

if [ -n "${DISPLAY:-}" ] && xdpyinfo > /dev/null 2>&1; then
  exec "$app"
fi

mkdir -p artifacts
tmp=$(mktemp -d)
exec 3> "$tmp/display"
Xvfb -displayfd 3 -screen 0 1280x1024x24 -nolisten tcp > "$tmp/xvfb.log" 2>&1 &
xvfb=$!
exec 3>&-
for _ in $(seq 100); do [ -s "$tmp/display" ] && break; sleep 0.1; done
export DISPLAY=":$(head -n1 "$tmp/display")"
echo "No display found: started a virtual one (Xvfb) on $DISPLAY."
if ! bwrap --ro-bind / / --unshare-all true 2>/dev/null; then
  export WEBKIT_DISABLE_SANDBOX_THIS_IS_DANGEROUS=1
fi

shot="$root/artifacts/quorvane.png"
dbus-run-session -- bash -c '
  "$1" & app=$!
  trap "kill -TERM $app 2>/dev/null" INT TERM
  for _ in $(seq 200); do
    xdotool search --onlyvisible --name "^Quorvane" > /dev/null 2>&1 && break
    kill -0 $app 2>/dev/null || break
    sleep 0.1
  done
  sleep 2
  import -window root "$2" && echo "Screenshot of the window: $2"
  echo "Quorvane is running (pid $app). Press Ctrl+C to quit."
  wait $app
' run "$app" "$shot" || true
kill "$xvfb" 2>/dev/null || true
wait "$xvfb" 2>/dev/null || true
rm -rf "$tmp"
