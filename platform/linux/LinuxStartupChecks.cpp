#include <glib.h>
#include <webkit/webkit.h>

#include "platform/StartupChecks.h"

void PlatformWebEngineVersion(int& major, int& minor, int& micro) {
    major = static_cast<int>(webkit_get_major_version());
    minor = static_cast<int>(webkit_get_minor_version());
    micro = static_cast<int>(webkit_get_micro_version());
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
