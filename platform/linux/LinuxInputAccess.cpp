#include <X11/Xlib.h>
#include <X11/extensions/XInput2.h>
#include <X11/extensions/XTest.h>
#include <X11/extensions/record.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "platform/StartupChecks.h"
#include "platform/linux/LinuxPlatform.h"

namespace {

// XDG_SESSION_TYPE says what the login manager started; WAYLAND_DISPLAY is set inside a Wayland session
// even when the X server is XWayland.
bool IsWaylandSession() {
    const char* type = std::getenv("XDG_SESSION_TYPE");
    if (type && std::strcmp(type, "wayland") == 0) return true;
    const char* wayland = std::getenv("WAYLAND_DISPLAY");
    return wayland && wayland[0] != '\0';
}

}  // namespace

InputAccess PlatformInputAccess() {
    InputAccess a;
    a.wayland = IsWaylandSession();
    Display* dpy = XOpenDisplay(nullptr);
    if (!dpy) return a;
    a.display = true;
    int event = 0, error = 0, major = 0, minor = 0;
    a.injection = XTestQueryExtension(dpy, &event, &error, &major, &minor) == True;
    int opcode = 0;
    if (XQueryExtension(dpy, "XInputExtension", &opcode, &event, &error)) {
        int xiMajor = 2, xiMinor = 2;  // announces 2.2; the server answers with what it has
        a.events = XIQueryVersion(dpy, &xiMajor, &xiMinor) == Success && (xiMajor > 2 || xiMinor >= 2);
    }
    a.repeats = XRecordQueryVersion(dpy, &major, &minor) != 0;
    XCloseDisplay(dpy);
    return a;
}

std::string PlatformInstallIdentifier() { return LinuxProcessExe(getpid()); }
