#include "core/Hotkeys.h"

#include "core/AppState.h"
#include "core/Wake.h"

namespace {

// The tap hands keys over as unsigned numbers; a hotkey compares with its value widened the same way.
bool IsHotkey(unsigned long key, const std::atomic<int32_t>& hotkey) {
    return key == static_cast<unsigned long>(static_cast<long>(hotkey.load()));
}

}  // namespace

bool HotkeysLive() { return !g_HotkeyLockEnabled || g_HotkeysUnlocked; }
bool HoldModeAuto() { return g_HoldModeAuto; }
bool HoldModeKeySpam() { return g_HoldModeKeySpam; }

bool HandleHotkeyDown(unsigned long key) {
    if (IsHotkey(key, vkUnlock) && g_HotkeyLockEnabled) {
        const bool unlocked = !g_HotkeysUnlocked;
        g_HotkeysUnlocked = unlocked;
        if (!unlocked) {
            triggerAutoClickStop = true;
            triggerKeySpamStop = true;
            triggerPlayStop = true;
        }
        WakeSignalProcessor();
        return true;
    }
    if (g_HotkeyLockEnabled && !g_HotkeysUnlocked) return false;
    if (IsHotkey(key, vkRecord)) {
        triggerRecord = true;
    } else if (IsHotkey(key, vkPlay)) {
        triggerPlay = true;
    } else if (IsHotkey(key, vkAutoClicker)) {
        (g_HoldModeAuto ? triggerAutoClickStart : triggerAutoClicker) = true;
    } else if (IsHotkey(key, vkKeySpamHotkey)) {
        (g_HoldModeKeySpam ? triggerKeySpamStart : triggerKeySpam) = true;
    } else {
        return false;
    }
    WakeSignalProcessor();
    return true;
}

void OnHotkeyReleased(unsigned long key) {
    if (IsHotkey(key, vkAutoClicker) && g_HoldModeAuto) {
        triggerAutoClickStop = true;
        WakeSignalProcessor();
    }
    if (IsHotkey(key, vkKeySpamHotkey) && g_HoldModeKeySpam) {
        triggerKeySpamStop = true;
        WakeSignalProcessor();
    }
}

void ApplyHoldMode(const std::string& text) {
    const auto comma = text.find(',');
    if (comma == std::string::npos) return;
    const std::string word = text.substr(0, comma);
    const bool on = text.substr(comma + 1) == "1";
    if (word == "auto") {
        g_HoldModeAuto = on;
    } else if (word == "keyspam") {
        g_HoldModeKeySpam = on;
    }
}
