// The Spammer: clicks a mouse button at an interval.
#pragma once

#include <string>

// Thread body "QVN autoclicker". Follows isAutoClicking, which ProcessSignals sets and clears; ends a run
// itself only when a fixed repeat count is reached. A round takes no lock and allocates nothing.
void AutoClickerThread();

// The page's "updateSpammer" text: hours, minutes, seconds, milliseconds, button, click type, repeat mode,
// repeat times, location mode, comma-separated; fields past the ninth are ignored. Applies all nine and
// snapshots the profile's settings, or, with fewer fields or one that isn't a number, changes nothing and
// returns false.
bool ApplySpammerUpdate(const std::string& text, std::string* why = nullptr);
