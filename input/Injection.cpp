#include "input/Injection.h"

#include <chrono>
#include <cmath>
#include <cstdlib>

std::atomic<uint32_t> g_HeldButtons{0};

namespace {

constexpr int64_t kClickIntervalNs = 500'000'000;
constexpr double kClickSlop = 4.0;

struct FlagRow {
    unsigned long flag;
    int button;
    bool down;
};
constexpr FlagRow kMap[] = {{0x2, 0, true},   {0x4, 0, false}, {0x8, 1, true},
                            {0x10, 1, false}, {0x20, 2, true}, {0x40, 2, false}};

}  // namespace

uint32_t HeldButtonBit(int button) {
    if (button == 0) return 1u;
    if (button == 1) return 2u;
    return 4u;
}

int ClickCountForDown(ClickTracker& t, int button, int64_t nowNs, double x, double y) {
    int count = 1;
    if (button == t.lastButton && nowNs - t.lastDownNs < kClickIntervalNs && std::fabs(x - t.lastX) <= kClickSlop &&
        std::fabs(y - t.lastY) <= kClickSlop) {
        count = t.clickState + 1;
    }
    t.clickState = count;
    t.lastButton = button;
    t.lastDownNs = nowNs;
    t.lastX = x;
    t.lastY = y;
    return count;
}

int ClickCountForUp(const ClickTracker& t, int button) { return button == t.lastButton ? t.clickState : 1; }

void PlayMouseFlags(ClickTracker& t, unsigned long flags, int64_t (*clockNs)(), void (*cursor)(int&, int&),
                    void (*press)(int button, bool down, int clickCount)) {
    for (const FlagRow& row : kMap) {
        if (!(flags & row.flag)) continue;
        if (row.down) {
            int x = 0, y = 0;
            cursor(x, y);
            press(row.button, true, ClickCountForDown(t, row.button, clockNs(), x, y));
        } else {
            press(row.button, false, ClickCountForUp(t, row.button));
        }
    }
}

int ScrollLines(int delta) {
    if (delta % 120 == 0) return delta / 120;
    const int lines = static_cast<int>(std::lround(delta / 120.0));
    if (lines != 0) return lines;
    return delta > 0 ? 1 : -1;
}

namespace {

int64_t SteadyNs() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

}  // namespace

namespace {

// The point of the click being played, for PlayMouseFlags's cursor.
thread_local int t_ClickX = 0, t_ClickY = 0;
void KnownPoint(int& x, int& y) {
    x = t_ClickX;
    y = t_ClickY;
}

}  // namespace

void PlatformMouseFlags(unsigned long flags, int x, int y) {
    // The playback thread's alone, as the counts continue from one recorded click to the next.
    static ClickTracker tracker;
    t_ClickX = x;
    t_ClickY = y;
    PlayMouseFlags(tracker, flags, SteadyNs, KnownPoint, PlatformMouseButton);
}
