// A stand-in for logind on a private bus that the window tests give the app as its system bus: it answers
// GetSession and GetSessionByPID with one session path (the first argument) and does nothing else. It
// prints "ready" once it owns its name, and ends on SIGTERM.
#include <gio/gio.h>
#include <glib-unix.h>

#include <cstdio>

namespace {

const char* const kInterface =
    "<node><interface name='org.freedesktop.login1.Manager'>"
    "<method name='GetSession'><arg type='s' direction='in'/><arg type='o' direction='out'/></method>"
    "<method name='GetSessionByPID'><arg type='u' direction='in'/><arg type='o' direction='out'/></method>"
    "</interface></node>";

const char* g_SessionPath = nullptr;

void OnCall(GDBusConnection*, const gchar*, const gchar*, const gchar*, const gchar*, GVariant*,
            GDBusMethodInvocation* invocation, gpointer) {
    g_dbus_method_invocation_return_value(invocation, g_variant_new("(o)", g_SessionPath));
}

void OnNameAcquired(GDBusConnection*, const gchar*, gpointer) {
    std::printf("ready\n");
    std::fflush(stdout);
}

gboolean OnTerm(gpointer loop) {
    g_main_loop_quit(static_cast<GMainLoop*>(loop));
    return G_SOURCE_REMOVE;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2 || !g_variant_is_object_path(argv[1])) {
        std::fprintf(stderr, "usage: %s SESSION_OBJECT_PATH (with DBUS_SYSTEM_BUS_ADDRESS set)\n", argv[0]);
        return 2;
    }
    g_SessionPath = argv[1];
    GError* error = nullptr;
    GDBusConnection* bus = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, &error);
    if (!bus) {
        std::fprintf(stderr, "no bus: %s\n", error->message);
        return 1;
    }
    GDBusNodeInfo* node = g_dbus_node_info_new_for_xml(kInterface, nullptr);
    const GDBusInterfaceVTable vtable = {OnCall, nullptr, nullptr, {}};
    g_dbus_connection_register_object(bus, "/org/freedesktop/login1", node->interfaces[0], &vtable, nullptr, nullptr,
                                      nullptr);
    g_bus_own_name_on_connection(bus, "org.freedesktop.login1", G_BUS_NAME_OWNER_FLAGS_NONE, OnNameAcquired, nullptr,
                                 nullptr, nullptr);
    GMainLoop* loop = g_main_loop_new(nullptr, FALSE);
    g_unix_signal_add(SIGTERM, OnTerm, loop);
    g_main_loop_run(loop);
    g_main_loop_unref(loop);
    g_dbus_node_info_unref(node);
    g_object_unref(bus);
    return 0;
}
