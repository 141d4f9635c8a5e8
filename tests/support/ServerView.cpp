#include "tests/support/ServerView.h"

#include <X11/XKBlib.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/extensions/XInput.h>
#include <X11/extensions/XInput2.h>
#include <X11/extensions/XTest.h>
#include <poll.h>

#include <cstring>
#include <string>

#include "input/OwnEventMarks.h"

namespace {

Display* g_Display = nullptr;
Display* g_Raw = nullptr;
Display* g_User = nullptr;
XDevice* g_UserKeyboard = nullptr;
XDevice* g_UserMouse = nullptr;

XDevice* OpenDeviceNamed(Display* d, const char* name) {
    int n = 0;
    XDeviceInfo* list = XListInputDevices(d, &n);
    XDevice* device = nullptr;
    for (int i = 0; list && i < n && !device; ++i) {
        if (std::strcmp(list[i].name, name) == 0) device = XOpenDevice(d, list[i].id);
    }
    if (list) XFreeDeviceList(list);
    return device;
}
int g_XiOpcode = 0;

}  // namespace

bool OpenServerView() {
    g_Display = XOpenDisplay(nullptr);
    return g_Display != nullptr;
}

void CloseServerView() {
    if (g_Display) XCloseDisplay(g_Display);
    if (g_Raw) XCloseDisplay(g_Raw);
    if (g_User) XCloseDisplay(g_User);
    g_User = nullptr;
    g_Display = nullptr;
    g_Raw = nullptr;
}

bool NothingHeld() {
    char keys[32];
    XQueryKeymap(g_Display, keys);
    for (char k : keys) {
        if (k) return false;
    }
    Window root = 0, child = 0;
    int rx = 0, ry = 0, wx = 0, wy = 0;
    unsigned mask = 0;
    XQueryPointer(g_Display, DefaultRootWindow(g_Display), &root, &child, &rx, &ry, &wx, &wy, &mask);
    return (mask & (Button1Mask | Button2Mask | Button3Mask | Button4Mask | Button5Mask)) == 0;
}

int DisplayWidthOfServer() { return DisplayWidth(g_Display, DefaultScreen(g_Display)); }

std::string KeysymAt(int keycode) {
    if (keycode < 0) return "-";
    const KeySym sym = XkbKeycodeToKeysym(g_Display, static_cast<KeyCode>(keycode), 0, 0);
    const char* name = sym ? XKeysymToString(sym) : nullptr;
    return name ? name : "NoSymbol";
}

void LockLayoutGroup(int group) {
    XkbLockGroup(g_Display, XkbUseCoreKbd, static_cast<unsigned>(group));
    XSync(g_Display, False);
}

bool StartRawWatch() {
    if (g_Raw) return true;
    g_Raw = XOpenDisplay(nullptr);
    int event = 0, error = 0, major = 2, minor = 2;
    if (!g_Raw || !XQueryExtension(g_Raw, "XInputExtension", &g_XiOpcode, &event, &error)) return false;
    if (XIQueryVersion(g_Raw, &major, &minor) != Success) return false;
    unsigned char bits[XIMaskLen(XI_LASTEVENT)] = {};
    for (int type : {XI_RawKeyPress, XI_RawKeyRelease, XI_RawButtonPress, XI_RawButtonRelease, XI_RawMotion}) {
        XISetMask(bits, type);
    }
    XIEventMask mask{XIAllMasterDevices, sizeof bits, bits};
    XISelectEvents(g_Raw, DefaultRootWindow(g_Raw), &mask, 1);
    XSync(g_Raw, False);
    return true;
}

std::vector<RawInput> TakeRawEvents(int quietMs) {
    std::vector<RawInput> out;
    pollfd p{ConnectionNumber(g_Raw), POLLIN, 0};
    for (;;) {
        if (!XPending(g_Raw) && poll(&p, 1, quietMs) <= 0) break;
        while (XPending(g_Raw)) {
            XEvent e;
            XNextEvent(g_Raw, &e);
            if (e.type != GenericEvent || e.xcookie.extension != g_XiOpcode || !XGetEventData(g_Raw, &e.xcookie)) {
                continue;
            }
            const auto* r = static_cast<XIRawEvent*>(e.xcookie.data);
            RawInput in{0, r->detail, 0, 0};
            switch (r->evtype) {
                case XI_RawKeyPress: in.kind = MarkKeyPress; break;
                case XI_RawKeyRelease: in.kind = MarkKeyRelease; break;
                case XI_RawButtonPress: in.kind = MarkButtonPress; break;
                case XI_RawButtonRelease: in.kind = MarkButtonRelease; break;
                case XI_RawMotion: {
                    in.kind = MarkMotion;
                    in.detail = 0;
                    // The raw values come in the order of the set bits of the mask: x (axis 0), then y.
                    const double* v = r->raw_values;
                    if (XIMaskIsSet(r->valuators.mask, 0)) in.x = static_cast<int>(*v++);
                    if (XIMaskIsSet(r->valuators.mask, 1)) in.y = static_cast<int>(*v++);
                    break;
                }
                default: break;
            }
            XFreeEventData(g_Raw, &e.xcookie);
            if (in.kind) out.push_back(in);
        }
    }
    return out;
}

void ForeignClick() {
    XTestFakeButtonEvent(g_Display, 1, True, CurrentTime);
    XTestFakeButtonEvent(g_Display, 1, False, CurrentTime);
    XSync(g_Display, False);
}

bool OpenSimulatedUser() {
    if (!g_User) g_User = XOpenDisplay(nullptr);
    if (!g_User) return false;
    if (!g_UserKeyboard) g_UserKeyboard = OpenDeviceNamed(g_User, "Xvfb keyboard");
    if (!g_UserMouse) g_UserMouse = OpenDeviceNamed(g_User, "Xvfb mouse");
    return g_UserKeyboard && g_UserMouse;
}

void UserKey(int keycode, bool down) {
    XTestFakeDeviceKeyEvent(g_User, g_UserKeyboard, static_cast<unsigned>(keycode), down, nullptr, 0, CurrentTime);
    XSync(g_User, False);
}

void UserButton(int button, bool down) {
    if (button <= 3) {
        XTestFakeDeviceButtonEvent(g_User, g_UserMouse, static_cast<unsigned>(button), down, nullptr, 0, CurrentTime);
    } else {
        XTestFakeButtonEvent(g_User, static_cast<unsigned>(button), down, CurrentTime);
    }
    XSync(g_User, False);
}

void UserMoveTo(int x, int y) {
    int axes[2] = {x, y};
    XTestFakeDeviceMotionEvent(g_User, g_UserMouse, False, 0, axes, 2, CurrentTime);
    XSync(g_User, False);
}

void UserMoveBy(int dx, int dy) {
    int axes[2] = {dx, dy};
    XTestFakeDeviceMotionEvent(g_User, g_UserMouse, True, 0, axes, 2, CurrentTime);
    XSync(g_User, False);
}

void PointerOfServer(int& x, int& y) {
    Window root = 0, child = 0;
    int wx = 0, wy = 0;
    unsigned mask = 0;
    XQueryPointer(g_Display, DefaultRootWindow(g_Display), &root, &child, &x, &y, &wx, &wy, &mask);
}

void HoldServer(bool hold) {
    if (hold) {
        XGrabServer(g_Display);
    } else {
        XUngrabServer(g_Display);
    }
    XSync(g_Display, False);
}

void ShowOwnWindow(int x, int y, int width, int height) {
    XSetWindowAttributes a{};
    a.override_redirect = True;
    a.background_pixel = BlackPixel(g_Display, DefaultScreen(g_Display));
    const Window w = XCreateWindow(g_Display, DefaultRootWindow(g_Display), x, y, static_cast<unsigned>(width),
                                   static_cast<unsigned>(height), 0, CopyFromParent, InputOutput, CopyFromParent,
                                   CWOverrideRedirect | CWBackPixel, &a);
    XMapRaised(g_Display, w);
    XSync(g_Display, False);
}

void PublishDoubleClickTime(int ms) {
    static Window manager = 0;
    const Atom selection = XInternAtom(g_Display, "_XSETTINGS_S0", False);
    if (ms <= 0) {
        if (manager) XDestroyWindow(g_Display, manager);
        manager = 0;
        XSync(g_Display, False);
        return;
    }
    if (!manager) manager = XCreateSimpleWindow(g_Display, DefaultRootWindow(g_Display), 0, 0, 1, 1, 0, 0, 0);
    // Little-endian: order, serial, one setting; an integer record with its padded name and serial.
    const std::string name = "Net/DoubleClickTime";
    std::string blob = std::string("\0\0\0\0", 4) + std::string("\1\0\0\0", 4) + std::string("\1\0\0\0", 4);
    blob += std::string("\0\0", 2) + static_cast<char>(name.size()) + '\0' + name + std::string(1, '\0');
    blob += std::string("\0\0\0\0", 4);
    for (int i = 0; i < 4; ++i) blob += static_cast<char>((ms >> (8 * i)) & 0xff);
    const Atom settings = XInternAtom(g_Display, "_XSETTINGS_SETTINGS", False);
    XChangeProperty(g_Display, manager, settings, settings, 8, PropModeReplace,
                    reinterpret_cast<const unsigned char*>(blob.data()), static_cast<int>(blob.size()));
    XSetSelectionOwner(g_Display, selection, manager, CurrentTime);
    XSync(g_Display, False);
}
