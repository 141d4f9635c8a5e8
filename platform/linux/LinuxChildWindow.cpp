// The pop-out panel's window on X11. The drag is a pointer grab on a connection of its own, so that
// GDK's event queue is never read behind its back while the loop runs.
#include <X11/Xlib.h>
#include <X11/cursorfont.h>
#include <glib-unix.h>
#include <gtk/gtk.h>
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include "platform/ChildWindow.h"
#include "platform/Window.h"
#include "platform/WindowPlacement.h"
#include "platform/linux/LinuxX11Window.h"

namespace {

pid_t g_MasterPid = 0;

bool MasterGone() { return getppid() != g_MasterPid; }

struct ChildPlacement {
    int x, y, width, height;
};

void ApplyPlacement(GtkWindow* window, const ChildPlacement& p) {
    const XWin w = XWindowOf(window);
    if (!w.dpy) return;
    const WindowRect r = PlaceChildWindow(p.x, p.y, p.width, p.height, Screens(window));
    MoveResizeFrame(window, w, r.x, r.y, r.w, r.h);
    if (HasWindowManager(w.dpy)) SendWmState(w, true, "_NET_WM_STATE_ABOVE");
}

void OnMapPlace(GtkWidget* widget, gpointer data) {
    g_signal_handlers_disconnect_by_func(widget, reinterpret_cast<gpointer>(OnMapPlace), data);
    ApplyPlacement(GTK_WINDOW(widget), *static_cast<ChildPlacement*>(data));
    delete static_cast<ChildPlacement*>(data);
}

// The pointer's place, and whether the left button is down; false when it can't be read.
bool QueryPointer(Display* d, int& x, int& y, bool& leftDown) {
    Window root = 0, child = 0;
    int wx = 0, wy = 0;
    unsigned mask = 0;
    if (!XQueryPointer(d, DefaultRootWindow(d), &root, &child, &x, &y, &wx, &wy, &mask)) return false;
    leftDown = (mask & Button1Mask) != 0;
    return true;
}

// Takes the pointer for `d`. The press that started the drag left GDK holding it (the implicit grab of
// a press), which is let go first; the grab is retried for a moment while that reaches the server.
bool GrabPointer(Display* d, Display* gdk, Cursor cursor) {
    XUngrabPointer(gdk, CurrentTime);
    XFlush(gdk);
    for (int attempt = 0; attempt < 25; ++attempt) {
        if (XGrabPointer(d, DefaultRootWindow(d), False, PointerMotionMask | ButtonReleaseMask, GrabModeAsync,
                         GrabModeAsync, None, cursor, CurrentTime) == GrabSuccess) {
            return true;
        }
        usleep(4000);
    }
    return false;
}

}  // namespace

void PlatformPrepareChildProcess() { g_MasterPid = getppid(); }

void PlatformSetUpChildWindow(void* window, int x, int y, int width, int height) {
    if (!window) return;
    GtkWindow* win = GTK_WINDOW(window);
    gtk_window_set_decorated(win, FALSE);
    auto* placement = new ChildPlacement{x, y, width, height};
    if (gtk_widget_get_mapped(GTK_WIDGET(win))) {
        OnMapPlace(GTK_WIDGET(win), placement);
    } else {
        g_signal_connect(win, "map", G_CALLBACK(OnMapPlace), placement);
    }
    gtk_window_present(win);
}

bool PlatformRunChildWindowDrag(void* window, const std::function<bool(int, int)>& overTarget,
                                const std::function<void(bool)>& onHover) {
    const XWin w = XWindowOf(window);
    int originX = 0, originY = 0, frameW = 0, frameH = 0;
    bool maximized = false;
    if (!w.dpy || !PlatformGetWindowPlacement(window, originX, originY, frameW, frameH, maximized)) return false;
    Display* d = XOpenDisplay(DisplayString(w.dpy));
    if (!d) return false;
    int startX = 0, startY = 0;
    bool down = false;
    const Cursor cursor = XCreateFontCursor(d, XC_fleur);
    if (!QueryPointer(d, startX, startY, down) || !down || !GrabPointer(d, w.dpy, cursor)) {
        XFreeCursor(d, cursor);
        XCloseDisplay(d);
        return false;
    }
    const bool wm = HasWindowManager(d);
    bool over = false;
    const auto follow = [&](int x, int y) {
        MoveFrame(w, originX + x - startX, originY + y - startY, wm);
        const bool now = overTarget(x, y);
        if (now != over) {
            over = now;
            onHover(now);
        }
    };
    bool released = false;
    while (!released) {
        if (!XPending(d)) {
            pollfd p{ConnectionNumber(d), POLLIN, 0};
            poll(&p, 1, 100);
            if (MasterGone()) break;
            if (XPending(d)) continue;
            // A release can be lost to another grab that took the pointer meanwhile: the button's state
            // says when the drag is over.
            int x = 0, y = 0;
            if (!QueryPointer(d, x, y, down)) break;
            if (!down) {
                follow(x, y);
                released = true;
            }
            continue;
        }
        XEvent ev;
        XNextEvent(d, &ev);
        if (ev.type == MotionNotify) {
            while (XCheckTypedEvent(d, MotionNotify, &ev)) {
            }
            follow(ev.xmotion.x_root, ev.xmotion.y_root);
        } else if (ev.type == ButtonRelease && ev.xbutton.button == Button1) {
            follow(ev.xbutton.x_root, ev.xbutton.y_root);
            released = true;
        }
    }
    XUngrabPointer(d, CurrentTime);
    XFreeCursor(d, cursor);
    XCloseDisplay(d);
    if (!released || !over) return false;
    onHover(false);
    return true;
}

void PlatformOnThemesChangedSignal(std::function<void()> callback) {
    auto* fn = new std::function<void()>(std::move(callback));  // lives as long as the process
    g_unix_signal_add(
        SIGUSR1,
        +[](gpointer data) -> gboolean {
            (*static_cast<std::function<void()>*>(data))();
            return G_SOURCE_CONTINUE;
        },
        fn);
    // The master starts panels with the signal blocked; one that came meanwhile is taken now.
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGUSR1);
    pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
}

void PlatformWatchMaster(std::function<void()> onGone) {
    auto* fn = new std::function<void()>(std::move(onGone));
    g_timeout_add(
        250,
        +[](gpointer data) -> gboolean {
            auto* gone = static_cast<std::function<void()>*>(data);
            if (!MasterGone()) return G_SOURCE_CONTINUE;
            (*gone)();
            delete gone;
            return G_SOURCE_REMOVE;
        },
        fn);
}
