#include "engine/Playback.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <thread>

#include "core/Limits.h"
#include "core/Numbers.h"
#include "core/Threads.h"
#include "core/Wake.h"
#include "input/Injection.h"
#include "persist/Settings.h"
#include "timeline/AutomationWatch.h"

namespace {

int64_t SteadyNowNs() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

// The longest sleep between two looks at the clock: the smooth moves step at this pace.
constexpr int64_t kLongestSleepNs = 1000000;

void SleepNs(int64_t ns) { std::this_thread::sleep_for(std::chrono::nanoseconds(ns)); }

bool StillPlaying() { return isPlaying && g_AppRunning; }

void RequestTool(std::atomic<bool>& trigger) {
    trigger = true;
    WakeSignalProcessor();
}

}  // namespace

void PlayMacroPass(const std::vector<UnifiedEvent>& events, const PlaybackClock& clock) {
    // The cursor goes to the macro's first point before the clock starts.
    int64_t fromX = 0, fromY = 0, lastX = -1, lastY = -1;
    const auto firstPoint = std::find_if(events.begin(), events.end(), [](const UnifiedEvent& e) {
        return e.type == EventMoveAbs || e.type == EventMouseClick;
    });
    if (firstPoint != events.end()) {
        PlatformMoveMouseTo(static_cast<int>(firstPoint->x), static_cast<int>(firstPoint->y));
        fromX = lastX = firstPoint->x;
        fromY = lastY = firstPoint->y;
    } else {
        int x = 0, y = 0;
        PlatformCursorPosition(x, y);
        fromX = x;
        fromY = y;
    }

    const int64_t start = clock.nowNs();
    double prevDue = 0.0;
    for (const UnifiedEvent& e : events) {
        if (!StillPlaying()) break;
        const double speed = static_cast<double>(static_cast<float>(fPlaybackSpeed));  // read afresh per event
        double due = e.time / speed;
        if (!std::isfinite(due)) due = prevDue;  // a time or speed that isn't a number plays at once, never waits
        const bool smooth = due > prevDue && e.type == EventMoveAbs;
        // Against the pass's start instant, never the previous event, so lateness doesn't add up. Sleeps of
        // at most a millisecond (the smooth moves step between them) lead up to the due time; the rest is
        // spun, for as long as this thread's sleeps have lately woken late, since a sleep overshoots. A smooth
        // step before a sleep counts as lateness too: it holds up the next look just as a late wake does.
        int64_t sleptUntilNs = -1;
        for (;;) {
            const int64_t now = clock.nowNs();
            if (sleptUntilNs >= 0) NoteWakeLateness(static_cast<double>(now - sleptUntilNs));
            sleptUntilNs = -1;
            const double elapsed = static_cast<double>(now - start) / 1e9;
            if (elapsed >= due || !StillPlaying()) break;
            if (smooth) {
                const double fraction = std::clamp((elapsed - prevDue) / (due - prevDue), 0.0, 1.0);
                const int64_t tx = fromX + static_cast<int64_t>(static_cast<double>(e.x - fromX) * fraction);
                const int64_t ty = fromY + static_cast<int64_t>(static_cast<double>(e.y - fromY) * fraction);
                if (tx != lastX || ty != lastY) {
                    PlatformMoveMouseTo(static_cast<int>(tx), static_cast<int>(ty));
                    lastX = tx;
                    lastY = ty;
                }
            }
            // Written so that a due time that isn't a number (a speed of 0) sleeps rather than spins.
            const double sleepNs = (due - elapsed) * 1e9 - static_cast<double>(FinalSpinNs());
            if (!(sleepNs <= 0)) {
                const int64_t ns = sleepNs < kLongestSleepNs ? static_cast<int64_t>(sleepNs) : kLongestSleepNs;
                clock.sleepNs(ns);
                sleptUntilNs = now + ns;
            } else {
                std::this_thread::yield();
            }
        }
        prevDue = due;
        if (!StillPlaying()) break;

        switch (e.type) {
            case EventMoveAbs:
                PlatformMoveMouseTo(static_cast<int>(e.x), static_cast<int>(e.y));
                fromX = lastX = e.x;
                fromY = lastY = e.y;
                break;
            case EventMoveRel: PlatformMoveMouseBy(static_cast<int>(e.x), static_cast<int>(e.y)); break;
            case EventMouseClick:
                PlatformMoveMouseTo(static_cast<int>(e.x), static_cast<int>(e.y));
                PlatformMouseFlags(static_cast<unsigned long>(e.mouseFlags), static_cast<int>(e.x),
                                   static_cast<int>(e.y));
                fromX = e.x;
                fromY = e.y;
                break;
            case EventKey: PlatformKeyVk(e.vk, e.down); break;
            case EventScroll: PlatformScroll(e.scrollDelta, &isPlaying); break;
            case EventToolToggle:
                if (e.vk == 2) RequestTool(e.down ? triggerKeySpamStart : triggerKeySpamStop);
                if (e.vk == 1) RequestTool(e.down ? triggerAutoClickStart : triggerAutoClickStop);
                break;
            default: break;
        }
    }
}

void PlaybackThread() {
    PlatformNameThread("QVN playback");
    PlatformRaiseThreadPriority();
    if (!g_AppRunning) return;
    const PlaybackClock clock{SteadyNowNs, SleepNs};
    std::vector<UnifiedEvent> events;
    while (g_AppRunning) {
        if (!isPlaying) {
            WaitForWake(g_PlaybackWake);
            continue;
        }
        {
            std::lock_guard<std::mutex> lock(profileMutex);
            if (currentProfileIdx >= 0 && static_cast<size_t>(currentProfileIdx) < profiles.size()) {
                events = profiles[static_cast<size_t>(currentProfileIdx)].events;
            } else {
                events.clear();
            }
        }
        if (events.empty()) {
            isPlaying = false;
            continue;
        }
        NotifyTimelineAutomationState(true);
        PlayMacroPass(events, clock);

        if (bLoopSequence && isPlaying) {
            WaitIntervalOrWake(g_PlaybackWake, iLoopIntervalMs);
            continue;
        }
        // A macro that ends by itself releases nothing: it holds its own releases, as a recording does.
        isPlaying = false;
        if (g_StopToolsWithMacro) {
            triggerAutoClickStop = true;
            triggerKeySpamStop = true;
            WakeSignalProcessor();
        }
    }
}

bool ApplyTrackerUpdate(const std::string& text, std::string* why) {
    const std::vector<std::string> f = SplitString(text, ',');
    const auto refuse = [why](std::string sentence) {
        if (why) *why = std::move(sentence);
        return false;
    };
    if (f.size() < 8) return refuse("updateTracker: needs eight fields");
    float speed = 0;
    int32_t loopMs = 0;
    if (!ParseFloat(f[5], speed) || !IsValidPlaybackSpeed(speed)) {
        return refuse("updateTracker: the playback speed must be a number from 0.1 to 100, not \"" + f[5] + "\"");
    }
    if (!ParseInt(f[7], loopMs) || !IsValidLoopIntervalMs(loopMs)) {
        return refuse("updateTracker: the loop interval must be a whole number of milliseconds from 0 to " +
                      std::to_string(kMaxLoopIntervalMs) + ", not \"" + f[7] + "\"");
    }
    bRecordMouseMovement = f[0] == "true";
    bRecordMouseClicks = f[1] == "true";
    bRecordMouseScroll = f[2] == "true";
    bRecordKeyboard = f[3] == "true";
    bUseRelativeMouse = f[4] == "true";
    fPlaybackSpeed = speed;
    bLoopSequence = f[6] == "true";
    iLoopIntervalMs = loopMs;
    return true;
}
