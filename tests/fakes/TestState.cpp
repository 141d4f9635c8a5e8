#include <stdlib.h>

#include <filesystem>
#include <thread>

#include "core/AppState.h"
#include "core/Wake.h"
#include "engine/Recorder.h"
#include "input/Injection.h"
#include "persist/Settings.h"
#include "tests/fakes/Fakes.h"
#include "themes/Themes.h"

void ResetAppState() {
    ConnectRecorderToTap();
    {
        std::lock_guard<std::mutex> lock(profileMutex);
        profiles.assign(1, MacroProfile{kDefaultProfileName, "", {}});
        currentProfileIdx = 0;
        g_ContinueUndoProfile = -1;
        g_ContinueUndoBefore.clear();
        g_ContinueUndoAfter.clear();
        g_RecordFirstNewIdx = 0;
    }
    for (auto* flag : {&isRecording,        &isPlaying,           &isAutoClicking,        &isKeySpamming,
                       &isPickingLocation,  &triggerAutoClicker,  &triggerAutoClickStart, &triggerAutoClickStop,
                       &triggerKeySpam,     &triggerKeySpamStart, &triggerKeySpamStop,    &triggerRecord,
                       &triggerRecordStart, &triggerRecordStop,   &triggerRecordContinue, &triggerUndoContinue,
                       &triggerPlay,        &triggerPlayStart,    &triggerPlayStop,       &g_HoldModeAuto,
                       &g_HoldModeKeySpam,  &keySpamChordMode}) {
        *flag = false;
    }
    g_HotkeysEnabled = true;
    g_HotkeyLockEnabled = true;
    g_HotkeysUnlocked = true;
    g_StopToolsWithMacro = true;
    g_AppRunning = true;
    currentReassign = 0;
    capturedReassignKey = 0;
    currentClickCount = 0;
    currentKeySpamCount = 0;
    vkRecord = kDefaultVkRecord;
    vkPlay = kDefaultVkPlay;
    vkAutoClicker = kDefaultVkAutoClicker;
    vkKeySpamHotkey = kDefaultVkKeySpamHotkey;
    vkUnlock = kDefaultVkUnlock;
    for (auto& t : keySpamTargets) t = 0;
    ResetSpammerKeySpamDefaults();
    for (auto* flag : {&bRecordMouseMovement, &bRecordMouseClicks, &bRecordMouseScroll, &bRecordKeyboard}) *flag = true;
    bUseRelativeMouse = false;
    fPlaybackSpeed = 1.0f;
    bLoopSequence = false;
    iLoopIntervalMs = 500;
    g_HeldButtons = 0;
    for (WakeEvent* ev : {&g_SignalWake, &g_AutoClickWake, &g_KeySpamWake, &g_PlaybackWake}) ev->signalled = false;
    ClearFakeInputCalls();
    {
        std::lock_guard<std::recursive_mutex> lock(g_ThemesMutex);
        g_CustomThemes.clear();
        g_SkinCache = SkinCache{};
    }
    g_PendingThemeAlert.clear();
    g_CurrentTheme = "quorvane";
}

bool WaitUntil(const std::function<bool()>& done, std::chrono::milliseconds limit) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!done()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

TempDir::TempDir() {
    char tmpl[] = "/tmp/qvn-test-XXXXXX";
    path_ = mkdtemp(tmpl);
}

TempDir::~TempDir() { std::filesystem::remove_all(path_); }
