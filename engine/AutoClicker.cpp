#include "engine/AutoClicker.h"

#include "core/AppState.h"
#include "core/Threads.h"
#include "core/Wake.h"

// Clicking itself comes with mouse injection; until then the thread keeps its place in the start-up
// order and sleeps on its wake event.
void AutoClickerThread() {
    PlatformNameThread("QVN autoclicker");
    PlatformRaiseThreadPriority();
    if (!g_AppRunning) return;
    while (g_AppRunning) {
        if (!isAutoClicking) currentClickCount = 0;
        WaitForWake(g_AutoClickWake);
    }
}
