// Posting mouse and key events as if they came from the user: the one door through which the Spammer,
// the Key Spammer, playback and the signal processor produce input. Every call is safe from any thread at
// once and reports no failure: an event that can't be made is skipped. After a thread's first call (which
// opens its connection to the display), a call takes no lock of ours and allocates nothing.
#pragma once

#include <atomic>
#include <cstdint>

// Buttons this program holds down: bit 0 left, bit 1 right, bit 2 any other.
extern std::atomic<uint32_t> g_HeldButtons;

// The bit of g_HeldButtons for a button index (0 left, 1 right, anything else "other").
uint32_t HeldButtonBit(int button);

// Click counting for replayed clicks: a down continues the count of the last down when it is the same
// button, less than 500 ms later and at most 4 points away on each axis; otherwise the count is 1.
struct ClickTracker {
    int lastButton = -1;
    int clickState = 1;
    int64_t lastDownNs = 0;
    double lastX = 0.0;
    double lastY = 0.0;
};
int ClickCountForDown(ClickTracker& t, int button, int64_t nowNs, double x, double y);
int ClickCountForUp(const ClickTracker& t, int button);

// Plays the Windows mouse-event flags of one recorded click (0x2/0x4 left, 0x8/0x10 right, 0x20/0x40
// middle, in that order; other bits, such as 0x80 for a side button, play nothing) through `press`.
void PlayMouseFlags(ClickTracker& t, unsigned long flags, int64_t (*clockNs)(), void (*cursor)(int&, int&),
                    void (*press)(int button, bool down, int clickCount));

// Whole wheel lines for a delta in Windows wheel units (120 a notch, positive away from the user). A delta
// that isn't a whole number of notches comes from a smooth-scrolling source: it is rounded to the nearest
// line, and to one line rather than none, since X scrolls by lines only.
int ScrollLines(int delta);

// --- Platform -------------------------------------------------------------------------------------------

// Presses or releases mouse button `button` (0 left, 1 right, anything else middle) at the cursor.
// `clickCount` is the click state of the press (2 for the second press of a double click); X has no such
// field, so there it is the timing of the presses that makes a double click.
void PlatformMouseButton(int button, bool down, int clickCount);

// A press of `button` and its release with no delay between them, sent to the system together: the
// Spammer's click, whose rounds at 1 ms can't afford a round trip to the display server per event.
void PlatformMouseClick(int button, int clickCount);

// Moves the cursor to a point of the screen, or by a distance. A move while a button is held is a drag.
void PlatformMoveMouseTo(int x, int y);
void PlatformMoveMouseBy(int dx, int dy);

// The cursor position; 0,0 when it can't be read.
void PlatformCursorPosition(int& x, int& y);

// Plays the flags of one recorded mouse event with the click counting above, at the point (x, y) where the
// cursor has just been put: no round trip to ask where it is. The playback thread only.
void PlatformMouseFlags(unsigned long flags, int x, int y);

// The most wheel lines one scroll event makes: a macro file may carry any delta.
inline constexpr int kMaxScrollLines = 100;

// Scrolls the wheel under the cursor by `delta` Windows wheel units (see ScrollLines), at most
// kMaxScrollLines lines; 0 posts nothing. When `keepGoing` is given, the lines stop once it is false.
void PlatformScroll(int delta, const std::atomic<bool>* keepGoing = nullptr);

// Lifts mouse button `index`: PlatformMouseButton(index, false, 1).
void PlatformMouseButtonUp(int index);

// Presses or releases the key of virtual key `vk`; a VK with no key code on this keymap is dropped.
void PlatformKeyVk(int vk, bool down);
