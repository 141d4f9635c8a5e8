#include <X11/Xlib.h>
#include <glib.h>
#include <webkit/webkit.h>

#include <cstdlib>

#include "platform/StartupChecks.h"

void PlatformWebEngineVersion(int& major, int& minor, int& micro) {
    major = static_cast<int>(webkit_get_major_version());
    minor = static_cast<int>(webkit_get_minor_version());
    micro = static_cast<int>(webkit_get_micro_version());
}

void PlatformPrepareWebEngine() {
    // The engine draws through OpenGL where it can. Without direct rendering (an X server without DRI3: a
    // virtual display, a remote one) that is Mesa's rasteriser on the processor, slower than the engine's
    // own drawing there: the Timeline Editor's 100,000 events were painted 0.4 s later (1.8-1.9 s against
    // 1.3-1.6 s) and its window came 0.1 s later. A choice made in the environment stands.
    if (std::getenv("WEBKIT_SKIA_ENABLE_CPU_RENDERING")) return;
    Display* display = XOpenDisplay(nullptr);
    if (!display) return;
    int opcode = 0, event = 0, error = 0;
    const bool direct = XQueryExtension(display, "DRI3", &opcode, &event, &error);
    XCloseDisplay(display);
    if (!direct) setenv("WEBKIT_SKIA_ENABLE_CPU_RENDERING", "1", 0);
}

void PlatformOpenSoftwareUpdate() {
    // The updaters of the common desktops, each opened on its updates view.
    static const char* const kUpdaters[][3] = {
        {"gnome-software", "--mode=updates", nullptr},
        {"plasma-discover", "--mode=update", nullptr},
        {"update-manager", nullptr, nullptr},
    };
    for (const auto& updater : kUpdaters) {
        gchar* found = g_find_program_in_path(updater[0]);
        if (!found) continue;
        const gchar* argv[] = {found, updater[1], nullptr};
        g_spawn_async(nullptr, const_cast<gchar**>(argv), nullptr, G_SPAWN_DEFAULT, nullptr, nullptr, nullptr, nullptr);
        g_free(found);
        return;
    }
}
