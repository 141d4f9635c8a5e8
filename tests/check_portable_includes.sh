#!/usr/bin/env bash
# Portable folders may include only the C++ library and the project's own headers: every OS header
# belongs in a <subsystem>/linux/ (or mac/) folder.
set -u
root=${1:-$(cd "$(dirname "$0")/.." && pwd)}
cd "$root"
pattern='^[[:space:]]*#[[:space:]]*include[[:space:]]*<(X11/|gtk/|gdk/|glib|gio/|webkit|jsc/|dbus|xkbcommon|sys/|unistd\.h|pthread\.h|fcntl\.h|signal\.h|dirent\.h|poll\.h|sched\.h|pwd\.h|dlfcn\.h|spawn\.h|termios\.h|netinet/|arpa/|CoreFoundation|Cocoa|AppKit|ApplicationServices)'
hits=$(find core platform persist input themes macro timeline engine update bridge app \
         -type f \( -name '*.cpp' -o -name '*.h' \) -not -path '*/linux/*' -not -path '*/mac/*' -print0 2>/dev/null |
       xargs -0 -r grep -n -E "$pattern")
if [ -n "$hits" ]; then
  echo "OS headers in portable code:"
  echo "$hits"
  exit 1
fi
echo "portable folders include no OS header"
