// The marks by which the input tap tells this program's own injected events from the user's. X events
// carry no field of ours, so before each request the injector pushes the signature of the event it expects
// the server to report; the tap takes the matching mark when that event comes back.
#pragma once

#include <cstdint>

enum MarkKind : int32_t {
    MarkButtonPress = 1,
    MarkButtonRelease = 2,
    MarkKeyPress = 3,
    MarkKeyRelease = 4,
    MarkMotion = 5,
};

// Each injecting thread pushes onto a lane of its own (threads beyond the count share lanes).
inline constexpr int kMarkLanes = 16;
inline constexpr int kMarkRingSize = 2048;  // marks a lane keeps: two seconds of a tool at 1 ms
// A mark whose event hasn't come back within this time is taken as lost (a request the server dropped).
inline constexpr int64_t kMarkLifetimeNs = 1'000'000'000;
// How many marks past the oldest one of a lane a reported event may match; those it skips are taken as lost.
inline constexpr int kMarkSearchWindow = 8;

// Pushes the signature of one event about to be injected: its kind, the button or key code, and for a
// motion the point (or the deltas of a relative move). Any thread, lock-free, no allocation. When the ring
// is full the oldest marks are overwritten and count as lost.
void PushOwnEventMark(MarkKind kind, int32_t detail, bool hasPoint, int32_t x, int32_t y, int64_t nowNs);

// True when a reported event matches a live mark, which is then used up with every older mark of its lane
// (the same thread's requests, which the server handles in order). Drops expired marks first. The tap's
// thread only (one consumer).
bool TakeOwnEventMark(MarkKind kind, int32_t detail, int32_t x, int32_t y, int64_t nowNs);

// Marks pushed and not yet taken, expired or overwritten (for tests).
int PendingOwnEventMarks();

// Forgets every mark (for tests, with no other thread pushing).
void ResetOwnEventMarks();
