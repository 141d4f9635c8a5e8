// The window test scripts' own look at the X server, apart from the program under test:
//   qvn_server_probe held           what the server holds down: "nothing", or a "key <code> <keysym>" or
//                                   "button <n>" line each; exits 0 when nothing is held, 1 otherwise
//   qvn_server_probe close WINDOW   asks a top-level window to close the way a window manager does when the
//                                   user clicks its close button (WM_DELETE_WINDOW)
#include <X11/XKBlib.h>
#include <X11/Xlib.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

int PrintHeld(Display* d) {
    int held = 0;
    char keys[32];
    XQueryKeymap(d, keys);
    for (int code = 0; code < 256; ++code) {
        if (!(keys[code / 8] & (1 << (code % 8)))) continue;
        const KeySym sym = XkbKeycodeToKeysym(d, static_cast<KeyCode>(code), 0, 0);
        const char* name = sym ? XKeysymToString(sym) : nullptr;
        std::printf("key %d %s\n", code, name ? name : "NoSymbol");
        ++held;
    }
    Window root = 0, child = 0;
    int rx = 0, ry = 0, wx = 0, wy = 0;
    unsigned mask = 0;
    XQueryPointer(d, DefaultRootWindow(d), &root, &child, &rx, &ry, &wx, &wy, &mask);
    for (int button = 1; button <= 5; ++button) {
        if (!(mask & (Button1Mask << (button - 1)))) continue;
        std::printf("button %d\n", button);
        ++held;
    }
    if (held == 0) std::printf("nothing\n");
    return held == 0 ? 0 : 1;
}

int Close(Display* d, Window w) {
    XEvent e{};
    e.xclient.type = ClientMessage;
    e.xclient.window = w;
    e.xclient.message_type = XInternAtom(d, "WM_PROTOCOLS", False);
    e.xclient.format = 32;
    e.xclient.data.l[0] = static_cast<long>(XInternAtom(d, "WM_DELETE_WINDOW", False));
    e.xclient.data.l[1] = CurrentTime;
    if (!XSendEvent(d, w, False, NoEventMask, &e)) return 1;
    XSync(d, False);
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    Display* d = XOpenDisplay(nullptr);
    if (!d) {
        std::fprintf(stderr, "server probe: no display\n");
        return 2;
    }
    int rc = 2;
    if (argc == 2 && std::strcmp(argv[1], "held") == 0) {
        rc = PrintHeld(d);
    } else if (argc == 3 && std::strcmp(argv[1], "close") == 0) {
        rc = Close(d, static_cast<Window>(std::strtoul(argv[2], nullptr, 0)));
    } else {
        std::fprintf(stderr, "usage: qvn_server_probe held | close WINDOW\n");
    }
    XCloseDisplay(d);
    return rc;
}
