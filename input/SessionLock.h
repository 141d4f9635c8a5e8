// What a locked screen or a switch to another user means for input.
#pragma once

#include <atomic>

// Set when the input tap's trackers must start afresh; the tap clears it with its next event.
extern std::atomic<bool> g_ResetTrackers;

// Called when the session is locked: tools held by a hotkey in hold mode stop (their release will never
// come), and the tap's trackers reset.
void InputTapOnSessionLocked();
