#include "timeline/AutomationWatch.h"

#include <chrono>
#include <mutex>

#include "core/AppState.h"
#include "core/Threads.h"
#include "core/Wake.h"
#include "timeline/EditorProcess.h"
#include "timeline/TimelineExchange.h"

int64_t g_TimelineStateSeq = 0;
int64_t g_TimelineGaveUpSeq = 0;
int32_t g_TimelineToldPid = 0;
int32_t g_TimelineToldBusy = -1;
std::atomic<int64_t> g_TimelineAckedSeq{0};

void NotifyTimelineAutomationState(bool wait) {
    const int pid = OpenTimelineEditorPid();
    const int busy = isPlaying || isRecording || isKeySpamming ? 1 : 0;
    int64_t seq = 0;
    {
        std::lock_guard<std::mutex> lock(g_TimelineStateMutex);
        if (pid == 0) {
            g_TimelineToldPid = 0;
            g_TimelineToldBusy = -1;
            return;
        }
        if (pid == g_TimelineToldPid && busy == g_TimelineToldBusy) {
            // Told already. A starting tool still waits if the editor hasn't taken it in, but only once
            // per number: a hung page costs one half second, not one per start.
            if (!wait || g_TimelineAckedSeq >= g_TimelineStateSeq || g_TimelineGaveUpSeq == g_TimelineStateSeq) return;
        }
        seq = ++g_TimelineStateSeq;
        g_TimelineToldPid = pid;
        g_TimelineToldBusy = busy;
        WriteTimelineFileAtomic(TimelineDataFilePath("timeline-state.txt"),
                                std::to_string(seq) + " " + std::to_string(busy));
    }
    if (!wait) return;
    std::unique_lock<std::mutex> ack(g_TimelineAckMutex);
    const bool answered = g_TimelineAckCv.wait_for(ack, std::chrono::milliseconds(kTimelineAckWaitMs),
                                                   [seq] { return g_TimelineAckedSeq >= seq || !g_AppRunning; });
    if (answered) return;
    std::lock_guard<std::mutex> lock(g_TimelineStateMutex);  // order: ack mutex, then state mutex
    g_TimelineGaveUpSeq = seq;
}

namespace {

WakeEvent g_WatcherWake;

}  // namespace

void WakeTimelineWatcher() { Wake(g_WatcherWake); }

void TimelineAutomationWatcherThread() {
    PlatformNameThread("QVN timeline state");
    PlatformRaiseThreadPriority();
    if (!g_AppRunning) return;
    while (g_AppRunning) {
        NotifyTimelineAutomationState(false);
        bool editor = false;
        {
            std::lock_guard<std::mutex> lock(g_TimelineStateMutex);
            editor = g_TimelineToldPid != 0;
        }
        // Every 15 ms while an editor runs. Without one the app is idle here: an editor that comes asks for
        // its macro (or is started by us), which wakes this thread; the second's look is for one that hasn't.
        WaitForWakeAtMost(g_WatcherWake, editor ? kTimelineWatchMs : kTimelineIdleWatchMs);
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
