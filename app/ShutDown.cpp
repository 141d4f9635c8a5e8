#include <chrono>

#include "app/Master.h"
#include "bridge/Ipc.h"
#include "core/AppState.h"
#include "core/Wake.h"
#include "engine/Signals.h"
#include "input/InputTap.h"
#include "input/Keys.h"
#include "persist/AppSettings.h"
#include "persist/SessionFile.h"
#include "platform/Platform.h"
#include "platform/Window.h"
#include "themes/Themes.h"
#include "timeline/AutomationWatch.h"

void CancelUpdates() {
    std::lock_guard<std::mutex> lock(g_UpdateUiMutex);
    g_UpdateInstallCancel = true;
}

void SaveGeometry() {
    void* window = g_MasterWindow;
    if (!window) return;
    int x = 0, y = 0, width = 0, height = 0;
    bool maximized = false;
    if (!PlatformGetWindowPlacement(window, x, y, width, height, maximized)) return;
    if (width <= 0 || height <= 0) return;
    g_SavedWindowX = x;
    g_SavedWindowY = y;
    g_SavedWindowWidth = width;
    g_SavedWindowHeight = height;
    g_SavedMaximized = maximized;
    g_HasSavedWindowPos = true;
    SaveAppSettings();
}

void ShutDown() {
    static std::atomic<bool> done{false};
    if (done.exchange(true)) return;

    CancelUpdates();
    if (g_MasterWindow) SaveGeometry();
    // The final save waits for the profiles (a recording's last events, a playback's copy) rather than
    // giving up at once like the autosave; two seconds at most, so a stuck lock can't hold the exit.
    SaveSessionStateAtExit(std::chrono::seconds(2));
    g_AppRunning = false;
    EndThemeRescans();

    // Release the mouse buttons and the Key Spammer's keys before the input services go away.
    triggerAutoClickStop = true;
    triggerKeySpamStop = true;
    ProcessSignals();
    PlatformStopInputTap();
    PlatformStopIpcServer();
    PlatformStopKeysWatch();

    {
        std::lock_guard<std::mutex> lock(g_ChildrenMutex);
        for (const auto& [panel, pid] : g_ActiveChildProcesses) PlatformSignalChild(pid, 15);
        g_ActiveChildProcesses.clear();
    }

    Wake(g_SignalWake);
    Wake(g_AutoClickWake);
    Wake(g_KeySpamWake);
    Wake(g_PlaybackWake);
    WakeTimelineWatcher();
    WakeSessionAutosave();

    for (auto& t : g_Threads) {
        if (t.joinable()) t.join();
    }
    while (!g_Threads.empty()) g_Threads.pop_back();
}
