// The hotkey rules: what a press or release of a key does to the triggers. They read and set only the
// shared state and wake the signal processor, so the input tap can call them without knowing the tools.
#pragma once

#include <string>

// Called by the tap, on its thread, for the first press of a key or button while hotkeys are enabled.
// True claims the key: the tap swallows the press and sends its release to OnHotkeyReleased. Takes no
// lock apart from the wake event's and does no I/O.
bool HandleHotkeyDown(unsigned long key);
void OnHotkeyReleased(unsigned long key);

bool HotkeysLive();
bool HoldModeAuto();
bool HoldModeKeySpam();

// "setHoldMode": "auto,1" / "keyspam,0"; only "1" counts as on.
void ApplyHoldMode(const std::string& text);
