#!/usr/bin/env bash
# Installs everything that building, running and testing Quorvane needs on a fresh Debian 12 machine,
# then the pinned webview library into third_party/webview/ (ignored by git).
# Idempotent: when everything is present it only checks and returns.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)

packages=(
  g++ clang clang-format clang-tidy libclang-rt-14-dev cmake ninja-build pkg-config git
  libgtest-dev libgmock-dev libbenchmark-dev
  libgtk-4-dev libwebkitgtk-6.0-dev
  libx11-dev libxtst-dev libxi-dev libxres-dev libxkbcommon-dev libxkbcommon-x11-dev libx11-xcb-dev
  xvfb xauth openbox dbus x11-utils x11-xserver-utils x11-xkb-utils xdotool xclip imagemagick patchelf gdb
  librsvg2-bin desktop-file-utils shared-mime-info libglib2.0-bin
  libssl-dev libcurl4-openssl-dev libarchive-dev ca-certificates openssl python3 zip
  chromium
)

# apt needs root; a user's run goes through sudo.
sudo=""
[ "$(id -u)" = 0 ] || sudo=sudo

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "setup: installing ${missing[*]}"
  export DEBIAN_FRONTEND=noninteractive
  $sudo apt-get update -qq
  $sudo env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi
# npm can come with a nodejs build that conflicts with Debian's npm package: only add it when absent.
if ! command -v npm >/dev/null 2>&1; then
  export DEBIAN_FRONTEND=noninteractive
  $sudo apt-get update -qq
  $sudo env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends npm >/dev/null
fi

# The webview 0.12 C library, prebuilt for GTK 4 + WebKitGTK 6.0, from a pinned npm package.
wv_pkg=webview-bun@2.4.0
wv_sha256=71b051644a6871c929a1fb4dac31fdbaaa3d7e52d62ee3d806a3321590105ded
wv_dir="$root/third_party/webview"
wv_lib="$wv_dir/libwebview.so.0.12"
if [ ! -f "$wv_dir/.installed-$wv_sha256" ]; then
  echo "setup: fetching the webview library ($wv_pkg)"
  tmp=$(mktemp -d)
  trap 'rm -rf "$tmp"' EXIT
  (cd "$tmp" && npm pack --silent "$wv_pkg" >/dev/null && tar xzf webview-bun-*.tgz)
  so="$tmp/package/build/libwebview-x64.so"
  echo "$wv_sha256  $so" | sha256sum -c --quiet
  mkdir -p "$wv_dir"
  install -m 0644 "$so" "$wv_lib"
  # Its RUNPATH holds empty entries, which would search the current directory for its dependencies.
  patchelf --remove-rpath "$wv_lib"
  ln -sf libwebview.so.0.12 "$wv_dir/libwebview.so"
  cp "$tmp/package/LICENSE" "$wv_dir/LICENSE"
  touch "$wv_dir/.installed-$wv_sha256"
fi
# SortableJS for the Timeline Editor's list view, from its pinned npm package, copied into ui/vendor/
# (ignored by git; the build copies ui/ beside the executable).
so_pkg=sortablejs@1.15.6
so_sha256=6d0a831fc19b4bae851797ad3393157e861afb7862459c11226359b27e2c4337
so_dir="$root/ui/vendor"
if [ ! -f "$so_dir/.installed-$so_sha256" ]; then
  echo "setup: fetching SortableJS ($so_pkg)"
  tmp_so=$(mktemp -d)
  (cd "$tmp_so" && npm pack --silent "$so_pkg" >/dev/null && tar xzf sortablejs-*.tgz)
  echo "$so_sha256  $tmp_so/package/Sortable.min.js" | sha256sum -c --quiet
  mkdir -p "$so_dir"
  install -m 0644 "$tmp_so/package/Sortable.min.js" "$so_dir/Sortable.min.js"
  cp "$tmp_so/package/LICENSE" "$so_dir/Sortable.LICENSE"
  rm -rf "$tmp_so"
  touch "$so_dir/.installed-$so_sha256"
fi
# The main page's browser tests: playwright-core at the version of the committed lock file, driving the
# Debian chromium above (it never downloads a browser of its own).
ui_tests="$root/tests/ui"
ui_stamp="$ui_tests/node_modules/.installed-$(sha256sum "$ui_tests/package-lock.json" | cut -c1-16)"
if [ ! -f "$ui_stamp" ]; then
  echo "setup: installing the page tests' packages"
  (cd "$ui_tests" && npm ci --silent --no-audit --no-fund)
  touch "$ui_stamp"
fi
echo "setup: ready"
