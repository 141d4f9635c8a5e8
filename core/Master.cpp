#include "core/Master.h"

#include <cstdio>

#include "bridge/WebView.h"
#include "core/AppState.h"
#include "core/Threads.h"
#include "persist/AppSettings.h"
#include "persist/SessionFile.h"
#include "platform/Platform.h"
#include "platform/Window.h"
#include "themes/ThemeWatch.h"
#include "themes/Themes.h"

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
    PlatformApplyLaunchOnStartup(g_LaunchOnStartup);
    g_CurrentTheme = LoadThemeFromFile();
    ScanCustomThemes();
    PlatformWatchDirectory(GetThemesDirPath(), OnThemesFolderChanged);

    StartThreads();

    {
        WebView w(false);
        if (!w.ok()) {
            std::fprintf(stderr, "Quorvane: no window can be opened here (no usable display).\n");
            ShutDown();
            return 1;
        }
        // Before anything slow: the window may already be on screen, and a SIGTERM must end it cleanly.
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
