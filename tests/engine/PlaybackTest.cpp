// Playback pacing against a scripted clock, and the thread's run state with the real clock.
#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <thread>
#include <utility>

#include "core/AppState.h"
#include "core/Wake.h"
#include "engine/Playback.h"
#include "engine/Signals.h"
#include "tests/fakes/Fakes.h"

namespace {

// A clock that moves 20 us at each look and by the time asked at each sleep, plus an overshoot; a stop can be
// scheduled on it.
int64_t g_FakeNs = 0;
int64_t g_StopAtNs = -1;
int64_t g_SleepOvershootNs = 0;
int g_Looks = 0;
int64_t FakeNow() {
    ++g_Looks;
    g_FakeNs += 20000;
    if (g_StopAtNs >= 0 && g_FakeNs >= g_StopAtNs) isPlaying = false;
    return g_FakeNs;
}
void FakeSleep(int64_t ns) { g_FakeNs += ns + g_SleepOvershootNs; }
std::string Stamp() { return std::to_string(g_FakeNs / 1000000); }  // whole milliseconds

const PlaybackClock kFakeClock{FakeNow, FakeSleep};

UnifiedEvent Abs(int64_t x, int64_t y, double t) { return UnifiedEvent{EventMoveAbs, t, x, y, 0, 0, false, 0}; }
UnifiedEvent Key(int vk, bool down, double t) { return UnifiedEvent{EventKey, t, 0, 0, 0, vk, down, 0}; }

class PlaybackTest : public ::testing::Test {
protected:
    void SetUp() override {
        ResetAppState();
        g_FakeNs = 0;
        g_StopAtNs = -1;
        g_SleepOvershootNs = 0;
        isPlaying = true;
        g_FakeCallStamp = Stamp;
    }
    void TearDown() override { g_FakeCallStamp = nullptr; }

    static std::vector<std::string> Play(const std::vector<UnifiedEvent>& events) {
        ClearFakeInputCalls();
        g_FakeNs = 0;
        PlayMacroPass(events, kFakeClock);
        return FakeInputCalls();
    }
};

TEST_F(PlaybackTest, DueTimesFollowTheSpeed) {
    using V = std::vector<std::string>;
    const std::vector<UnifiedEvent> keys = {Key(65, true, 0.5), Key(65, false, 1.0), Key(66, true, 1.0)};
    // No event has a point, so nothing moves; each key comes at its time over the speed.
    EXPECT_EQ(Play(keys), (V{"key 65 down @500", "key 65 up @1000", "key 66 down @1000"}));
    fPlaybackSpeed = 2.0f;
    EXPECT_EQ(Play(keys), (V{"key 65 down @250", "key 65 up @500", "key 66 down @500"}));
}

// Sleeps lead up to a due time and only a last stretch is spun, as long as the sleeps have lately woken late:
// a sleep that overshoots by 300 us still lets the event out on time, and the spin costs a few looks at the
// clock, not a millisecond's worth of them.
TEST_F(PlaybackTest, SleepsUpToTheDueTimeAndSpinsOnlyAsLongAsSleepsWakeLate) {
    g_FakeCallStamp = [] { return std::to_string(g_FakeNs / 1000); };  // microseconds
    g_SleepOvershootNs = 300000;
    g_Looks = 0;
    auto calls = Play({Key(65, true, 0.5), Key(65, false, 0.9)});
    ASSERT_EQ(calls.size(), 2u);
    long long at = 0;
    for (const auto& [call, due] : {std::pair{calls[0], 500000}, std::pair{calls[1], 900000}}) {
        ASSERT_EQ(std::sscanf(call.c_str(), "key 65 %*s @%lld", &at), 1) << call;
        EXPECT_GE(at, due) << call;
        EXPECT_LT(at, due + 60) << call;  // a few looks late at most
    }
    // About 0.9 s in sleeps of 1.32 ms, and a few looks before each key; spinning through the last 2 ms
    // would take a hundred more for each.
    EXPECT_LT(g_Looks, 780) << g_Looks << " looks";

    // On time sleeps: the spin shrinks back, and the keys are still on time.
    g_SleepOvershootNs = 0;
    for (int i = 0; i < 3; ++i) calls = Play({Key(65, true, 0.5)});
    ASSERT_EQ(std::sscanf(calls[0].c_str(), "key 65 %*s @%lld", &at), 1) << calls[0];
    EXPECT_GE(at, 500000);
    EXPECT_LT(at, 500060);
}

TEST_F(PlaybackTest, CursorPlacementAndSmoothMoves) {
    // The cursor jumps to the first point before the clock starts, then runs along the line to the next.
    const auto calls = Play({Key(65, true, 0.2), Abs(0, 0, 0.3), Abs(100, 50, 0.4)});
    ASSERT_GE(calls.size(), 4u);
    EXPECT_EQ(calls[0], "move 0 0 @0");
    EXPECT_EQ(calls[1], "key 65 down @200");
    EXPECT_EQ(calls[2], "move 0 0 @300");
    EXPECT_EQ(calls.back(), "move 100 50 @400");
    int lastX = 0, steps = 0;
    for (size_t i = 3; i + 1 < calls.size(); ++i) {
        int x = 0, y = 0;
        ASSERT_EQ(std::sscanf(calls[i].c_str(), "move %d %d", &x, &y), 2) << calls[i];
        EXPECT_GT(x, lastX);  // straight on, never back
        EXPECT_EQ(y, x / 2);
        lastX = x;
        ++steps;
    }
    EXPECT_GT(steps, 50);  // about one a millisecond

    // Relative moves start from where the cursor is and are never smoothed.
    const auto rel = Play({UnifiedEvent{EventMoveRel, 0.1, 5, -5, 0, 0, false, 0}});
    EXPECT_EQ(rel, std::vector<std::string>{"moveby 5 -5 @100"});
}

TEST_F(PlaybackTest, EventsOfEveryKind) {
    const auto calls = Play({UnifiedEvent{EventMouseClick, 0, 10, 20, 2, 0, false, 0},
                             UnifiedEvent{EventMouseClick, 0, 10, 20, 4, 0, false, 0},
                             UnifiedEvent{EventScroll, 0, 0, 0, 0, 0, false, -240},
                             UnifiedEvent{EventToolToggle, 0, 0, 0, 0, 1, true, 0},
                             UnifiedEvent{EventToolToggle, 0, 0, 0, 0, 2, false, 0},
                             UnifiedEvent{EventToolToggle, 0, 0, 0, 0, 7, true, 0}, Key(65, true, 0)});
    EXPECT_EQ(calls, (std::vector<std::string>{"move 10 20 @0", "move 10 20 @0", "button 0 down 1 @0", "move 10 20 @0",
                                               "button 0 up 1 @0", "scroll -240 @0", "key 65 down @0"}));
    EXPECT_TRUE(triggerAutoClickStart);
    EXPECT_TRUE(triggerKeySpamStop);
    EXPECT_TRUE(g_SignalWake.signalled);  // the key stays down: a macro holds its own releases
}

TEST_F(PlaybackTest, AStopEndsThePassWhereItIs) {
    g_StopAtNs = 350000000;
    const auto calls = Play({Abs(0, 0, 0), Abs(1000, 0, 1.0), Key(65, true, 1.0)});
    ASSERT_FALSE(calls.empty());
    int x = 0, y = 0;
    ASSERT_EQ(std::sscanf(calls.back().c_str(), "move %d %d", &x, &y), 2);
    EXPECT_NEAR(x, 350, 5);  // where the last step put it; the key never comes
}

TEST_F(PlaybackTest, TrackerUpdate) {
    EXPECT_TRUE(ApplyTrackerUpdate("false,true,false,true,true,2.5,true,250"));
    EXPECT_FALSE(bRecordMouseMovement);
    EXPECT_TRUE(bUseRelativeMouse);
    EXPECT_EQ(fPlaybackSpeed, 2.5f);
    EXPECT_TRUE(bLoopSequence);
    EXPECT_EQ(iLoopIntervalMs, 250);
    EXPECT_FALSE(ApplyTrackerUpdate("true,true,true,true,true,1,false"));
    EXPECT_FALSE(ApplyTrackerUpdate("true,true,true,true,true,fast,false,0"));
    EXPECT_EQ(fPlaybackSpeed, 2.5f);  // a refused update changes nothing

    // Numbers that aren't, or lie outside their range, are refused with the field's range, not stored.
    for (const char* speed : {"nan", "inf", "-inf", "0", "-1", "0.05", "101", "1e39"}) {
        std::string why;
        EXPECT_FALSE(ApplyTrackerUpdate(std::string("true,true,true,true,true,") + speed + ",false,0", &why)) << speed;
        EXPECT_EQ(why, std::string("updateTracker: the playback speed must be a number from 0.1 to 100, not \"") +
                           speed + "\"");
    }
    std::string why;
    EXPECT_FALSE(ApplyTrackerUpdate("true,true,true,true,true,1,true,-1", &why));
    EXPECT_EQ(why,
              "updateTracker: the loop interval must be a whole number of milliseconds from 0 to 86400000, not "
              "\"-1\"");
    EXPECT_EQ(fPlaybackSpeed, 2.5f);
    EXPECT_EQ(iLoopIntervalMs, 250);
    EXPECT_TRUE(ApplyTrackerUpdate("true,true,true,true,true,0.1,true,86400000"));
}

TEST_F(PlaybackTest, ATimeThatIsNotANumberPlaysAtOnceInsteadOfWaitingForever) {
    const double nan = std::nan("");
    const auto calls = Play({Key(65, true, 0.5), Key(66, true, nan), Key(67, true, 0.6)});
    ASSERT_EQ(calls.size(), 3u);
    EXPECT_EQ(calls[1], "key 66 down @500");  // with the event before it
    fPlaybackSpeed = 0.0f;                    // only reachable through a fault elsewhere, and still no hang
    EXPECT_EQ(Play({Key(65, true, 0.5)}).size(), 1u);
}

TEST(PlaybackThreadTest, RunsLoopsAndEndsWithTheTools) {
    ResetAppState();
    profiles[0].events = {Key(65, true, 0.01), Key(65, false, 0.02)};
    std::thread signals(SignalProcessorThread);
    std::thread player(PlaybackThread);

    // A single pass ends by itself and stops the tools with it.
    isAutoClicking = true;
    triggerPlayStart = true;
    WakeSignalProcessor();
    EXPECT_TRUE(WaitUntil([] { return !isPlaying && !isAutoClicking && FakeInputCalls().size() >= 2; }));

    // Looping goes on until stopped; the stop lifts left and right.
    bLoopSequence = true;
    iLoopIntervalMs = 0;
    ClearFakeInputCalls();
    triggerPlayStart = true;
    WakeSignalProcessor();
    EXPECT_TRUE(WaitUntil([] { return FakeInputCalls().size() >= 6; }));
    triggerPlayStop = true;
    WakeSignalProcessor();
    EXPECT_TRUE(WaitUntil([] { return !isPlaying; }));

    // An empty macro just clears the flag.
    {
        std::lock_guard<std::mutex> lock(profileMutex);  // the thread may still be copying the last loop's pass
        profiles[0].events.clear();
    }
    isKeySpamming = true;
    triggerPlayStart = true;
    WakeSignalProcessor();
    EXPECT_TRUE(WaitUntil([] { return !isPlaying; }));

    g_AppRunning = false;
    WakeSignalProcessor();
    WakePlaybackThread();
    signals.join();
    player.join();
    g_AppRunning = true;
}

}  // namespace
