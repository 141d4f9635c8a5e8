#!/bin/bash
# quorvane --scan-macro=FILE as a user runs it: no display, a home of its own, one file per exit status.
set -u
BIN=${1:?usage: scan-macro.sh path/to/quorvane}
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
export HOME=$tmp/home XDG_CONFIG_HOME=$tmp/home/.config XDG_DATA_HOME=$tmp/home/.local/share
mkdir -p "$HOME"
unset DISPLAY WAYLAND_DISPLAY
fail=0

# run NAME EXPECTED-STATUS EXPECTED-LINE...: the status, and each line somewhere in the output.
run() {
    local file=$1 want=$2
    shift 2
    local out status
    out=$("$BIN" "--scan-macro=$tmp/$file" 2>&1)
    status=$?
    if [ "$status" != "$want" ]; then
        echo "FAIL $file: exit $status, expected $want"; echo "$out"; fail=1; return
    fi
    for line in "$@"; do
        if ! grep -qxF -- "$line" <<<"$out"; then
            echo "FAIL $file: no line '$line' in:"; echo "$out"; fail=1
        fi
    done
    echo "ok $file: exit $status"
}

printf 'Clean\n3,0,0,0,0,65,1,0\n3,0.1,0,0,0,65,0,0\n0,1,5,5,0,0,0,0\n' >"$tmp/clean.qvnmacro"
run clean.qvnmacro 0 "level: none"

# Two Ctrl+W within 30 s, CR LF line ends.
printf 'Tabs\r\n3,0,0,0,0,17,1,0\r\n3,0,0,0,0,87,1,0\r\n3,1,0,0,0,87,1,0\r\n' >"$tmp/tabs.qvnmacro"
run tabs.qvnmacro 1 "level: caution" "close-windows CAUTION at 0 s: Closes windows or tabs. You could lose unsaved work."

# Win down, the Key Spammer on, Win up; its list types R, C, M, D and Enter once: the Run box and a command.
{
    echo 'Helper'
    echo 'SETTINGS:0,0,0,5,0,0,1,10,0,0,0,0,0,0,0,1,1.0,0,0,0,0,0,0,0,0,0,5,0,5,0,82,82|67|77|68|13,0,0,0,0'
    echo '3,2,0,0,0,91,1,0'
    echo '5,2,0,0,0,2,1,0'
    echo '3,2.003,0,0,0,91,0,0'
    echo '3,30,0,0,0,17,1,0'
    echo '3,30,0,0,0,18,1,0'
    echo '3,30,0,0,0,84,1,0'
} >"$tmp/helper.qvnmacro"
run helper.qvnmacro 2 "level: danger" \
    "run-command DANGER at 2 s: Opens the Windows Run box, types something and presses Enter. This can start programs or run commands on your PC." \
    "command-box CAUTION at 30 s: Opens the desktop's Run dialog (Alt+F2) or a terminal (Ctrl+Alt+T), where keys typed later can run commands."

printf '' >"$tmp/empty.qvnmacro"
run empty.qvnmacro 3 "That macro file is missing its profile name."
run missing.qvnmacro 3 "Couldn't open that macro file."
printf 'Old\n' >"$tmp/old.MCR"
run old.MCR 3 ".mcr files are no longer supported. Re-export that profile as .qvnmacro from whatever version of Quorvane created it, then import that instead."

# A check touches nothing of the user's: no data folder, no settings.
if [ -n "$(find "$HOME" -mindepth 1 -print -quit)" ]; then
    echo "FAIL the check wrote into the home folder:"; find "$HOME"; fail=1
fi
exit $fail
