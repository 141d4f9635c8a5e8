// The one place where tools start and stop, and the hotkey rules that feed it.
#pragma once

#include <string>

// Thread body "QVN signals": one pass at start, then one after every wake, while the app runs.
void SignalProcessorThread();

// One pass over all triggers in their fixed order. Runs on the signal thread, and once more on the thread
// that calls ShutDown; each trigger is exchanged with false, so it is acted on once.
void ProcessSignals();

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

// With "stop tools with macro" on, asks for the Spammer and the Key Spammer to stop.
void StopToolsIfEnabled();

// Appends a tool toggle (1 Spammer, 2 Key Spammer) to the recording, under profileMutex.
void RecordToolToggle(int tool, bool on);

// "reassignKey": opens a key capture for the named target. Returns the empty result.
std::string BindReassignKey(const std::string& arg);
