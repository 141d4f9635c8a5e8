// Tells the Timeline Editor whether automation is busy.
#pragma once

// Publishes the automation state; `wait` is true when a tool starts a run.
void NotifyTimelineAutomationState(bool wait);

// Thread body "QVN timeline state": publishes the state every 15 ms while the app runs.
void TimelineAutomationWatcherThread();
