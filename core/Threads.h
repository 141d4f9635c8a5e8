// What every long-lived thread asks of the system when it starts.
#pragma once

// Platform: names the calling thread (the system may shorten the name to its limit).
void PlatformNameThread(const char* name);

// Platform: gives the calling thread the highest scheduling class the system grants to a user's thread and
// the finest timer resolution. Goes on quietly with what it got when a request is refused.
void PlatformRaiseThreadPriority();
