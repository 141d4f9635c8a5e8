// The one place where tools start and stop: the signal processor takes the triggers that the hotkey rules,
// the page, the IPC channel and playback set, and changes the tools' run states.
#pragma once

#include <string>

#include "core/Hotkeys.h"

// Thread body "QVN signals": one pass at start, then one after every wake, while the app runs.
void SignalProcessorThread();

// One pass over all triggers in their fixed order. Runs on the signal thread, and once more on the thread
// that calls ShutDown; each trigger is exchanged with false, so it is acted on once.
void ProcessSignals();

// With "stop tools with macro" on, asks for the Spammer and the Key Spammer to stop.
void StopToolsIfEnabled();

// Appends a tool toggle (1 Spammer, 2 Key Spammer) to the recording, under profileMutex.
void RecordToolToggle(int tool, bool on);

// "reassignKey": opens a key capture for the named target. Returns the empty result.
std::string BindReassignKey(const std::string& arg);
