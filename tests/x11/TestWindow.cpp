// A plain X application that reports every key and button it receives, one line each on stdout:
//   ButtonPress <button> <x> <y> | ButtonRelease <button> <x> <y> | KeyPress <keycode> <keysym> |
//   KeyRelease <keycode> <keysym>
// It covers the whole screen and takes the input focus, so it sees whatever is injected. "ready" comes
// once it is mapped and focused. It is the oracle of the injection tests: it knows nothing of the program.
#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include <cstdio>

int main() {
    Display* d = XOpenDisplay(nullptr);
    if (!d) {
        std::fprintf(stderr, "test window: no display\n");
        return 1;
    }
    const int screen = DefaultScreen(d);
    XSetWindowAttributes a{};
    a.event_mask = KeyPressMask | KeyReleaseMask | ButtonPressMask | ButtonReleaseMask | StructureNotifyMask;
    a.background_pixel = WhitePixel(d, screen);
    a.override_redirect = True;
    const Window w =
        XCreateWindow(d, RootWindow(d, screen), 0, 0, DisplayWidth(d, screen), DisplayHeight(d, screen), 0,
                      CopyFromParent, InputOutput, CopyFromParent, CWEventMask | CWBackPixel | CWOverrideRedirect, &a);
    XStoreName(d, w, "qvn test window");
    XMapRaised(d, w);
    XEvent e;
    do XNextEvent(d, &e);
    while (e.type != MapNotify);
    XSetInputFocus(d, w, RevertToPointerRoot, CurrentTime);
    XSync(d, False);
    std::printf("ready\n");
    std::fflush(stdout);
    for (;;) {
        XNextEvent(d, &e);
        switch (e.type) {
            case ButtonPress:
            case ButtonRelease:
                std::printf("%s %u %d %d\n", e.type == ButtonPress ? "ButtonPress" : "ButtonRelease", e.xbutton.button,
                            e.xbutton.x_root, e.xbutton.y_root);
                break;
            case KeyPress:
            case KeyRelease: {
                const KeySym sym = XLookupKeysym(&e.xkey, 0);
                const char* name = sym ? XKeysymToString(sym) : nullptr;
                std::printf("%s %u %s\n", e.type == KeyPress ? "KeyPress" : "KeyRelease", e.xkey.keycode,
                            name ? name : "NoSymbol");
                break;
            }
            case MappingNotify: XRefreshKeyboardMapping(&e.xmapping); break;
            default: break;
        }
        std::fflush(stdout);
    }
}
