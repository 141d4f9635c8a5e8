#!/usr/bin/env bash
# The update self test as a user runs it: the committed vectors pass in both builds, with each build's own
# verdict on the test host and key; a wrong expectation, a file without a key or without cases, and a missing
# file fail with exit 1.
set -u
bin=$1 testbin=${2:-}
here=$(cd "$(dirname "$0")" && pwd)
vectors="$here/vectors.jsonl"
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
failures=0
check() { if "${@:2}"; then echo "ok: $1"; else echo "FAILED: $1"; failures=$((failures + 1)); fi; }

out=$("$bin" --selftest-update="$vectors"); rc=$?
check "the release build passes the vectors" test "$rc" = 0
check "and says so last" test "$(tail -n1 <<< "$out")" = "SELFTEST-UPDATE: ALL PASS"
check "it refuses the loopback host" grep -qx "PASS host: loopback test site rejected" <<< "$out"
check "it refuses the test key" grep -qx "PASS test key refused by this build" <<< "$out"
check "it reports its pinned key" grep -qx "PASS signing certificate pinned in this build" <<< "$out"
if [ -n "$testbin" ]; then
  out=$("$testbin" --selftest-update="$vectors"); rc=$?
  check "the test build passes the vectors" test "$rc" = 0
  check "it accepts the test key" grep -qx "PASS test key accepted by this test build" <<< "$out"
fi

sed '0,/"expect":false/s//"expect":true/' "$vectors" > "$tmp/flipped"
out=$("$bin" --selftest-update="$tmp/flipped"); rc=$?
check "a wrong expectation fails the run" test "$rc" = 1
check "with its line and the closing words" grep -qx "SELFTEST-UPDATE: FAILURES ABOVE" <<< "$out"
check "naming the case" grep -qx "FAIL tampered tier" <<< "$out"

grep -v '"line":"key"' "$vectors" > "$tmp/nokey"
out=$("$bin" --selftest-update="$tmp/nokey"); rc=$?
check "cases before any key all fail" test "$rc" = 1 -a "$(grep -c '^FAIL case before a valid key line - skipped$' <<< "$out")" = "$(grep -c '"line":"case"' "$vectors")"

grep '"line":"key"' "$vectors" > "$tmp/nocase"
out=$("$bin" --selftest-update="$tmp/nocase"); rc=$?
check "a key without cases fails" test "$rc" = 1
check "and says why" grep -qx "FAIL no cases found in vectors file" <<< "$out"

printf '{"line":"key","hex":"45435331"}\n{"line":"case","name":"x","expect":false}\n' > "$tmp/badkey"
out=$("$bin" --selftest-update="$tmp/badkey"); rc=$?
check "a key that doesn't load fails" grep -qx "FAIL test key loads as a valid P-256 public key" <<< "$out"

out=$("$bin" --selftest-update="$tmp/none"); rc=$?
check "a missing file fails" test "$rc" = 1 -a "$(head -n1 <<< "$out")" = "FAIL could not open vectors file: $tmp/none"
echo "$failures failed"
[ "$failures" = 0 ]
