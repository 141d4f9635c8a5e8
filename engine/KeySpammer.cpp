#include "engine/KeySpammer.h"

#include "core/AppState.h"
#include "core/Threads.h"
#include "core/Wake.h"
#include "engine/ToolSettings.h"
#include "input/Injection.h"
#include "persist/SessionFile.h"
#include "timeline/AutomationWatch.h"

namespace {

// A chord releases exactly the keys it pressed, even when the page edits the list in between.
void PressChord(int count) {
    int32_t chord[kMaxKeySpamTargets];
    for (int i = 0; i < count; ++i) {
        chord[i] = keySpamTargets[i];
        PlatformKeyVk(chord[i], true);
    }
    for (int i = 0; i < count; ++i) PlatformKeyVk(chord[i], false);
}

}  // namespace

void KeySpammerThread() {
    PlatformNameThread("QVN key spammer");
    PlatformRaiseThreadPriority();
    // The next target in sequence mode. It outlives a stop, so the next run goes on where this one ended.
    int position = 0;
    bool idle = true;
    Beat beat;
    while (g_AppRunning) {
        if (!isKeySpamming) {
            currentKeySpamCount = 0;
            idle = true;
            WaitForWake(g_KeySpamWake);
            continue;
        }
        if (idle) {
            idle = false;
            NotifyTimelineAutomationState(true);
            MeterRunStarts(g_KeySpamMeter);
            StartBeat(beat);
        }
        if (keySpamRepeatMode == 0 && currentKeySpamCount >= keySpamRepeatTimes) {
            isKeySpamming = false;
            ReleaseAllKeySpamTargets();
            continue;
        }
        // Read once: the whole round works on this count, whatever the page does meanwhile.
        int count = keySpamTargetCount;
        if (count <= 0) {
            isKeySpamming = false;
            continue;
        }
        if (count > kMaxKeySpamTargets) count = kMaxKeySpamTargets;
        if (position >= count) position = 0;
        int presses = 1;
        if (keySpamChordMode) {
            PressChord(count);
            presses = count;
        } else {
            const int vk = keySpamTargets[position];
            PlatformKeyVk(vk, true);
            PlatformKeyVk(vk, false);
            position = (position + 1) % count;
        }
        currentKeySpamCount.fetch_add(1);
        MeterCount(g_KeySpamMeter, presses, ToolClockNs());
        WaitBeatOrWake(
            g_KeySpamWake, beat,
            ToolIntervalMs(keySpamIntervalHours, keySpamIntervalMins, keySpamIntervalSecs, keySpamIntervalMs));
    }
}

bool ApplyKeySpamUpdate(const std::string& text, std::string* why) {
    int32_t f[6];
    if (!ParseDecimalFields(text, 6, f)) {
        if (why) *why = "updateKeySpam: needs six whole numbers";
        return false;
    }
    const std::string refusal = IntervalRefusal("updateKeySpam", f, f[5]);
    if (!refusal.empty()) {
        if (why) *why = refusal;
        return false;
    }
    keySpamIntervalHours = f[0];
    keySpamIntervalMins = f[1];
    keySpamIntervalSecs = f[2];
    keySpamIntervalMs = f[3];
    keySpamRepeatMode = f[4];
    keySpamRepeatTimes = f[5];
    SnapshotActiveProfileSettings();
    return true;
}

void SetKeySpamChordMode(const std::string& text) {
    keySpamChordMode = text == "1";
    SnapshotActiveProfileSettings();
}

void AppendKeySpamTarget(int vk) {
    const int count = keySpamTargetCount;
    if (count >= kMaxKeySpamTargets) return;
    keySpamTargets[count] = vk;
    keySpamTargetCount = count + 1;
    vkKeySpamTarget = keySpamTargets[0].load();
    SnapshotActiveProfileSettings();
}

void RemoveKeySpamTarget(int index) {
    const int count = keySpamTargetCount;
    if (index < 0 || index >= count) return;
    // Readers take the count as an upper bound: move the tail down first, then lower the count.
    for (int i = index; i + 1 < count; ++i) keySpamTargets[i] = keySpamTargets[i + 1].load();
    keySpamTargetCount = count - 1;
    if (count - 1 > 0) {
        vkKeySpamTarget = keySpamTargets[0].load();
        SnapshotActiveProfileSettings();
        return;
    }
    SnapshotActiveProfileSettings();
    if (isKeySpamming) {
        triggerKeySpamStop = true;
        WakeSignalProcessor();
    }
}

void ReleaseAllKeySpamTargets() {
    int count = keySpamTargetCount;
    if (count > kMaxKeySpamTargets) count = kMaxKeySpamTargets;
    for (int i = 0; i < count; ++i) PlatformKeyVk(keySpamTargets[i], false);
}
