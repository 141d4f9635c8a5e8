// The portable half of injection: click counting, the flags of recorded clicks, wheel lines.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "input/Injection.h"

namespace {

constexpr int64_t kMs = 1'000'000;

TEST(ClickCountTest, ContinuesOnlyForTheSameButtonSoonAndNear) {
    struct Case {
        const char* name;
        int button;
        int64_t afterNs;
        double dx, dy;
        int expected;
    };
    const Case table[] = {
        {"499 ms and 4.0 points away continues", 0, 499 * kMs, 4.0, -4.0, 2},
        {"500 ms later restarts", 0, 500 * kMs, 0, 0, 1},
        {"4.5 points away restarts", 0, 10 * kMs, 4.5, 0, 1},
        {"4.5 points down restarts", 0, 10 * kMs, 0, -4.5, 1},
        {"another button restarts", 1, 10 * kMs, 0, 0, 1},
    };
    for (const auto& c : table) {
        ClickTracker t;
        EXPECT_EQ(ClickCountForDown(t, 0, 1000 * kMs, 100, 100), 1) << "the first down of all";
        EXPECT_EQ(ClickCountForDown(t, c.button, 1000 * kMs + c.afterNs, 100 + c.dx, 100 + c.dy), c.expected) << c.name;
    }
    // No upper bound: a fast run of presses keeps counting.
    ClickTracker t;
    for (int i = 1; i <= 5; ++i) EXPECT_EQ(ClickCountForDown(t, 2, i * 100 * kMs, 0, 0), i);
    EXPECT_EQ(ClickCountForUp(t, 2), 5);
    EXPECT_EQ(ClickCountForUp(t, 0), 1);
}

std::vector<std::string> g_Presses;
int64_t g_Now = 0;
void FakeCursor(int& x, int& y) {
    x = 10;
    y = 20;
}
int64_t FakeClock() { return g_Now; }
void RecordPress(int button, bool down, int count) {
    g_Presses.push_back(std::to_string(button) + (down ? " down " : " up ") + std::to_string(count));
}

TEST(MouseFlagsTest, PlaysRowsInTableOrder) {
    struct Case {
        unsigned long flags;
        std::vector<std::string> presses;
    };
    const Case table[] = {
        {0x2, {"0 down 1"}},
        {0x4, {"0 up 1"}},
        {0x6, {"0 down 1", "0 up 1"}},  // a whole click in one call, down first
        {0x18, {"1 down 1", "1 up 1"}},
        {0x60, {"2 down 1", "2 up 1"}},
        {0x80, {}},  // a side button replays as nothing
        {0x100, {}},
    };
    for (const auto& c : table) {
        ClickTracker t;
        g_Presses.clear();
        PlayMouseFlags(t, c.flags, FakeClock, FakeCursor, RecordPress);
        EXPECT_EQ(g_Presses, c.presses) << std::hex << c.flags;
    }
}

TEST(MouseFlagsTest, ReplayedDoubleClickCountsTwo) {
    ClickTracker t;
    g_Presses.clear();
    g_Now = 0;
    PlayMouseFlags(t, 0x2, FakeClock, FakeCursor, RecordPress);
    PlayMouseFlags(t, 0x4, FakeClock, FakeCursor, RecordPress);
    PlayMouseFlags(t, 0x80, FakeClock, FakeCursor, RecordPress);  // leaves the tracking alone
    g_Now = 120 * kMs;
    PlayMouseFlags(t, 0x2, FakeClock, FakeCursor, RecordPress);
    PlayMouseFlags(t, 0x10, FakeClock, FakeCursor, RecordPress);  // not the last button: count 1
    PlayMouseFlags(t, 0x4, FakeClock, FakeCursor, RecordPress);
    EXPECT_EQ(g_Presses, (std::vector<std::string>{"0 down 1", "0 up 1", "0 down 2", "1 up 1", "0 up 2"}));
}

TEST(ScrollLinesTest, NotchesAndSmoothDeltas) {
    const int table[][2] = {{120, 1}, {-240, -2}, {0, 0}, {1, 1}, {-1, -1}, {179, 1}, {181, 2}};
    for (const auto& c : table) EXPECT_EQ(ScrollLines(c[0]), c[1]) << c[0];
}

}  // namespace
