#include "app/Master.h"

#include <atomic>
#include <cstdio>
#include <memory>

#include "bridge/Ipc.h"
#include "bridge/MainBindings.h"
#include "bridge/WebView.h"
#include "core/AppState.h"
#include "core/Threads.h"
#include "input/InputTap.h"
#include "input/Keys.h"
#include "persist/AppSettings.h"
#include "persist/SessionFile.h"
#include "platform/Platform.h"
#include "platform/Window.h"
#include "themes/ThemeWatch.h"
#include "themes/Themes.h"
#include "update/Update.h"

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
    CleanupUpdateTempFiles();

    // Temporary files of writes that a kill cut short; the files they were meant for are whole.
    PlatformRemoveStaleTempFiles(PlatformDataDir());
    PlatformRemoveStaleTempFiles(GetThemesDirPath());
    g_SessionStateFilePath = PlatformDataDir() + "/session.dat";
    if (!LoadSessionState()) profiles.push_back(MacroProfile{kDefaultProfileName, "", {}});
    EnsureDefaultProfileExists();
    LoadAppSettings();
    PlatformApplyLaunchOnStartup(g_LaunchOnStartup);
    g_CurrentTheme = LoadThemeFromFile();
    ScanCustomThemes();
    PlatformWatchDirectory(GetThemesDirPath(), OnThemesFolderChanged);

    StartThreads();
    PlatformKeysWatchLayout();
    PlatformStartIpcServer(HandleIpcMessage);  // without it the app runs on, with pop-out panels off

    {
        WebView w(false);
        if (!w.ok()) {
            std::fprintf(stderr, "Quorvane: no window can be opened here (no usable display).\n");
            ShutDown();
            return 1;
        }
        // The window shows as soon as it exists: a SIGTERM from then on must end the app cleanly. A quit
        // that comes before run() is queued on the window's loop and ends it as soon as it starts.
        // Any quit ends an open message box or file chooser as a cancel first: their wait would hold it up.
        PlatformInstallQuitHandler([&w] {
            w.terminate();
            PlatformCloseOpenDialogs();  // and wakes the loop, which then sees the terminate
        });
        g_MasterWindow = w.window();
        // False once the window is destroyed (its close button) or the loop has ended: a script queued
        // before that is dropped rather than run against a web view that is going away.
        auto viewAlive = std::make_shared<std::atomic<bool>>(true);
        g_MasterEvalFn.Set([&w, viewAlive](const std::string& script) {
            if (!*viewAlive) return;
            w.dispatch([&w, script, viewAlive] {
                if (*viewAlive) w.eval(script);
            });
        });
        w.set_title(kWindowTitle);
        w.set_size(420, 560, SizeHint::None);
        w.init(kDocumentStartScript);
        BindMainWindow(w);
        // Without the tap the page still loads: the tools and the page work, hotkeys and recording don't.
        InputReady();
        LoadMainUi(w);

        void* window = w.window();
        if (g_HasSavedWindowPos) {
            PlatformRestoreWindowPlacement(window, g_SavedWindowX, g_SavedWindowY, g_SavedWindowWidth,
                                           g_SavedWindowHeight, g_SavedMaximized && !g_StartMinimized);
            SaveGeometry();
        }
        if (g_AlwaysOnTop) PlatformSetAlwaysOnTop(window, true);
        if (g_StartMinimized) {
            PlatformMinimize(window);
        } else {
            PlatformBringToFront(window);
        }
        PlatformInstallLifecycleHooks(window, SaveGeometry, [viewAlive] {
            *viewAlive = false;
            g_MasterWindow = nullptr;  // the placement was saved on the close request; nothing reads it now
        });
        PlatformInstallSessionLockHook(InputTapOnSessionLocked);
        PlatformInstallWindowShortcuts(window, [&w] {
            w.terminate();
            PlatformCloseOpenDialogs();  // and wakes the loop, which then sees the terminate
        });
        StartUpdateCheckThread();

        w.run();

        *viewAlive = false;
        CancelUpdates();
        SaveGeometry();  // only while the window exists: a closed one saved its placement as it closed
        PlatformInstallQuitHandler(nullptr);
        g_MasterEvalFn.Clear();
        g_MasterWindow = nullptr;
    }
    ShutDown();
    return 0;
}
