#include "timeline/AutomationWatch.h"

#include <chrono>
#include <thread>

#include "core/AppState.h"
#include "core/Threads.h"

// No editor can be open yet, so there is nobody to tell.
void NotifyTimelineAutomationState(bool /*wait*/) {}

void TimelineAutomationWatcherThread() {
    PlatformNameThread("QVN timeline state");
    PlatformRaiseThreadPriority();
    if (!g_AppRunning) return;
    while (g_AppRunning) {
        NotifyTimelineAutomationState(false);
        std::this_thread::sleep_for(std::chrono::milliseconds(15));
    }
}
