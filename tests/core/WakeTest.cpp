// The interruptible wait and the signal thread, with real threads.
#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <thread>

#include "core/AppState.h"
#include "core/Wake.h"
#include "engine/Signals.h"
#include "tests/fakes/Fakes.h"

namespace {

using Clock = std::chrono::steady_clock;

double MsSince(Clock::time_point t) { return std::chrono::duration<double, std::milli>(Clock::now() - t).count(); }

class WakeTest : public ::testing::Test {
protected:
    void SetUp() override { ResetAppState(); }
    void TearDown() override { g_AppRunning = true; }
};

TEST_F(WakeTest, ZeroAndNonsenseIntervalsReturnAtOnce) {
    for (double ms : {0.0, -5.0, std::nan("")}) {
        const auto t = Clock::now();
        WaitIntervalOrWake(g_AutoClickWake, ms);
        EXPECT_LT(MsSince(t), 5.0) << ms;
    }
}

TEST_F(WakeTest, WaitsTheIntervalFromTheCall) {
    for (double ms : {0.4, 20.0}) {
        const auto t = Clock::now();
        WaitIntervalOrWake(g_AutoClickWake, ms);
        const double took = MsSince(t);
        EXPECT_GE(took, ms) << ms;
        EXPECT_LT(took, ms + 50.0) << ms;  // generous: this only catches a wait that doesn't end
    }
}

// A tool's action takes time of its own: the beat keeps the period at the interval all the same, and after a
// stall it goes on from now instead of making up for the lost beats at once.
TEST_F(WakeTest, TheBeatKeepsThePeriodAndDoesNotBurstAfterAStall) {
    Beat beat;
    const auto t = Clock::now();
    StartBeat(beat);
    for (int i = 0; i < 10; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(8));  // the action
        WaitBeatOrWake(g_AutoClickWake, beat, 20.0);
    }
    const double took = MsSince(t);
    EXPECT_GE(took, 200.0);
    EXPECT_LT(took, 250.0);  // a wait of the interval after each action would take 280 ms

    std::this_thread::sleep_for(std::chrono::milliseconds(70));  // a stall of three and a half beats
    auto w = Clock::now();
    WaitBeatOrWake(g_AutoClickWake, beat, 20.0);
    EXPECT_LT(MsSince(w), 5.0);  // overdue: at once
    w = Clock::now();
    WaitBeatOrWake(g_AutoClickWake, beat, 20.0);
    EXPECT_GE(MsSince(w), 15.0);  // and then a whole beat, not the ones that were missed
}

TEST_F(WakeTest, AWakeBetweenWaitsIsNotLost) {
    for (double ms : {60000.0, 0.4}) {  // in the sleep, and in the final spin
        WakeAutoClickThread();
        const auto t = Clock::now();
        WaitIntervalOrWake(g_AutoClickWake, ms);
        EXPECT_LT(MsSince(t), 1000.0);
        EXPECT_FALSE(g_AutoClickWake.signalled) << ms;  // consumed
    }

    WakeKeySpamThread();
    WaitForWake(g_KeySpamWake);  // returns at once
    EXPECT_FALSE(g_KeySpamWake.signalled);
}

TEST_F(WakeTest, AWaitThatBeginsAfterTheStopEndsAtOnce) {
    // The threads' ending in their waits is ShutDownTest's.
    g_AppRunning = false;
    const auto t = Clock::now();
    WaitIntervalOrWake(g_AutoClickWake, 3600000.0);
    EXPECT_LT(MsSince(t), 100.0);
}

TEST_F(WakeTest, SignalThreadActsOnEveryWake) {
    std::thread signals(SignalProcessorThread);
    // Triggers set from several threads at once, as the tap, the page and the IPC server do.
    std::thread a([] {
        for (int i = 0; i < 200; ++i) {
            triggerAutoClicker = true;
            WakeSignalProcessor();
        }
    });
    std::thread b([] {
        for (int i = 0; i < 200; ++i) {
            triggerKeySpam = true;
            WakeSignalProcessor();
        }
    });
    a.join();
    b.join();
    EXPECT_TRUE(WaitUntil([] { return !triggerAutoClicker && !triggerKeySpam; }));

    // A single wake is enough for a fresh trigger.
    const bool before = isAutoClicking;
    triggerAutoClicker = true;
    WakeSignalProcessor();
    EXPECT_TRUE(WaitUntil([before] { return isAutoClicking != before; }));

    g_AppRunning = false;
    WakeSignalProcessor();
    signals.join();
}

}  // namespace
