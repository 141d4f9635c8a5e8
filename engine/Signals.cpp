#include "engine/Signals.h"

#include <string>

#include "core/AppState.h"
#include "core/BindArgs.h"
#include "core/Threads.h"
#include "core/Wake.h"
#include "engine/KeySpammer.h"
#include "engine/Recorder.h"
#include "input/Injection.h"

namespace {

// Exchanges a trigger with false: true when it was set, and then it is taken.
bool Take(std::atomic<bool>& trigger) { return trigger.exchange(false); }

void ApplyCapturedKey() {
    const int code = currentReassign;
    const int key = capturedReassignKey;
    if (code == 0 || key == 0) return;
    if (key != 27) {  // Escape cancels the capture
        switch (code) {
            case 1: vkRecord = key; break;
            case 2: vkPlay = key; break;
            case 3: vkAutoClicker = key; break;
            case 4: vkKeySpamHotkey = key; break;
            case 5: AppendKeySpamTarget(key); break;
            case 6: vkUnlock = key; break;
            default: break;
        }
    }
    currentReassign = 0;
    capturedReassignKey = 0;
    InputSettingsChanged();
}

void StartNewRecording() {
    std::lock_guard<std::mutex> lock(profileMutex);
    StartFreshRecordingLocked();
}

void StartContinuedRecording() {
    std::lock_guard<std::mutex> lock(profileMutex);
    StartContinuedRecordingLocked();
}

void EndRecording() {
    isRecording = false;
    FinishRecording();
    StopToolsIfEnabled();
}

void ReleaseMacroButtons() {
    // A macro's stop lifts left and right only; a middle button pressed by the macro stays down.
    PlatformMouseButtonUp(0);
    PlatformMouseButtonUp(1);
}

void ReleaseSpammerButtons() {
    PlatformMouseButtonUp(0);
    PlatformMouseButtonUp(1);
    PlatformMouseButtonUp(2);
}

// A start that can do nothing (a counted run of 0 rounds, a Key Spammer without keys) is told to the page,
// so that a hotkey doesn't seem dead. A macro's own starts are not: its playback goes on regardless.
void TellIfStartDoesNothing(bool spammer) {
    if (isPlaying || !g_MasterEvalFn) return;
    const char* why = nullptr;
    if (spammer) {
        if (autoClickRepeatMode == 0 && autoClickRepeatTimes <= 0) why = "sp-rounds";
    } else if (keySpamTargetCount <= 0) {
        why = "ks-keys";
    } else if (keySpamRepeatMode == 0 && keySpamRepeatTimes <= 0) {
        why = "ks-rounds";
    }
    if (why) g_MasterEvalFn(std::string("if (window.onToolStartIgnored) window.onToolStartIgnored('") + why + "');");
}

}  // namespace

void SignalProcessorThread() {
    PlatformNameThread("QVN signals");
    PlatformRaiseThreadPriority();
    if (!g_AppRunning) return;
    while (g_AppRunning) {
        ProcessSignals();
        WaitForWake(g_SignalWake);
    }
}

void ProcessSignals() {
    const bool wasAutoClicking = isAutoClicking;
    const bool wasKeySpamming = isKeySpamming;

    ApplyCapturedKey();

    if (Take(triggerRecord)) {
        if (isPlaying) {
            // dropped: recording and playback exclude each other
        } else if (isRecording) {
            EndRecording();
        } else {
            StartNewRecording();
        }
    }
    if (Take(triggerRecordStart) && !isPlaying && !isRecording) StartNewRecording();
    if (Take(triggerRecordContinue) && !isPlaying && !isRecording) StartContinuedRecording();
    if (Take(triggerUndoContinue)) {
        std::lock_guard<std::mutex> lock(profileMutex);
        UndoContinueLocked();
    }
    if (Take(triggerRecordStop) && isRecording) EndRecording();

    if (Take(triggerPlay) && !isRecording) {
        const bool nowPlaying = !isPlaying;
        isPlaying = nowPlaying;
        if (!nowPlaying) {
            ReleaseMacroButtons();
            StopToolsIfEnabled();
        }
        WakePlaybackThread();
    }
    if (Take(triggerPlayStart) && !isRecording && !isPlaying) {
        isPlaying = true;
        WakePlaybackThread();
    }
    if (Take(triggerPlayStop) && !isRecording && isPlaying) {
        isPlaying = false;
        ReleaseMacroButtons();
        StopToolsIfEnabled();
        WakePlaybackThread();
    }

    if (Take(triggerAutoClicker)) {
        const bool nowClicking = !isAutoClicking;
        if (nowClicking) TellIfStartDoesNothing(true);
        isAutoClicking = nowClicking;
        if (!nowClicking) ReleaseSpammerButtons();
        WakeAutoClickThread();
    }
    if (Take(triggerAutoClickStart) && !isAutoClicking) {
        TellIfStartDoesNothing(true);
        isAutoClicking = true;
        WakeAutoClickThread();
    }
    if (Take(triggerAutoClickStop) && isAutoClicking) {
        isAutoClicking = false;
        ReleaseSpammerButtons();
        WakeAutoClickThread();
    }

    if (Take(triggerKeySpam)) {
        if (isKeySpamming) {
            isKeySpamming = false;
            ReleaseAllKeySpamTargets();
        } else {
            TellIfStartDoesNothing(false);
            if (keySpamTargetCount > 0) isKeySpamming = true;
        }
        WakeKeySpamThread();
    }
    if (Take(triggerKeySpamStart) && !isKeySpamming) {
        TellIfStartDoesNothing(false);
        if (keySpamTargetCount > 0) {
            isKeySpamming = true;
            WakeKeySpamThread();
        }
    }
    if (Take(triggerKeySpamStop) && isKeySpamming) {
        isKeySpamming = false;
        ReleaseAllKeySpamTargets();
        WakeKeySpamThread();
    }

    if (isRecording) {
        const bool autoNow = isAutoClicking;
        const bool keyNow = isKeySpamming;
        if (autoNow != wasAutoClicking) RecordToolToggle(1, autoNow);
        if (keyNow != wasKeySpamming) RecordToolToggle(2, keyNow);
    }
}

void StopToolsIfEnabled() {
    if (!g_StopToolsWithMacro) return;
    triggerAutoClickStop = true;
    triggerKeySpamStop = true;
}

void RecordToolToggle(int tool, bool on) {
    UnifiedEvent e;
    e.type = EventToolToggle;
    e.time = RecordElapsedSeconds();
    e.vk = tool;
    e.down = on;
    RecordEvent(e);
}

std::string BindReassignKey(const std::string& arg) {
    static const struct {
        const char* word;
        int code;
    } kWords[] = {{"rec", 1}, {"play", 2}, {"auto", 3}, {"keyspamhotkey", 4}, {"keyspamtarget", 5}, {"unlock", 6}};
    const std::string word = ParseJSString(arg);
    for (const auto& w : kWords) {
        if (word == w.word) {
            currentReassign = w.code;
            InputSettingsChanged();
            break;
        }
    }
    return "";
}
