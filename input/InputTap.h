// The input tap: every key press, button, move and wheel line of the user passes here before any
// application gets it. It is the only place where hotkeys are recognised, keys are captured for
// reassignment, a screen point is picked and input is recorded. An event is passed on unchanged or
// swallowed whole, never altered.
//
// The rules are a function of a stream of plain events (TapEvent) so that they run the same on any
// platform and in tests; the platform's source turns its own events into that stream, answers each
// verdict, and appends what the verdict records.
#pragma once

#include "core/AppState.h"

enum TapKind : int {
    TapMove,    // the pointer moved (to x, y when hasPoint)
    TapButton,  // a mouse button (vk 1 left, 2 right, 4 middle, 5 and 6 side) went down or up at x, y
    TapKey,     // a key went down or up; a further down of a key that is down is auto-repeat
    TapScroll,  // the wheel turned scrollLines lines, positive away from the user
};

struct TapEvent {
    TapKind kind = TapMove;
    int vk = 0;
    bool down = false;
    bool hasPoint = false;  // moves: whether x, y were read (the platform reads them only when they're needed)
    double x = 0.0;
    double y = 0.0;
    int scrollLines = 0;
    // How long before it reaches the rules the event happened, by the display server's own time of it: a
    // recording is stamped when the input happened, not when a busy tap got to it. 0: just now.
    double ageSeconds = 0.0;
};

// What becomes of one event: swallowed or passed on, and the event it adds to the recording.
struct TapVerdict {
    bool swallow = false;
    bool keepsRelease = false;  // the press was claimed as a hotkey: its repeats and release are swallowed too
    bool record = false;
    UnifiedEvent event;
};

// Set when the tap's trackers must start afresh; the tap clears it with its next event.
extern std::atomic<bool> g_ResetTrackers;

// Takes a pending g_ResetTrackers: every table but the dropped presses starts afresh. The source calls
// it for every event, the program's own included, before anything else.
void TakeTrackerReset();

// Where recorded input goes. The recorder stands above the input layer, so the master hands the tap its
// clock and its append before the tap starts; until then nothing is stamped (time 0) or appended.
struct TapRecorder {
    double (*elapsedSeconds)() = nullptr;           // the recording's clock
    void (*append)(const UnifiedEvent&) = nullptr;  // appends to the active profile, under profileMutex
};

// Called before the tap's thread starts (thread start orders it before every read on that thread); a later
// call with the same recorder changes nothing.
void SetTapRecorder(const TapRecorder& recorder);
const TapRecorder& CurrentTapRecorder();

// The rules for one event of the user (never one of the program's own). The tap's thread only; may call
// HandleHotkeyDown, OnHotkeyReleased, WakeSignalProcessor and SnapshotActiveProfileSettings, and during a
// recording IsOwnWindowAt. Appends nothing itself: the source appends verdict.event through the recorder's
// append once it has answered the system, so that no key stays frozen while the profile lock is waited for.
TapVerdict HandleTapEvent(const TapEvent& e);

// Whole wheel lines from a smooth-scrolling device: its scroll axis moves by `delta` (positive toward the
// user) where one line is `increment`. The remainder stays in `pending` for the next call; the result is
// positive away from the user, like TapEvent::scrollLines.
int TakeScrollLines(double& pending, double delta, double increment);

// True when the point lies on a window of this program or of another process of the same executable
// (pop-out panels, the timeline editor). A failed lookup answers false.
bool IsOwnWindowAt(double x, double y);

// Puts every table back to its starting state (tests).
void ResetTapTables();

// Session lock or user switch: hold-mode tools stop (their release will never come) and the trackers reset.
void InputTapOnSessionLocked();

// --- Platform -------------------------------------------------------------------------------------------

// Starts the tap's thread; true when it runs afterwards, false when the system refuses (no display, no
// input extension). Idempotent: true at once while it runs.
bool PlatformStartInputTap();

// Stops and joins the tap's thread, releasing every grab. Idempotent.
void PlatformStopInputTap();

bool PlatformInputTapRunning();

// The process id of the client that owns the top-level window at a global point; 0 when there is none or
// it can't be told.
int PlatformWindowPidAt(int x, int y);
