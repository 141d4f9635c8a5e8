// Tells the Timeline Editor whether automation is busy, and hears its acknowledgements.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

// The last state told ("timeline-state.txt": number, blank, 1 or 0) and to whom, under
// g_TimelineStateMutex. g_TimelineToldBusy is -1 and g_TimelineToldPid 0 while no editor has been told.
extern int64_t g_TimelineStateSeq;
extern int64_t g_TimelineGaveUpSeq;
extern int32_t g_TimelineToldPid;
extern int32_t g_TimelineToldBusy;

// The highest state number the editor has acknowledged; only ever raised.
extern std::atomic<int64_t> g_TimelineAckedSeq;

// How long a tool that starts waits for the editor to take the busy state in.
inline constexpr int kTimelineAckWaitMs = 500;

// Publishes the automation state (busy while recording, playing or key spamming) to a running editor when
// it changed or the editor is new. With `wait` (a tool starting a run) it then waits up to half a second
// for the acknowledgement, and only once for a number that wasn't acknowledged in time. Any thread.
void NotifyTimelineAutomationState(bool wait);

// Thread body "QVN timeline state": publishes the state every 15 ms while an editor runs, and looks for
// one once a second (or when woken) while none does.
inline constexpr int kTimelineWatchMs = 15;
inline constexpr int kTimelineIdleWatchMs = 1000;
void TimelineAutomationWatcherThread();

// Wakes the watcher at once: an editor asked for its macro or was just started, or the app is ending.
void WakeTimelineWatcher();

// "timelineAck": 1 to 10 decimal digits, else ignored. Raises g_TimelineAckedSeq to that number (never
// lowers it) and wakes whoever waits on g_TimelineAckCv. Runs on the IPC server's thread.
void HandleTimelineAck(const std::string& text);
