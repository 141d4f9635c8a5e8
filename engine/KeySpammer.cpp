#include "engine/KeySpammer.h"

#include "core/AppState.h"
#include "core/Threads.h"
#include "core/Wake.h"
#include "input/Injection.h"
#include "persist/SessionFile.h"

void KeySpammerThread() {
    PlatformNameThread("QVN key spammer");
    PlatformRaiseThreadPriority();
    if (!g_AppRunning) return;
    while (g_AppRunning) {
        if (!isKeySpamming) currentKeySpamCount = 0;
        WaitForWake(g_KeySpamWake);
    }
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
