#include "app/Master.h"

#include <atomic>
#include <cstdio>
#include <memory>

#include "app/BootPage.h"
#include "app/OpenedFiles.h"
#include "bridge/Ipc.h"
#include "bridge/MainBindings.h"
#include "bridge/ViewScripts.h"
#include "bridge/WebView.h"
#include "core/AppState.h"
#include "core/Threads.h"
#include "input/InputTap.h"
#include "input/Keys.h"
#include "persist/AppSettings.h"
#include "persist/SessionFile.h"
#include "platform/FileOpen.h"
#include "platform/Platform.h"
#include "platform/Window.h"
#include "themes/ThemeWatch.h"
#include "themes/Themes.h"
#include "update/Update.h"

namespace {

constexpr const char* kWindowTitle = "Quorvane (Pro Version 1.0.1)";

// A second start passes its files to the master that runs, one message each, as absolute paths: the master's
// working folder is not ours.
void HandOverFiles(const std::vector<std::string>& files) {
    const std::string cwd = PlatformCurrentDirectory();
    for (const std::string& arg : files) {
        const std::string path = OpenedPathFromArgument(arg, cwd);
        if (path.empty()) {
            std::fprintf(stderr, "Quorvane: \"%s\" is not a file on this computer.\n", arg.c_str());
        } else if (path.size() + sizeof "openFile|" > kIpcMessageLimit) {
            std::fprintf(stderr, "Quorvane: the path of \"%s\" is too long to hand to the running Quorvane.\n",
                         arg.c_str());
        } else {
            SendIPCMessage("openFile", path);
        }
    }
}

}  // namespace

void LoadMainUi(WebView& w) {
    g_MainPageReady = false;
    w.set_html(MainUiDocument(PlatformResourceDir()));
}

int RunMaster(const std::vector<std::string>& files) {
    if (!PlatformAcquireSingleInstanceLock()) {
        HandOverFiles(files);
        PlatformActivateOtherInstance();
        return 0;
    }
    CleanupUpdateTempFiles();
    // Served from the window's loop once it runs.
    const std::string cwd = PlatformCurrentDirectory();
    for (const std::string& arg : files) {
        const std::string path = OpenedPathFromArgument(arg, cwd);
        if (!path.empty()) g_EarlyOpenedPaths.push_back(path);
    }

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
        // Gone once the window is destroyed (its close button) or the loop has ended: a script queued
        // before that is dropped rather than run against a web view that is going away.
        const ViewScripts scripts([&w](std::function<void()> task) { w.dispatch(std::move(task)); },
                                  [&w](const std::string& script) { w.eval(script); });
        g_MasterEvalFn.Set([scripts](const std::string& script) { scripts.Run(script); });
        w.set_title(kWindowTitle);
        w.set_size(420, 560, SizeHint::None);
        w.init(kDocumentStartScript);
        BindMainWindow(w);
        BindBootPage(w);
        PlatformKeepPageInView(w.browser());
        // The main page, or the boot page when global input or the web engine is missing.
        LoadStartPage(w);

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
        PlatformInstallLifecycleHooks(window, SaveGeometry, [scripts] {
            scripts.ViewGone();
            g_MasterWindow = nullptr;  // the placement was saved on the close request; nothing reads it now
        });
        PlatformInstallSessionLockHook(InputTapOnSessionLocked);
        PlatformInstallWindowShortcuts(window, [&w] {
            w.terminate();
            PlatformCloseOpenDialogs();  // and wakes the loop, which then sees the terminate
        });
        PlatformInstallFileDrop(window, HandleDroppedFiles);
        InstallFileOpenHandler(HandleOpenedFiles);
        StartUpdateCheckThread();

        w.run();

        scripts.ViewGone();
        CancelUpdates();
        SaveGeometry();  // only while the window exists: a closed one saved its placement as it closed
        PlatformInstallQuitHandler(nullptr);
        g_MasterEvalFn.Clear();
        g_MasterWindow = nullptr;
    }
    ShutDown();
    return 0;
}
