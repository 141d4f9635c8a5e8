#!/usr/bin/env bash
# The data files under a running app: a damaged session file is set aside and kept, not overwritten; an
# idle page rewrites nothing; no temporary file is left behind.
source "$(dirname "$0")/lib.sh"

data="$XDG_DATA_HOME/Quorvane"
mkdir -p "$data" && chmod 700 "$data"
damaged=$'SETTINGS:0,0,0,5\nthis is not a session file any more\n\x01\x02'
printf '%s' "$damaged" > "$data/session.dat"
# A temporary file that an earlier run's kill left behind (its writer's pid runs no process).
printf 'half' > "$data/.session.dat.999999-1.tmp"

"$QVN_BIN" 2> "$QVN_ARTIFACTS/stderr.txt" & app=$!
check "the main window appears" wait_for 20 has_main_window
sleep 8  # more than one autosave
aside=$(ls "$data" | grep '^session\.dat\.unreadable-' || true)
check "the damaged file is set aside under a name that says so ($aside)" test "$(echo "$aside" | grep -c .)" -eq 1
check "its bytes are kept exactly" cmp -s <(printf '%s' "$damaged") "$data/$aside"
check "a new session file starts from the defaults" grep -q '^PROFILE:Default Tracking Profile$' "$data/session.dat"
check "the log says where the old file went" grep -q "kept as $data/$aside" "$QVN_ARTIFACTS/stderr.txt"
win=$(main_windows | head -n1)
shoot_painted "$QVN_ARTIFACTS/notice.png" "$win" 20 20

check "a dead writer's temporary file is swept at start" test ! -e "$data/.session.dat.999999-1.tmp"
status_time() { stat -c %y "$data/status.txt"; }
check "the page's poll has written the status file" wait_for 10 test -s "$data/status.txt"
before=$(status_time)
sleep 3
check "an idle poll doesn't rewrite it ($before / $(status_time))" test "$before" = "$(status_time)"

kill -TERM "$app"
wait_exit "$app" 15
check "SIGTERM ends the master with status 0 (got $rc)" test "$rc" = 0
check "the set-aside file is still as it was" cmp -s <(printf '%s' "$damaged") "$data/$aside"
check "no temporary file is left in the data folder" test -z "$(ls -A "$data" | grep '\.tmp$' || true)"

"$QVN_BIN" & again=$!
check "the next start finds a whole session" wait_for 20 has_main_window
kill -TERM "$again"
wait_exit "$again" 15
check "and sets nothing more aside" test "$(ls "$data" | grep -c '^session\.dat\.unreadable-')" -eq 1

finish
