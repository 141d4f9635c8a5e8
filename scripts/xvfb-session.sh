#!/usr/bin/env bash
# Runs a command on a private virtual display, inside a private D-Bus session, with HOME and the XDG
# folders in a fresh temporary folder. Everything it starts it stops again, by pid.
#
#   scripts/xvfb-session.sh [--wm] [--keep-home] [--without EXTENSION]... -- command [args...]
#
# --wm starts openbox first (window-manager behaviour: frames, minimise, keep-above, activation).
# --without starts the server without that extension (for instance XTEST).
# The command sees QVN_TEST_HOME (the temporary home) and DISPLAY.
set -euo pipefail

wm=0
keep=0
server_args=()
while [ $# -gt 0 ]; do
  case "$1" in
    --wm) wm=1; shift ;;
    --keep-home) keep=1; shift ;;
    --without) server_args+=(-extension "$2"); shift 2 ;;
    --) shift; break ;;
    *) break ;;
  esac
done
[ $# -gt 0 ] || { echo "usage: $0 [--wm] [--keep-home] -- command [args...]" >&2; exit 2; }

home=$(mktemp -d /tmp/qvn-home-XXXXXX)
xvfb_pid=""
cleanup() {
  if [ -n "$xvfb_pid" ]; then kill "$xvfb_pid" 2>/dev/null || true; wait "$xvfb_pid" 2>/dev/null || true; fi
  [ "$keep" = 1 ] || rm -rf "$home"
}
trap cleanup EXIT

mkdir -p "$home"/{data,config,cache,state,runtime}
chmod 700 "$home/runtime"
export HOME="$home" XDG_DATA_HOME="$home/data" XDG_CONFIG_HOME="$home/config" XDG_CACHE_HOME="$home/cache"
export XDG_STATE_HOME="$home/state" XDG_RUNTIME_DIR="$home/runtime" QVN_TEST_HOME="$home"
export GTK_A11Y=none NO_AT_BRIDGE=1
unset WAYLAND_DISPLAY
# WebKit's sandbox needs user namespaces; where bubblewrap can't make them the web process would abort.
if ! bwrap --ro-bind / / --unshare-all true 2>/dev/null; then
  export WEBKIT_DISABLE_SANDBOX_THIS_IS_DANGEROUS=1
fi

# -displayfd picks a free display number and writes it once the server accepts connections.
exec 3> "$home/display"
Xvfb -displayfd 3 -screen 0 1280x1024x24 -nolisten tcp -noreset ${server_args[@]+"${server_args[@]}"} > "$home/xvfb.log" 2>&1 &
xvfb_pid=$!
exec 3>&-
for _ in $(seq 100); do
  [ -s "$home/display" ] && break
  kill -0 "$xvfb_pid" 2>/dev/null || { echo "Xvfb failed to start:" >&2; cat "$home/xvfb.log" >&2; exit 1; }
  sleep 0.1
done
[ -s "$home/display" ] || { echo "Xvfb did not report a display" >&2; exit 1; }
export DISPLAY=":$(head -n1 "$home/display")"
for _ in $(seq 50); do xdpyinfo > /dev/null 2>&1 && break; sleep 0.1; done
xdpyinfo > /dev/null 2>&1 || { echo "Xvfb on $DISPLAY is not answering" >&2; exit 1; }

export QVN_WITH_WM=$wm
dbus-run-session -- bash -c '
  set -u
  wm_pid=""
  if [ "$QVN_WITH_WM" = 1 ]; then
    openbox --sm-disable > "$QVN_TEST_HOME/openbox.log" 2>&1 &
    wm_pid=$!
    for _ in $(seq 50); do xprop -root _NET_SUPPORTING_WM_CHECK 2>/dev/null | grep -q "window id" && break; sleep 0.1; done
  fi
  "$@"
  rc=$?
  if [ -n "$wm_pid" ]; then kill "$wm_pid" 2>/dev/null; wait "$wm_pid" 2>/dev/null; fi
  exit $rc
' qvn-session "$@"
