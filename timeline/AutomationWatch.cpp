#include "timeline/AutomationWatch.h"

#include <chrono>
#include <thread>

#include "core/AppState.h"
#include "core/Threads.h"

std::atomic<int64_t> g_TimelineAckedSeq{0};

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

void HandleTimelineAck(const std::string& text) {
    if (text.empty() || text.size() > 10) return;
    int64_t seq = 0;
    for (char c : text) {
        if (c < '0' || c > '9') return;
        seq = seq * 10 + (c - '0');
    }
    int64_t seen = g_TimelineAckedSeq;
    while (seen < seq && !g_TimelineAckedSeq.compare_exchange_weak(seen, seq)) {
    }
    // Passing through the mutex closes the gap with a waiter that has tested the number and not yet slept.
    { std::lock_guard<std::mutex> lock(g_TimelineAckMutex); }
    g_TimelineAckCv.notify_all();
}
