#include "tests/x11/ServerView.h"

#include <X11/XKBlib.h>
#include <X11/Xlib.h>

namespace {

Display* g_Display = nullptr;

}  // namespace

bool OpenServerView() {
    g_Display = XOpenDisplay(nullptr);
    return g_Display != nullptr;
}

void CloseServerView() {
    if (g_Display) XCloseDisplay(g_Display);
    g_Display = nullptr;
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
