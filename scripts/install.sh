#!/usr/bin/env bash
# Installs Quorvane for the current user under ~/.local (or the prefix given), with its menu entry, its
# file types and its icon; `--uninstall` takes all of that away again. The data folder
# (~/.local/share/Quorvane: macros, settings, themes) is left alone either way.
#
#   bash scripts/install.sh [--prefix DIR]
#   bash scripts/install.sh --uninstall [--prefix DIR]
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)

prefix="$HOME/.local"
uninstall=0
while [ $# -gt 0 ]; do
  case "$1" in
    --prefix) prefix=$2; shift 2 ;;
    --uninstall) uninstall=1; shift ;;
    *) echo "usage: $0 [--uninstall] [--prefix DIR]" >&2; exit 2 ;;
  esac
done
prefix=$(realpath -m "$prefix")
share="$prefix/share"

# Tells the desktop that the menu entry, the file types and the icons changed.
refresh_desktop() {
  [ -d "$share/mime/packages" ] && update-mime-database "$share/mime" || true
  command -v update-desktop-database > /dev/null && [ -d "$share/applications" ] &&
    update-desktop-database -q "$share/applications" || true
  command -v gtk-update-icon-cache > /dev/null && [ -f "$share/icons/hicolor/index.theme" ] &&
    gtk-update-icon-cache -q -t -f "$share/icons/hicolor" || true
}

if [ "$uninstall" = 1 ]; then
  rm -rf "$prefix/lib/quorvane"
  [ -L "$prefix/bin/quorvane" ] && rm -f "$prefix/bin/quorvane"
  rm -f "$share/applications/app.quorvane.pro.desktop" "$share/mime/packages/app.quorvane.pro.xml"
  rm -f "$share"/icons/hicolor/*/apps/app.quorvane.pro.png "$share/icons/hicolor/scalable/apps/app.quorvane.pro.svg"
  refresh_desktop
  echo "Quorvane is uninstalled from $prefix (your macros and settings stay in the data folder)."
  exit 0
fi

cd "$root"
bash scripts/setup.sh
cmake --preset release > /dev/null
cmake --build --preset release
# A fresh copy of the application folder: files of an older version must not linger in it.
rm -rf "$prefix/lib/quorvane"
cmake --install build/release --prefix "$prefix" > /dev/null
refresh_desktop
echo "Quorvane is installed: $prefix/bin/quorvane, and \"Quorvane\" in the applications menu."
