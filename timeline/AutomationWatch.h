// Tells the Timeline Editor whether automation is busy, and hears its acknowledgements.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

// The highest state number the editor has acknowledged; only ever raised.
extern std::atomic<int64_t> g_TimelineAckedSeq;

// Publishes the automation state; `wait` is true when a tool starts a run.
void NotifyTimelineAutomationState(bool wait);

// Thread body "QVN timeline state": publishes the state every 15 ms while the app runs.
void TimelineAutomationWatcherThread();

// "timelineAck": 1 to 10 decimal digits, else ignored. Raises g_TimelineAckedSeq to that number (never
// lowers it) and wakes whoever waits on g_TimelineAckCv. Runs on the IPC server's thread.
void HandleTimelineAck(const std::string& text);
