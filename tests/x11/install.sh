#!/usr/bin/env bash
# `cmake --install` to a fresh prefix (with a blank in its path) lays out a folder that runs on its own: the
# desktop entry and the MIME package pass their validators and tie the two file types to the app, the
# icons have their sizes, and the installed binary, started from elsewhere, shows its page. The README's
# uninstall then leaves nothing behind.
source "$(dirname "$0")/lib.sh"
: "${QVN_BUILD_DIR:?QVN_BUILD_DIR must name the build tree}"

tmp=$(mktemp -d)
prefix="$tmp/my apps"
log="$QVN_ARTIFACTS/install.log"
check "cmake --install succeeds" sh -c "cmake --install '$QVN_BUILD_DIR' --prefix '$prefix' > '$log' 2>&1"
appdir="$prefix/lib/quorvane"
check "the application folder holds the binary, the web view library and the pages" \
  test -x "$appdir/quorvane" -a -f "$appdir/lib/libwebview.so.0.12" -a -f "$appdir/resources/ui/index.html"
check "bin/quorvane leads to it" test "$(readlink -f "$prefix/bin/quorvane")" = "$(readlink -f "$appdir/quorvane")"
runpath=$(readelf -d "$appdir/quorvane" | sed -n 's/.*(RUNPATH).*\[\(.*\)\]/\1/p')
check "the binary looks for libraries only beside itself (RUNPATH '$runpath')" test "$runpath" = '$ORIGIN/lib'
check "the web view library resolves inside the folder" \
  sh -c "ldd '$appdir/quorvane' | grep -F 'libwebview.so.0.12 => $appdir/lib/libwebview.so.0.12'"

desktop="$prefix/share/applications/app.quorvane.pro.desktop"
check "desktop-file-validate passes" desktop-file-validate "$desktop"
check "the entry starts the installed binary with the opened files" \
  grep -qxF "Exec=\"$prefix/bin/quorvane\" %F" "$desktop"
# What a package manager's triggers (or scripts/install.sh) then run, with the prefix on the search path.
export XDG_DATA_DIRS="$prefix/share:/usr/share"
mime_out=$(update-mime-database "$prefix/share/mime" 2>&1)
check "the MIME package is read without complaint ($mime_out)" test -z "$mime_out"
update-desktop-database "$prefix/share/applications"
printf '3,0.5,0,0,0,65,1,0\n' > "$tmp/Farm.QVNMACRO"
printf 'x\n' > "$tmp/dark.qvntheme"
type_of() { gio info -a standard::content-type "$1" | sed -n 's/.*content-type: //p'; }
check "a .qvnmacro file is a Quorvane macro (upper case too)" test "$(type_of "$tmp/Farm.QVNMACRO")" = application/x-quorvane-macro
check "a .qvntheme file is a Quorvane theme" test "$(type_of "$tmp/dark.qvntheme")" = application/x-quorvane-theme
check "the desktop opens both types with Quorvane" sh -c "
  for t in application/x-quorvane-macro application/x-quorvane-theme; do
    gio mime \$t | grep -q 'app.quorvane.pro.desktop' || exit 1
  done"
for size in 16 48 256; do
  png="$prefix/share/icons/hicolor/${size}x${size}/apps/app.quorvane.pro.png"
  check "the ${size}px icon is ${size}px" test "$(identify -format '%wx%h' "$png" 2>/dev/null)" = "${size}x${size}"
done
check "the scalable icon is there" test -s "$prefix/share/icons/hicolor/scalable/apps/app.quorvane.pro.svg"

# Started through its link from another folder, as a menu would, it finds its pages beside itself.
(cd / && exec "$prefix/bin/quorvane") & app=$!
check "the installed app's window appears" wait_for 20 has_main_window
check "it runs from the application folder" test "$(readlink "/proc/$app/exe")" = "$appdir/quorvane"
check "and records this install as one with working input" \
  wait_for 10 grep -qxF "inputWorked=$appdir/quorvane" "$XDG_DATA_HOME/Quorvane/inputaccess.txt"
win=$(main_windows | head -n1)
shot="$QVN_ARTIFACTS/installed.png"
shoot_painted "$shot" "$win" 20 30
level=$(convert "$shot" -crop "${WIDTH}x${HEIGHT}+${X}+${Y}" -colorspace Gray -format '%[fx:int(100*mean)]' info:)
check "it shows the main page, not the missing-page message (brightness $level%)" test "$level" -lt 25
kill -TERM "$app"
wait_exit "$app" 15
check "the installed app ends cleanly (got $rc)" test "$rc" = 0

check "the uninstall runs" bash "$(dirname "$0")/../../scripts/install.sh" --uninstall --prefix "$prefix"
# The desktop's own caches stay, without our types.
left=$(find "$prefix" \( -type f -o -type l \) ! -path "$prefix/share/mime/*" ! -name mimeinfo.cache | head -5)
check "and leaves none of our files behind ($left)" test -z "$left"
check "nor our types in the desktop's caches" sh -c "! grep -rqs quorvane '$prefix/share'"
rm -rf "$tmp"
finish
