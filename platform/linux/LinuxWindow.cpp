// The GTK 4 window on X11. GTK 4 has no API for a window's position, keep-above or moves, so those go
// through Xlib on the window's X id; sizes go through GTK.
#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <gdk/x11/gdkx.h>
#include <gtk/gtk.h>

#include <vector>

#include "core/AppState.h"
#include "platform/Dialogs.h"
#include "platform/Window.h"
#include "platform/WindowPlacement.h"
#include "platform/linux/LinuxX11Window.h"

XWin XWindowOf(void* window) {
    if (!window) return {};
    GdkSurface* surface = gtk_native_get_surface(GTK_NATIVE(window));
    if (!surface || !GDK_IS_X11_SURFACE(surface)) return {};
    return {gdk_x11_display_get_xdisplay(gdk_surface_get_display(surface)), gdk_x11_surface_get_xid(surface)};
}

// Left, right, top, bottom decoration sizes from the window manager; zero without one.
void FrameExtents(const XWin& w, long e[4]) {
    e[0] = e[1] = e[2] = e[3] = 0;
    Atom type = None;
    int format = 0;
    unsigned long n = 0, after = 0;
    unsigned char* data = nullptr;
    if (XGetWindowProperty(w.dpy, w.xid, XInternAtom(w.dpy, "_NET_FRAME_EXTENTS", False), 0, 4, False, XA_CARDINAL,
                           &type, &format, &n, &after, &data) == Success &&
        data && format == 32 && n == 4) {
        const long* v = reinterpret_cast<const long*>(data);
        for (int i = 0; i < 4; ++i) e[i] = v[i];
    }
    if (data) XFree(data);
}

bool HasWindowManager(Display* dpy) {
    Atom type = None;
    int format = 0;
    unsigned long n = 0, after = 0;
    unsigned char* data = nullptr;
    const bool ok = XGetWindowProperty(dpy, DefaultRootWindow(dpy), XInternAtom(dpy, "_NET_SUPPORTING_WM_CHECK", False),
                                       0, 1, False, XA_WINDOW, &type, &format, &n, &after, &data) == Success &&
                    data && n == 1;
    if (data) XFree(data);
    return ok;
}

namespace {

// The client area's place on the root window, and its size.
bool ClientGeometry(const XWin& w, int& x, int& y, int& cw, int& ch) {
    Window root = 0, child = 0;
    int rx = 0, ry = 0;
    unsigned width = 0, height = 0, border = 0, depth = 0;
    if (!XGetGeometry(w.dpy, w.xid, &root, &rx, &ry, &width, &height, &border, &depth)) return false;
    if (!XTranslateCoordinates(w.dpy, w.xid, root, 0, 0, &x, &y, &child)) return false;
    cw = static_cast<int>(width);
    ch = static_cast<int>(height);
    return true;
}

}  // namespace

std::vector<ScreenArea> Screens(void* window) {
    std::vector<ScreenArea> out;
    GdkDisplay* display = gtk_widget_get_display(GTK_WIDGET(window));
    GListModel* monitors = gdk_display_get_monitors(display);
    const guint n = g_list_model_get_n_items(monitors);
    for (guint i = 0; i < n; ++i) {
        auto* monitor = static_cast<GdkMonitor*>(g_list_model_get_item(monitors, i));
        GdkRectangle frame{}, work{};
        gdk_monitor_get_geometry(monitor, &frame);
        work = frame;
        if (GDK_IS_X11_MONITOR(monitor)) gdk_x11_monitor_get_workarea(monitor, &work);
        out.push_back({{frame.x, frame.y, frame.width, frame.height}, {work.x, work.y, work.width, work.height}});
        g_object_unref(monitor);
    }
    return out;
}

namespace {

// Asks the window manager to move the outer frame, and with a size also to resize the client: north-west
// gravity, so x and y are the frame's corner.
void SendMoveResize(const XWin& w, int x, int y, int clientW, int clientH) {
    XEvent ev{};
    ev.xclient.type = ClientMessage;
    ev.xclient.window = w.xid;
    ev.xclient.message_type = XInternAtom(w.dpy, "_NET_MOVERESIZE_WINDOW", False);
    ev.xclient.format = 32;
    ev.xclient.data.l[0] = NorthWestGravity | (1 << 8) | (1 << 9) | (2 << 12);
    if (clientW > 0 && clientH > 0) ev.xclient.data.l[0] |= (1 << 10) | (1 << 11);
    ev.xclient.data.l[1] = x;
    ev.xclient.data.l[2] = y;
    ev.xclient.data.l[3] = clientW;
    ev.xclient.data.l[4] = clientH;
    XSendEvent(w.dpy, DefaultRootWindow(w.dpy), False, SubstructureRedirectMask | SubstructureNotifyMask, &ev);
}

}  // namespace

void MoveResizeFrame(void* window, const XWin& w, int x, int y, int clientW, int clientH) {
    gtk_window_set_default_size(GTK_WINDOW(window), clientW, clientH);
    if (HasWindowManager(w.dpy)) {
        SendMoveResize(w, x, y, clientW, clientH);
    } else {
        XMoveResizeWindow(w.dpy, w.xid, x, y, static_cast<unsigned>(clientW), static_cast<unsigned>(clientH));
    }
    XFlush(w.dpy);
}

void MoveFrame(const XWin& w, int x, int y, bool viaWindowManager) {
    if (viaWindowManager) {
        SendMoveResize(w, x, y, 0, 0);
    } else {
        XMoveWindow(w.dpy, w.xid, x, y);
    }
    XFlush(w.dpy);
}

void SendWmState(const XWin& w, bool add, const char* state) {
    XEvent ev{};
    ev.xclient.type = ClientMessage;
    ev.xclient.window = w.xid;
    ev.xclient.message_type = XInternAtom(w.dpy, "_NET_WM_STATE", False);
    ev.xclient.format = 32;
    ev.xclient.data.l[0] = add ? 1 : 0;
    ev.xclient.data.l[1] = static_cast<long>(XInternAtom(w.dpy, state, False));
    ev.xclient.data.l[3] = 1;
    XSendEvent(w.dpy, DefaultRootWindow(w.dpy), False, SubstructureRedirectMask | SubstructureNotifyMask, &ev);
    XFlush(w.dpy);
}

namespace {

struct Hooks {
    void* window = nullptr;
    std::function<void()> onGeometryChanged;
    std::function<void()> onDestroyed;
    guint settle = 0;
    gulong xeventHandler = 0;
    GdkDisplay* display = nullptr;
};

gboolean OnSettled(gpointer data) {
    auto* hooks = static_cast<Hooks*>(data);
    hooks->settle = 0;
    if (hooks->onGeometryChanged) hooks->onGeometryChanged();
    return G_SOURCE_REMOVE;
}

// A move or resize arrives as a stream of ConfigureNotify; the placement is taken once it stops.
gboolean OnXEvent(GdkX11Display*, gpointer xevent, gpointer data) {
    auto* hooks = static_cast<Hooks*>(data);
    const auto* ev = static_cast<const XEvent*>(xevent);
    if (hooks->window && ev->type == ConfigureNotify && ev->xconfigure.window == XWindowOf(hooks->window).xid) {
        if (hooks->settle) g_source_remove(hooks->settle);
        hooks->settle = g_timeout_add(300, OnSettled, hooks);
    }
    return FALSE;
}

gboolean OnCloseRequest(GtkWindow*, gpointer data) {
    auto* hooks = static_cast<Hooks*>(data);
    if (hooks->onGeometryChanged) hooks->onGeometryChanged();  // the window still exists here
    return FALSE;                                              // let it close
}

// The window is going: no further event or timer may reach it through the hooks.
void OnWindowDestroy(GtkWidget*, gpointer data) {
    auto* hooks = static_cast<Hooks*>(data);
    if (hooks->settle) g_source_remove(hooks->settle);
    hooks->settle = 0;
    if (hooks->xeventHandler) g_signal_handler_disconnect(hooks->display, hooks->xeventHandler);
    hooks->xeventHandler = 0;
    hooks->window = nullptr;
    if (hooks->onDestroyed) hooks->onDestroyed();
}

gboolean OnQuitShortcut(GtkWidget*, GVariant*, gpointer data) {
    (*static_cast<std::function<void()>*>(data))();
    return TRUE;
}

gboolean OnMinimizeShortcut(GtkWidget* widget, GVariant*, gpointer) {
    gtk_window_minimize(GTK_WINDOW(widget));
    return TRUE;
}

struct ChooserResult {
    bool done = false;
    std::string path;
};

// The dialog that a nested loop waits on now, if any, and how to end that wait as a cancel.
GtkNativeDialog* g_OpenChooser = nullptr;
ChooserResult* g_OpenChooserResult = nullptr;
GtkWidget* g_OpenAlert = nullptr;
bool* g_OpenAlertDone = nullptr;
// Set by a quit: from then on no dialog opens (a page going on after a cancelled one could open another).
bool g_Quitting = false;

void OnChooserResponse(GtkNativeDialog* dialog, int response, gpointer data) {
    auto* result = static_cast<ChooserResult*>(data);
    if (response == GTK_RESPONSE_ACCEPT) {
        if (GFile* file = gtk_file_chooser_get_file(GTK_FILE_CHOOSER(dialog))) {
            if (char* path = g_file_get_path(file)) {
                result->path = path;
                g_free(path);
            }
            g_object_unref(file);
        }
    }
    result->done = true;
}

std::string RunChooser(GtkFileChooserAction action, const std::string& extension, const std::string& suggested) {
    if (g_Quitting) return "";
    GtkWindow* parent = static_cast<GtkWindow*>(g_MasterWindow.load());
    const bool save = action == GTK_FILE_CHOOSER_ACTION_SAVE;
    GtkFileChooserNative* chooser =
        gtk_file_chooser_native_new(save ? "Save" : "Open", parent, action, save ? "_Save" : "_Open", "_Cancel");
    GtkFileFilter* filter = gtk_file_filter_new();
    gtk_file_filter_add_pattern(filter, ("*." + extension).c_str());
    gtk_file_filter_set_name(filter, ("." + extension).c_str());
    gtk_file_chooser_add_filter(GTK_FILE_CHOOSER(chooser), filter);
    g_object_unref(filter);
    if (save && !suggested.empty()) gtk_file_chooser_set_current_name(GTK_FILE_CHOOSER(chooser), suggested.c_str());
    gtk_native_dialog_set_modal(GTK_NATIVE_DIALOG(chooser), TRUE);
    ChooserResult result;
    g_signal_connect(chooser, "response", G_CALLBACK(OnChooserResponse), &result);
    gtk_native_dialog_show(GTK_NATIVE_DIALOG(chooser));
    g_OpenChooser = GTK_NATIVE_DIALOG(chooser);
    g_OpenChooserResult = &result;
    // The bindings answer synchronously, so the choice is waited for here, with the loop still turning.
    while (!result.done) g_main_context_iteration(nullptr, TRUE);
    g_OpenChooser = nullptr;
    g_OpenChooserResult = nullptr;
    g_object_unref(chooser);
    return result.path;
}

}  // namespace

bool PlatformGetWindowPlacement(void* window, int& x, int& y, int& width, int& height, bool& maximized) {
    const XWin w = XWindowOf(window);
    if (!w.dpy) return false;
    int cx = 0, cy = 0, cw = 0, ch = 0;
    if (!ClientGeometry(w, cx, cy, cw, ch)) return false;
    long e[4];
    FrameExtents(w, e);
    x = cx - static_cast<int>(e[0]);
    y = cy - static_cast<int>(e[2]);
    width = cw + static_cast<int>(e[0] + e[1]);
    height = ch + static_cast<int>(e[2] + e[3]);
    maximized = gtk_window_is_maximized(GTK_WINDOW(window));
    return true;
}

namespace {

struct PendingRestore {
    int x, y, width, height;
    bool maximized;
};

gboolean RestoreWhenFramed(gpointer data) {
    auto* p = static_cast<std::pair<void*, PendingRestore>*>(data);
    const PendingRestore r = p->second;
    PlatformRestoreWindowPlacement(p->first, r.x, r.y, r.width, r.height, r.maximized);
    delete p;
    return G_SOURCE_REMOVE;
}

void OnMapForRestore(GtkWidget* widget, gpointer data) {
    g_signal_handlers_disconnect_by_func(widget, reinterpret_cast<gpointer>(OnMapForRestore), data);
    // A moment for the window manager to frame the window, so that its decorations are known.
    g_timeout_add(100, RestoreWhenFramed, data);
}

}  // namespace

void PlatformRestoreWindowPlacement(void* window, int x, int y, int width, int height, bool maximized) {
    if (!window || width < 1 || height < 1) return;
    if (!gtk_widget_get_mapped(GTK_WIDGET(window))) {
        // Placement needs the window on screen; the lifecycle hooks save it once it has moved.
        auto* pending = new std::pair<void*, PendingRestore>(window, {x, y, width, height, maximized});
        g_signal_connect(window, "map", G_CALLBACK(OnMapForRestore), pending);
        return;
    }
    const XWin w = XWindowOf(window);
    if (!w.dpy) return;
    const auto placed = PlaceRestoredWindow({x, y, width, height}, Screens(window));
    if (!placed) return;
    long e[4];
    FrameExtents(w, e);
    const int clientW = std::max(1, placed->w - static_cast<int>(e[0] + e[1]));
    const int clientH = std::max(1, placed->h - static_cast<int>(e[2] + e[3]));
    MoveResizeFrame(window, w, placed->x, placed->y, clientW, clientH);
    if (maximized && !gtk_window_is_maximized(GTK_WINDOW(window))) gtk_window_maximize(GTK_WINDOW(window));
}

void PlatformResizeWindowClamped(void* window, int width, int height) {
    const XWin w = XWindowOf(window);
    if (!w.dpy || width < 1 || height < 1) return;
    int fx = 0, fy = 0, fw = 0, fh = 0;
    bool maximized = false;
    if (!PlatformGetWindowPlacement(window, fx, fy, fw, fh, maximized)) return;
    long e[4];
    FrameExtents(w, e);
    const int decoW = static_cast<int>(e[0] + e[1]), decoH = static_cast<int>(e[2] + e[3]);
    // The screen that holds the window's corner, else the first.
    const std::vector<ScreenArea> screens = Screens(window);
    if (screens.empty()) return;
    WindowRect visible = screens[0].visible;
    for (const ScreenArea& s : screens) {
        if (fx >= s.frame.x && fx < s.frame.x + s.frame.w && fy >= s.frame.y && fy < s.frame.y + s.frame.h) {
            visible = s.visible;
            break;
        }
    }
    const auto r = ClampContentResize({fx, fy, fw, fh}, decoW, decoH, visible, width, height);
    if (r) MoveResizeFrame(window, w, r->x, r->y, r->w - decoW, r->h - decoH);
}

void PlatformSetWindowBackdrop(void* window) {
    if (!window) return;
    GtkWidget* widget = GTK_WIDGET(window);
    // The pages' --bg; the web view is transparent until its first frame, which can take a second. One
    // style for the display, given once; each window takes it through its class.
    static const bool styled = [widget] {
        GtkCssProvider* provider = gtk_css_provider_new();
        gtk_css_provider_load_from_data(provider, "window.quorvane { background-color: #0e1320; }", -1);
        gtk_style_context_add_provider_for_display(gtk_widget_get_display(widget), GTK_STYLE_PROVIDER(provider),
                                                   GTK_STYLE_PROVIDER_PRIORITY_APPLICATION);
        return true;
    }();
    (void)styled;
    gtk_widget_add_css_class(widget, "quorvane");
}

void PlatformSetAlwaysOnTop(void* window, bool on) {
    const XWin w = XWindowOf(window);
    if (w.dpy) SendWmState(w, on, "_NET_WM_STATE_ABOVE");
}

void PlatformApplyAlwaysOnTop(bool on) {
    if (void* window = g_MasterWindow) PlatformSetAlwaysOnTop(window, on);
}

void PlatformMinimize(void* window) {
    if (window) gtk_window_minimize(GTK_WINDOW(window));
}

void PlatformBringToFront(void* window) {
    if (window) gtk_window_present(GTK_WINDOW(window));
}

void PlatformInstallLifecycleHooks(void* window, std::function<void()> onGeometryChanged,
                                   std::function<void()> onDestroyed) {
    if (!window) return;
    // Kept for the life of the process: a late signal finds it with its window let go.
    auto* hooks = new Hooks{window, std::move(onGeometryChanged), std::move(onDestroyed)};
    g_signal_connect(window, "close-request", G_CALLBACK(OnCloseRequest), hooks);
    g_signal_connect(window, "destroy", G_CALLBACK(OnWindowDestroy), hooks);
    GdkDisplay* display = gtk_widget_get_display(GTK_WIDGET(window));
    if (GDK_IS_X11_DISPLAY(display)) {
        hooks->display = display;
        hooks->xeventHandler = g_signal_connect(display, "xevent", G_CALLBACK(OnXEvent), hooks);
    }
}

void PlatformInstallWindowShortcuts(void* window, std::function<void()> onQuit) {
    if (!window) return;
    auto* quit = new std::function<void()>(std::move(onQuit));
    GtkEventController* controller = gtk_shortcut_controller_new();
    gtk_shortcut_controller_set_scope(GTK_SHORTCUT_CONTROLLER(controller), GTK_SHORTCUT_SCOPE_GLOBAL);
    const auto add = [controller](const char* accel, GtkShortcutAction* action) {
        gtk_shortcut_controller_add_shortcut(GTK_SHORTCUT_CONTROLLER(controller),
                                             gtk_shortcut_new(gtk_shortcut_trigger_parse_string(accel), action));
    };
    add("<Control>q", gtk_callback_action_new(OnQuitShortcut, quit, nullptr));
    add("<Control>w", gtk_named_action_new("window.close"));
    add("<Control>m", gtk_callback_action_new(OnMinimizeShortcut, nullptr, nullptr));
    gtk_widget_add_controller(GTK_WIDGET(window), controller);
}

void PlatformOpenUrl(const std::string& url) {
    if (!url.empty()) g_app_info_launch_default_for_uri(url.c_str(), nullptr, nullptr);
}

void PlatformShowAlert(const std::string& text) {
    if (g_Quitting) return;
    const bool utf8 = g_utf8_validate(text.c_str(), static_cast<gssize>(text.size()), nullptr);
    GtkWidget* dialog = gtk_message_dialog_new(static_cast<GtkWindow*>(g_MasterWindow.load()), GTK_DIALOG_MODAL,
                                               GTK_MESSAGE_INFO, GTK_BUTTONS_OK, "Quorvane");
    gtk_message_dialog_format_secondary_text(GTK_MESSAGE_DIALOG(dialog), "%s", utf8 ? text.c_str() : "");
    bool done = false;
    g_signal_connect(dialog, "response", G_CALLBACK(+[](GtkDialog* d, int, gpointer data) {
                         *static_cast<bool*>(data) = true;
                         gtk_window_destroy(GTK_WINDOW(d));
                     }),
                     &done);
    gtk_window_present(GTK_WINDOW(dialog));
    g_OpenAlert = dialog;
    g_OpenAlertDone = &done;
    while (!done) g_main_context_iteration(nullptr, TRUE);
    g_OpenAlert = nullptr;
    g_OpenAlertDone = nullptr;
}

void PlatformCloseOpenDialogs() {
    g_Quitting = true;
    if (g_OpenChooser) {
        gtk_native_dialog_hide(g_OpenChooser);
        g_OpenChooserResult->path.clear();
        g_OpenChooserResult->done = true;
    }
    if (g_OpenAlert) {
        *g_OpenAlertDone = true;
        gtk_window_destroy(GTK_WINDOW(g_OpenAlert));
        g_OpenAlert = nullptr;
    }
    g_main_context_wakeup(nullptr);  // the nested loop sees its flag at once
}

std::string PlatformChooseFileToOpen(const std::string& extension) {
    return RunChooser(GTK_FILE_CHOOSER_ACTION_OPEN, extension, "");
}

std::string PlatformChooseSaveFile(const std::string& suggestedName, const std::string& extension) {
    return RunChooser(GTK_FILE_CHOOSER_ACTION_SAVE, extension, suggestedName);
}
