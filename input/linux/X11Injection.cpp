// Injection through XTest. Every injecting thread gets an X connection of its own on its first call: an
// Xlib connection can't be shared between threads without a lock, and the Spammer's round must not wait
// on one. Requests are flushed one by one so that the server sees each event when it is meant.
#include <X11/Xlib.h>
#include <X11/extensions/XTest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>

#include "input/Injection.h"
#include "input/Keys.h"
#include "input/OwnEventMarks.h"

namespace {

struct ThreadConnection {
    Display* dpy = nullptr;
    bool tried = false;
    ~ThreadConnection() {
        if (dpy) XCloseDisplay(dpy);
    }
};

Display* Connection() {
    thread_local ThreadConnection c;
    if (!c.tried) {
        c.tried = true;
        c.dpy = XOpenDisplay(nullptr);
        int event = 0, error = 0, major = 0, minor = 0;
        if (c.dpy && !XTestQueryExtension(c.dpy, &event, &error, &major, &minor)) {
            XCloseDisplay(c.dpy);
            c.dpy = nullptr;
        }
    }
    return c.dpy;
}

int64_t NowNs() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

// 0 left, 1 right, anything else middle.
unsigned XButton(int button) {
    if (button == 0) return 1;
    if (button == 1) return 3;
    return 2;
}

void ClickWheel(Display* d, unsigned button) {
    const int64_t now = NowNs();
    PushOwnEventMark(MarkButtonPress, static_cast<int32_t>(button), false, 0, 0, now);
    XTestFakeButtonEvent(d, button, True, CurrentTime);
    PushOwnEventMark(MarkButtonRelease, static_cast<int32_t>(button), false, 0, 0, now);
    XTestFakeButtonEvent(d, button, False, CurrentTime);
}

}  // namespace

void PlatformMouseButton(int button, bool down, int /*clickCount*/) {
    Display* d = Connection();
    const uint32_t bit = HeldButtonBit(button);
    const unsigned xButton = XButton(button);
    if (down) {
        g_HeldButtons.fetch_or(bit);
    } else {
        g_HeldButtons.fetch_and(~bit);
    }
    if (!d) return;  // no request, so no mark: a mark without its event would hide one of the user's
    // The server reports a release even of a button that isn't down, so every request gets its mark.
    PushOwnEventMark(down ? MarkButtonPress : MarkButtonRelease, static_cast<int32_t>(xButton), false, 0, 0, NowNs());
    XTestFakeButtonEvent(d, xButton, down ? True : False, CurrentTime);
    XFlush(d);
}

void PlatformMouseClick(int button, int /*clickCount*/) {
    Display* d = Connection();
    const uint32_t bit = HeldButtonBit(button);
    const unsigned xButton = XButton(button);
    const int64_t now = NowNs();
    g_HeldButtons.fetch_or(bit);
    g_HeldButtons.fetch_and(~bit);
    if (!d) return;
    PushOwnEventMark(MarkButtonPress, static_cast<int32_t>(xButton), false, 0, 0, now);
    XTestFakeButtonEvent(d, xButton, True, CurrentTime);
    PushOwnEventMark(MarkButtonRelease, static_cast<int32_t>(xButton), false, 0, 0, now);
    XTestFakeButtonEvent(d, xButton, False, CurrentTime);
    XFlush(d);
}

void PlatformMouseButtonUp(int index) { PlatformMouseButton(index, false, 1); }

// The server turns a move into a drag by itself while a button is down, so there is no drag event to pick.
// A point off the screen goes to the nearest edge: the request's fields are 16 bits wide, and a point past
// them would wrap round to the other side.
void PlatformMoveMouseTo(int x, int y) {
    Display* d = Connection();
    if (!d) return;
    x = std::clamp(x, 0, DisplayWidth(d, DefaultScreen(d)) - 1);
    y = std::clamp(y, 0, DisplayHeight(d, DefaultScreen(d)) - 1);
    PushOwnEventMark(MarkMotion, 0, true, x, y, NowNs());
    XTestFakeMotionEvent(d, -1, x, y, CurrentTime);
    XFlush(d);
}

void PlatformMoveMouseBy(int dx, int dy) {
    Display* d = Connection();
    if (!d) return;
    PushOwnEventMark(MarkMotion, 0, false, 0, 0, NowNs());
    XTestFakeRelativeMotionEvent(d, dx, dy, CurrentTime);
    XFlush(d);
}

void PlatformCursorPosition(int& x, int& y) {
    x = 0;
    y = 0;
    Display* d = Connection();
    if (!d) return;
    Window root = 0, child = 0;
    int winX = 0, winY = 0;
    unsigned mask = 0;
    if (!XQueryPointer(d, DefaultRootWindow(d), &root, &child, &x, &y, &winX, &winY, &mask)) {
        x = 0;
        y = 0;
    }
}

// Buttons 4 and 5 are the wheel's lines up and down, one press and release for each line, flushed in
// small bursts so that a stop between them ends the scroll.
void PlatformScroll(int delta, const std::atomic<bool>* keepGoing) {
    const int lines = std::clamp(ScrollLines(delta), -kMaxScrollLines, kMaxScrollLines);
    Display* d = Connection();
    if (lines == 0 || !d) return;
    const unsigned button = lines > 0 ? 4 : 5;
    for (int i = 0; i < std::abs(lines); ++i) {
        if (keepGoing && !keepGoing->load()) break;
        ClickWheel(d, button);
        if (i % 8 == 7) XFlush(d);
    }
    XFlush(d);
}

void PlatformKeyVk(int vk, bool down) {
    const int keycode = VkToPlatformKeyCode(vk);
    if (keycode < 0) return;
    Display* d = Connection();
    if (!d) return;
    PushOwnEventMark(down ? MarkKeyPress : MarkKeyRelease, keycode, false, 0, 0, NowNs());
    XTestFakeKeyEvent(d, static_cast<unsigned>(keycode), down ? True : False, CurrentTime);
    XFlush(d);
}
