#include "core/Master.h"

#include <cstdio>

#include "bridge/WebView.h"
#include "core/AppState.h"
#include "core/Threads.h"
#include "input/Keys.h"
#include "persist/AppSettings.h"
#include "persist/SessionFile.h"
#include "platform/Platform.h"
#include "platform/Window.h"

namespace {

constexpr const char* kWindowTitle = "Quorvane (Pro Version 1.0.1)";

}  // namespace

void LoadMainUi(WebView& w) {
    g_MainPageReady = false;
    w.set_html(MainUiDocument(PlatformResourceDir()));
}

int RunMaster() {
    if (!PlatformAcquireSingleInstanceLock()) {
        PlatformActivateOtherInstance();
        return 0;
    }

    g_SessionStateFilePath = PlatformDataDir() + "/session.dat";
    if (!LoadSessionState()) profiles.push_back(MacroProfile{kDefaultProfileName, "", {}});
    EnsureDefaultProfileExists();
    LoadAppSettings();

    StartThreads();
    PlatformKeysWatchLayout();

    {
        WebView w(false);
        if (!w.ok()) {
            std::fprintf(stderr, "Quorvane: no window can be opened here (no usable display).\n");
            ShutDown();
            return 1;
        }
        // The window shows as soon as it exists: a SIGTERM from then on must end the app cleanly. A quit
        // that comes before run() is queued on the window's loop and ends it as soon as it starts.
        PlatformInstallQuitHandler([&w] { w.terminate(); });
        g_MasterWindow = w.window();
        g_MasterEvalFn.Set([&w](const std::string& script) { w.dispatch([&w, script] { w.eval(script); }); });
        w.set_title(kWindowTitle);
        w.set_size(420, 560, SizeHint::None);
        LoadMainUi(w);
        if (g_StartMinimized) {
            // minimising arrives with the window shell
        } else {
            PlatformBringToFront(w.window());
        }

        w.run();

        CancelUpdates();
        SaveGeometry();
        PlatformInstallQuitHandler(nullptr);
        g_MasterEvalFn.Clear();
        g_MasterWindow = nullptr;
    }
    ShutDown();
    return 0;
}
