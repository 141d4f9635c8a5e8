// Macro playback: the active profile's events against one clock, with speed, smooth moves and loops.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "core/AppState.h"

// Thread body "QVN playback". Follows isPlaying, which ProcessSignals sets and clears.
void PlaybackThread();

// The clock of a pass: nanoseconds on a steady clock, and a sleep of about the nanoseconds asked (at most a
// millisecond is asked at once).
struct PlaybackClock {
    int64_t (*nowNs)();
    void (*sleepNs)(int64_t ns);
};

// One pass over `events`: the cursor goes to the first recorded point at once, then every event waits for
// its time divided by the speed, counted from one start instant, with the cursor running smoothly towards
// each absolute point. Ends early when isPlaying or g_AppRunning falls.
void PlayMacroPass(const std::vector<UnifiedEvent>& events, const PlaybackClock& clock);

// "updateTracker": the five recording switches ("true" or not), speed, loop ("true" or not), loop pause
// in ms. False, changing nothing, with fewer than eight fields or a number that isn't one.
bool ApplyTrackerUpdate(const std::string& text, std::string* why = nullptr);
