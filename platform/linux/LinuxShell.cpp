#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <dirent.h>
#include <gio/gio.h>
#include <glib-unix.h>
#include <gtk/gtk.h>
#include <signal.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "platform/Platform.h"
#include "platform/Window.h"
#include "platform/linux/LinuxPlatform.h"

namespace {

std::function<void()>* g_QuitHandler = nullptr;

gboolean OnQuitSignal(gpointer) {
    if (g_QuitHandler && *g_QuitHandler) (*g_QuitHandler)();
    return G_SOURCE_CONTINUE;
}

// Other processes of this user that run this same executable.
std::vector<int> OtherInstances() {
    std::vector<int> pids;
    DIR* proc = opendir("/proc");
    if (!proc) return pids;
    const int self = getpid();
    while (const dirent* e = readdir(proc)) {
        char* end = nullptr;
        const long pid = std::strtol(e->d_name, &end, 10);
        if (*end != '\0' || pid <= 0 || pid == self) continue;
        if (PlatformProcessIsThisApp(static_cast<int>(pid))) pids.push_back(static_cast<int>(pid));
    }
    closedir(proc);
    return pids;
}

long WindowPid(Display* dpy, Window w, Atom netWmPid) {
    Atom type = None;
    int format = 0;
    unsigned long count = 0, after = 0;
    unsigned char* data = nullptr;
    long pid = -1;
    if (XGetWindowProperty(dpy, w, netWmPid, 0, 1, False, XA_CARDINAL, &type, &format, &count, &after, &data) ==
            Success &&
        data && format == 32 && count == 1) {
        pid = *reinterpret_cast<long*>(data);
    }
    if (data) XFree(data);
    return pid;
}

// The top-level windows of the screen: the window manager's client list when there is one, else the
// root's children.
std::vector<Window> TopLevels(Display* dpy, Window root) {
    std::vector<Window> out;
    const Atom clientList = XInternAtom(dpy, "_NET_CLIENT_LIST", False);
    Atom type = None;
    int format = 0;
    unsigned long count = 0, after = 0;
    unsigned char* data = nullptr;
    if (XGetWindowProperty(dpy, root, clientList, 0, 65536, False, XA_WINDOW, &type, &format, &count, &after, &data) ==
            Success &&
        data && format == 32) {
        const auto* ws = reinterpret_cast<Window*>(data);
        out.assign(ws, ws + count);
    }
    if (data) XFree(data);
    if (!out.empty()) return out;
    Window rootRet = 0, parent = 0;
    Window* children = nullptr;
    unsigned int n = 0;
    if (XQueryTree(dpy, root, &rootRet, &parent, &children, &n) && children) {
        out.assign(children, children + n);
        XFree(children);
    }
    return out;
}

void Activate(Display* dpy, Window root, Window w) {
    XEvent ev{};
    ev.xclient.type = ClientMessage;
    ev.xclient.window = w;
    ev.xclient.message_type = XInternAtom(dpy, "_NET_ACTIVE_WINDOW", False);
    ev.xclient.format = 32;
    ev.xclient.data.l[0] = 2;  // a request on the user's behalf: honoured even against focus-stealing rules
    ev.xclient.data.l[1] = CurrentTime;
    XSendEvent(dpy, root, False, SubstructureRedirectMask | SubstructureNotifyMask, &ev);
    XMapRaised(dpy, w);  // without a window manager this alone brings it up
}

}  // namespace

void PlatformInstallQuitHandler(std::function<void()> onQuit) {
    static std::function<void()> handler;
    handler = std::move(onQuit);
    if (g_QuitHandler) return;
    g_QuitHandler = &handler;
    for (int sig : {SIGTERM, SIGINT, SIGHUP}) g_unix_signal_add(sig, OnQuitSignal, nullptr);
}

void PlatformActivateOtherInstance() { LinuxActivateWindowsOf(OtherInstances()); }

void PlatformActivateProcess(int pid) {
    if (pid > 0) LinuxActivateWindowsOf({pid});
}

void LinuxActivateWindowsOf(const std::vector<int>& pids) {
    if (pids.empty()) return;
    Display* dpy = XOpenDisplay(nullptr);
    if (!dpy) return;
    const Window root = DefaultRootWindow(dpy);
    const Atom netWmPid = XInternAtom(dpy, "_NET_WM_PID", False);
    for (Window w : TopLevels(dpy, root)) {
        const long pid = WindowPid(dpy, w, netWmPid);
        bool ours = false;
        for (int p : pids) ours = ours || p == pid;
        if (!ours) continue;
        XWindowAttributes attrs{};
        if (XGetWindowAttributes(dpy, w, &attrs) && attrs.c_class == InputOnly) continue;
        Activate(dpy, root, w);
        break;
    }
    XSync(dpy, False);
    XCloseDisplay(dpy);
}

namespace {

std::function<void()>* g_OnSessionLocked = nullptr;

// ActiveChanged(true) of a screen saver; PropertiesChanged of a login session with LockedHint true.
void OnBusSignal(GDBusConnection*, const gchar*, const gchar*, const gchar* interfaceName, const gchar* signalName,
                 GVariant* parameters, gpointer) {
    bool locked = false;
    if (g_strcmp0(signalName, "ActiveChanged") == 0 && g_variant_is_of_type(parameters, G_VARIANT_TYPE("(b)"))) {
        gboolean active = FALSE;
        g_variant_get(parameters, "(b)", &active);
        locked = active;
    } else if (g_strcmp0(interfaceName, "org.freedesktop.DBus.Properties") == 0 &&
               g_variant_is_of_type(parameters, G_VARIANT_TYPE("(sa{sv}as)"))) {
        const gchar* iface = nullptr;
        GVariant* changed = nullptr;
        GVariant* invalidated = nullptr;
        g_variant_get(parameters, "(&s@a{sv}@as)", &iface, &changed, &invalidated);
        gboolean hint = FALSE;
        if (g_strcmp0(iface, "org.freedesktop.login1.Session") == 0 &&
            g_variant_lookup(changed, "LockedHint", "b", &hint)) {
            locked = hint;
        }
        g_variant_unref(changed);
        g_variant_unref(invalidated);
    }
    if (locked && g_OnSessionLocked && *g_OnSessionLocked) (*g_OnSessionLocked)();
}

void Subscribe(GBusType type, const char* interfaceName, const char* member, const char* objectPath = nullptr) {
    GDBusConnection* bus = g_bus_get_sync(type, nullptr, nullptr);  // kept for the life of the process
    if (!bus) return;
    g_dbus_connection_signal_subscribe(bus, nullptr, interfaceName, member, objectPath, nullptr,
                                       G_DBUS_SIGNAL_FLAGS_NONE, OnBusSignal, nullptr, nullptr);
}

// The object path of this process's own login session, asked of logind: by XDG_SESSION_ID when the
// session manager set it, else by our pid. Empty without logind or outside any session.
std::string OwnLoginSessionPath() {
    GDBusConnection* system = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr);
    if (!system) return "";
    const char* id = std::getenv("XDG_SESSION_ID");
    const bool byId = id && id[0];
    GVariant* reply = g_dbus_connection_call_sync(
        system, "org.freedesktop.login1", "/org/freedesktop/login1", "org.freedesktop.login1.Manager",
        byId ? "GetSession" : "GetSessionByPID",
        byId ? g_variant_new("(s)", id) : g_variant_new("(u)", static_cast<guint32>(getpid())), G_VARIANT_TYPE("(o)"),
        G_DBUS_CALL_FLAGS_NONE, 2000, nullptr, nullptr);
    if (!reply) return "";
    const gchar* path = nullptr;
    g_variant_get(reply, "(&o)", &path);
    std::string own = path ? path : "";
    g_variant_unref(reply);
    return own;
}

}  // namespace

void PlatformInstallSessionLockHook(std::function<void()> onLocked) {
    static std::function<void()> handler;
    handler = std::move(onLocked);
    if (g_OnSessionLocked) return;
    g_OnSessionLocked = &handler;
    Subscribe(G_BUS_TYPE_SESSION, "org.freedesktop.ScreenSaver", "ActiveChanged");
    Subscribe(G_BUS_TYPE_SESSION, "org.gnome.ScreenSaver", "ActiveChanged");
    // Only our own login session: another user's lock on the same machine must not stop our tools.
    const std::string session = OwnLoginSessionPath();
    if (!session.empty()) {
        Subscribe(G_BUS_TYPE_SYSTEM, "org.freedesktop.DBus.Properties", "PropertiesChanged", session.c_str());
    }
}
