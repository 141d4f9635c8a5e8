// The desktop's double-click interval, from its XSETTINGS manager (GNOME's, Xfce's, MATE's...).
#include <X11/Xatom.h>
#include <X11/Xlib.h>

#include <string>

#include "input/XSettings.h"

namespace {

// The desktops' usual default, for a session without a settings manager.
constexpr double kDefaultDoubleClickSeconds = 0.4;

}  // namespace

double PlatformDoubleClickSeconds() {
    Display* d = XOpenDisplay(nullptr);
    if (!d) return kDefaultDoubleClickSeconds;
    const std::string selection = "_XSETTINGS_S" + std::to_string(DefaultScreen(d));
    const Atom settingsAtom = XInternAtom(d, "_XSETTINGS_SETTINGS", False);
    const Window owner = XGetSelectionOwner(d, XInternAtom(d, selection.c_str(), False));
    int32_t ms = 0;
    bool found = false;
    if (owner != None) {
        Atom type = None;
        int format = 0;
        unsigned long items = 0, after = 0;
        unsigned char* data = nullptr;
        // The manager may go away between the two requests: then the property read fails, and that is all.
        if (XGetWindowProperty(d, owner, settingsAtom, 0, 0x10000, False, settingsAtom, &type, &format, &items, &after,
                               &data) == Success &&
            data && format == 8) {
            found = ReadXSettingsInteger(std::string_view(reinterpret_cast<const char*>(data), items),
                                         "Net/DoubleClickTime", ms);
        }
        if (data) XFree(data);
    }
    XCloseDisplay(d);
    return found && ms > 0 && ms <= 5000 ? ms / 1000.0 : kDefaultDoubleClickSeconds;
}
