#include "engine/AutoClicker.h"

#include <chrono>
#include <thread>

#include "core/AppState.h"
#include "core/Threads.h"
#include "core/Wake.h"
#include "engine/ToolSettings.h"
#include "input/Injection.h"
#include "persist/SessionFile.h"

namespace {

// Applications take two presses as a double click by their timing; 15 ms apart is well inside every
// desktop's double-click time and long enough for slow readers to see two clicks.
constexpr auto kDoubleClickGap = std::chrono::milliseconds(15);
// Sleeping is coarse: sleep to 2 ms before the gap ends and yield the processor through the rest.
constexpr auto kDoubleClickSleep = std::chrono::milliseconds(13);

void DoubleClick(int button) {
    using Clock = std::chrono::steady_clock;
    PlatformMouseClick(button, 1);
    const Clock::time_point t = Clock::now();
    std::this_thread::sleep_for(kDoubleClickSleep - (Clock::now() - t));
    while (Clock::now() - t < kDoubleClickGap) std::this_thread::yield();
    PlatformMouseClick(button, 2);
}

}  // namespace

void AutoClickerThread() {
    PlatformNameThread("QVN autoclicker");
    PlatformRaiseThreadPriority();
    bool idle = true;
    Beat beat;
    while (g_AppRunning) {
        if (!isAutoClicking) {
            currentClickCount = 0;
            idle = true;
            WaitForWake(g_AutoClickWake);
            continue;
        }
        if (idle) {
            idle = false;
            MeterRunStarts(g_SpammerMeter);
            StartBeat(beat);
        }
        // Compared before the click, so a repeat count of 0 clicks nothing. Every click is complete by now:
        // nothing is left to release.
        if (autoClickRepeatMode == 0 && currentClickCount >= autoClickRepeatTimes) {
            isAutoClicking = false;
            continue;
        }
        // Before every round, so that a hand on the mouse between rounds doesn't move where clicks land.
        if (autoClickLocationMode == 1) PlatformMoveMouseTo(autoClickFixedX, autoClickFixedY);
        const int button = autoClickerButtonIdx;
        int clicks = 0;
        if (button >= 0 && button < 3) {
            if (autoClickClickType == 1) {
                DoubleClick(button);
                clicks = 2;
            } else {
                PlatformMouseClick(button, 1);
                clicks = 1;
            }
        }
        currentClickCount.fetch_add(1);
        MeterCount(g_SpammerMeter, clicks, ToolClockNs());
        WaitBeatOrWake(
            g_AutoClickWake, beat,
            ToolIntervalMs(autoClickIntervalHours, autoClickIntervalMins, autoClickIntervalSecs, autoClickIntervalMs));
    }
}

bool ApplySpammerUpdate(const std::string& text, std::string* why) {
    int32_t f[9];
    if (!ParseDecimalFields(text, 9, f)) {
        if (why) *why = "updateSpammer: needs nine whole numbers";
        return false;
    }
    const std::string refusal = IntervalRefusal("updateSpammer", f, f[7]);
    if (!refusal.empty()) {
        if (why) *why = refusal;
        return false;
    }
    autoClickIntervalHours = f[0];
    autoClickIntervalMins = f[1];
    autoClickIntervalSecs = f[2];
    autoClickIntervalMs = f[3];
    autoClickerButtonIdx = f[4];
    autoClickClickType = f[5];
    autoClickRepeatMode = f[6];
    autoClickRepeatTimes = f[7];
    autoClickLocationMode = f[8];
    SnapshotActiveProfileSettings();
    return true;
}
