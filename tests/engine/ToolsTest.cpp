// The Spammer and the Key Spammer: their settings text, the interval rule, and the real worker threads
// driven through the run flags with the recording fake of the input layer.
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "core/AppState.h"
#include "core/Wake.h"
#include "engine/AutoClicker.h"
#include "engine/KeySpammer.h"
#include "engine/Signals.h"
#include "engine/ToolSettings.h"
#include "tests/fakes/Fakes.h"

namespace {

using namespace std::chrono_literals;

TEST(ToolSettingsTest, IntervalHasAOneMillisecondFloor) {
    struct Case {
        int32_t h, m, s, ms;
        double expected;
    };
    const Case table[] = {{0, 0, 0, 0, 1.0},
                          {1, 2, 3, 4, 3723004.0},
                          {-1, 0, 0, 100, 1.0},
                          {0, 0, -1, 1500, 500.0},
                          {2147483647, 0, 0, 0, 2147483647.0 * 3600000.0}};
    for (const auto& c : table) {
        EXPECT_EQ(ToolIntervalMs(c.h, c.m, c.s, c.ms), c.expected) << c.h << "," << c.m << "," << c.s << "," << c.ms;
    }
}

TEST(ToolSettingsTest, ReadsTheWantedFieldsOnly) {
    // Each field reads as the settings files read a number; what matters here is the cutting.
    int32_t out[3] = {42, 42, 42};
    EXPECT_TRUE(ParseDecimalFields("5abc,2,3,junk", 3, out));
    EXPECT_EQ(std::vector<int32_t>(out, out + 3), (std::vector<int32_t>{5, 2, 3}));
    for (const char* bad : {"1,2", "1,2,", "1,,3"}) {
        int32_t keep[3] = {42, 42, 42};
        EXPECT_FALSE(ParseDecimalFields(bad, 3, keep)) << bad;
        EXPECT_EQ(keep[0], 42) << bad;
    }
}

TEST(ToolSettingsTest, UpdatesApplyWholeOrNotAtAll) {
    ResetAppState();
    EXPECT_TRUE(ApplySpammerUpdate("1,2,3,4,1,1,0,7,1,99"));
    EXPECT_EQ(std::vector<int32_t>({autoClickIntervalHours, autoClickIntervalMins, autoClickIntervalSecs,
                                    autoClickIntervalMs, autoClickerButtonIdx, autoClickClickType, autoClickRepeatMode,
                                    autoClickRepeatTimes, autoClickLocationMode}),
              std::vector<int32_t>({1, 2, 3, 4, 1, 1, 0, 7, 1}));
    for (const char* bad : {"0,0,0,9,0,0,1,5", "0,0,0,9,x,0,1,5,0", "0,0,0,9,0,0,1,5,99999999999", "\"]"}) {
        EXPECT_FALSE(ApplySpammerUpdate(bad)) << bad;
        EXPECT_EQ(autoClickIntervalMs, 4) << bad;
        EXPECT_EQ(autoClickRepeatTimes, 7) << bad;
    }

    EXPECT_TRUE(ApplyKeySpamUpdate("0,0,2,50,0,3"));
    EXPECT_EQ(std::vector<int32_t>({keySpamIntervalHours, keySpamIntervalMins, keySpamIntervalSecs, keySpamIntervalMs,
                                    keySpamRepeatMode, keySpamRepeatTimes}),
              std::vector<int32_t>({0, 0, 2, 50, 0, 3}));
    for (const char* bad : {"0,0,0,9,1", "0,0,0,9,1,z", "", ",,,,,"}) {
        EXPECT_FALSE(ApplyKeySpamUpdate(bad)) << bad;
        EXPECT_EQ(keySpamIntervalMs, 50) << bad;
    }

    // Negative or oversized parts and counts are refused with the field's range, changing nothing.
    const struct {
        bool spammer;
        const char* text;
        const char* why;
    } refused[] = {
        {true, "0,-5,0,9,0,0,1,5,0", "updateSpammer: the minutes must be a whole number from 0 to 1000000, not -5"},
        {true, "0,0,0,9,0,0,1,-1,0",
         "updateSpammer: the repeat count must be a whole number from 0 to 1000000000, not -1"},
        {false, "2147483647,0,0,9,1,3",
         "updateKeySpam: the hours must be a whole number from 0 to 1000000, not 2147483647"},
        {false, "0,0,0,9", "updateKeySpam: needs six whole numbers"},
    };
    for (const auto& r : refused) {
        std::string why;
        EXPECT_FALSE(r.spammer ? ApplySpammerUpdate(r.text, &why) : ApplyKeySpamUpdate(r.text, &why)) << r.text;
        EXPECT_EQ(why, r.why);
    }
    EXPECT_EQ(autoClickIntervalMins, 2);
    EXPECT_EQ(keySpamIntervalHours, 0);
}

// ---------------------------------------------------------------------------------------------------------
// The worker threads

// Runs one worker thread for the life of a test.
class Worker {
public:
    // Gives the thread time to reach its idle wait, so that a start isn't taken for a wake mid-run.
    explicit Worker(void (*body)()) : thread_(body) { std::this_thread::sleep_for(50ms); }
    ~Worker() {
        g_AppRunning = false;
        for (WakeEvent* ev : {&g_AutoClickWake, &g_KeySpamWake}) Wake(*ev);
        thread_.join();
    }

private:
    std::thread thread_;
};

std::vector<std::string> Only(const std::string& prefix) {
    std::vector<std::string> out;
    for (const auto& c : FakeInputCalls()) {
        if (c.rfind(prefix, 0) == 0) out.push_back(c);
    }
    return out;
}

class SpammerThreadTest : public ::testing::Test {
protected:
    void SetUp() override {
        ResetAppState();
        autoClickIntervalMs = 1;
        autoClickRepeatMode = 0;
    }
    // Starts a run as ProcessSignals does and waits for the count-out.
    void RunToCountOut() {
        isAutoClicking = true;
        WakeAutoClickThread();
        ASSERT_TRUE(WaitUntil([] { return !isAutoClicking; }));
    }
};

TEST_F(SpammerThreadTest, RepeatCounts) {
    struct Case {
        const char* name;
        int times, button, clickType;
        std::vector<std::string> calls;
    };
    const Case table[] = {
        {"zero rounds click nothing", 0, 0, 0, {}},
        {"a double click is one round: three rounds are six presses, every second one counting two",
         3,
         1,
         1,
         {"button 1 down 1", "button 1 up 1", "button 1 down 2", "button 1 up 2", "button 1 down 1", "button 1 up 1",
          "button 1 down 2", "button 1 up 2", "button 1 down 1", "button 1 up 1", "button 1 down 2", "button 1 up 2"}},
        {"button index 3 counts without clicking", 3, 3, 0, {}},
        {"a negative index counts without clicking", 2, -1, 1, {}},
    };
    Worker worker(AutoClickerThread);
    for (const auto& c : table) {
        ClearFakeInputCalls();
        autoClickRepeatTimes = c.times;
        autoClickerButtonIdx = c.button;
        autoClickClickType = c.clickType;
        RunToCountOut();
        EXPECT_EQ(FakeInputCalls(), c.calls) << c.name;
        // The count holds its final value until the thread goes idle, then starts again from 0.
        EXPECT_TRUE(WaitUntil([] { return currentClickCount == 0; })) << c.name;
    }
}

TEST_F(SpammerThreadTest, DoubleClickPressesAreFifteenMillisecondsApart) {
    autoClickRepeatTimes = 1;
    autoClickClickType = 1;
    Worker worker(AutoClickerThread);
    const auto start = std::chrono::steady_clock::now();
    RunToCountOut();
    EXPECT_GE(std::chrono::steady_clock::now() - start, 15ms);
    EXPECT_EQ(Only("button").size(), 4u);
}

TEST_F(SpammerThreadTest, AStopEndsAnHourLongWaitAtOnce) {
    autoClickRepeatMode = 1;
    autoClickIntervalHours = 1;
    Worker worker(AutoClickerThread);
    triggerAutoClickStart = true;
    ProcessSignals();
    ASSERT_TRUE(WaitUntil([] { return currentClickCount == 1; }));
    const auto stop = std::chrono::steady_clock::now();
    triggerAutoClickStop = true;
    ProcessSignals();
    ASSERT_TRUE(WaitUntil([] { return currentClickCount == 0; }));
    EXPECT_LT(std::chrono::steady_clock::now() - stop, 1s);
    EXPECT_EQ(FakeInputCalls(), (std::vector<std::string>{"button 0 down 1", "button 0 up 1", "up 0", "up 1", "up 2"}));
}

class KeySpammerThreadTest : public ::testing::Test {
protected:
    void SetUp() override {
        ResetAppState();
        keySpamIntervalMs = 1;
        keySpamRepeatMode = 0;
        keySpamTargetCount = 0;
        for (int vk : {65, 66, 67}) AppendKeySpamTarget(vk);
    }
    void RunToCountOut(int rounds) {
        keySpamRepeatTimes = rounds;
        isKeySpamming = true;
        WakeKeySpamThread();
        ASSERT_TRUE(WaitUntil([] { return !isKeySpamming; }));
    }
};

TEST_F(KeySpammerThreadTest, SequenceGoesOnAcrossRuns) {
    Worker worker(KeySpammerThread);
    // The run's own sequence is seen by a window in the X11 injection test; here, what a count-out and the
    // next run make of the position.
    RunToCountOut(4);
    EXPECT_EQ(Only("key 65 down").size(), 2u);
    EXPECT_EQ(FakeInputCalls().back(), "key 67 up");  // the count-out releases every target

    ClearFakeInputCalls();
    ASSERT_TRUE(WaitUntil([] { return currentKeySpamCount == 0; }));
    RunToCountOut(1);
    EXPECT_EQ(Only("key 6").front(), "key 66 down");

    // The position now points at index 2: removing the last key puts it past the end, so the next round
    // restarts at the first.
    ASSERT_TRUE(WaitUntil([] { return currentKeySpamCount == 0; }));
    RemoveKeySpamTarget(2);
    ClearFakeInputCalls();
    RunToCountOut(1);
    EXPECT_EQ(Only("key 6").front(), "key 65 down");
}

TEST_F(KeySpammerThreadTest, ZeroRoundsPressNothingAndReleaseAll) {
    Worker worker(KeySpammerThread);
    RunToCountOut(0);
    EXPECT_EQ(FakeInputCalls(), (std::vector<std::string>{"key 65 up", "key 66 up", "key 67 up"}));
}

TEST_F(KeySpammerThreadTest, RemovingTheOnlyTargetWhileRunningStops) {
    keySpamTargetCount = 0;
    AppendKeySpamTarget(32);
    keySpamRepeatMode = 1;
    keySpamIntervalHours = 1;
    Worker worker(KeySpammerThread);
    triggerKeySpamStart = true;
    ProcessSignals();
    ASSERT_TRUE(WaitUntil([] { return currentKeySpamCount == 1; }));
    RemoveKeySpamTarget(0);
    EXPECT_EQ(keySpamTargetCount, 0);
    EXPECT_TRUE(triggerKeySpamStop);
    ProcessSignals();
    EXPECT_FALSE(isKeySpamming);
    EXPECT_TRUE(WaitUntil([] { return currentKeySpamCount == 0; }));
    // With the list empty a start does nothing.
    triggerKeySpamStart = true;
    ProcessSignals();
    EXPECT_FALSE(isKeySpamming);
}

TEST_F(KeySpammerThreadTest, AnEmptiedListEndsTheRunFromTheThread) {
    keySpamRepeatMode = 1;
    keySpamTargetCount = 0;
    Worker worker(KeySpammerThread);
    isKeySpamming = true;  // as a start racing the last removal would leave it
    WakeKeySpamThread();
    EXPECT_TRUE(WaitUntil([] { return !isKeySpamming; }));
    EXPECT_TRUE(FakeInputCalls().empty());
}

TEST(KeySpamTargetsTest, TheListHoldsAtMost256) {
    ResetAppState();
    keySpamTargetCount = 0;
    for (int i = 0; i < 257; ++i) AppendKeySpamTarget(i % 2 ? 65 : 66);
    EXPECT_EQ(keySpamTargetCount, 256);
    EXPECT_EQ(keySpamTargets[255], 65);
    EXPECT_EQ(vkKeySpamTarget, 66);
    ResetAppState();
}

}  // namespace

TEST(ToolMeterTest, CountsWhatWasPressedAndMeasuresTheRate) {
    constexpr int64_t kMs = 1'000'000;
    ToolMeter m;
    MeterRunStarts(m);
    // A short run: three rounds 100 ms apart. The rate counts from the first round.
    for (int i = 0; i < 3; ++i) MeterCount(m, 1, 5'000 * kMs + i * 100 * kMs);
    EXPECT_EQ(m.presses, 3);
    EXPECT_DOUBLE_EQ(m.perSecond, 10.0);
    // Rounds that press nothing (a button that doesn't exist) count none and lower the rate.
    for (int i = 3; i < 6; ++i) MeterCount(m, 0, 5'000 * kMs + i * 100 * kMs);
    EXPECT_EQ(m.presses, 3);
    EXPECT_DOUBLE_EQ(m.perSecond, 4.0);  // 2 presses in the half second since the first round

    // A new run starts from nothing; double clicks count two, every millisecond for a second.
    MeterRunStarts(m);
    EXPECT_EQ(m.presses, 0);
    EXPECT_DOUBLE_EQ(m.perSecond, 0.0);
    for (int i = 0; i <= 1000; ++i) MeterCount(m, 2, 9'000 * kMs + i * kMs);
    EXPECT_EQ(m.presses, 2002);
    EXPECT_DOUBLE_EQ(m.perSecond, 2000.0);
    // The rate follows a slower pace after the next window, whatever came before.
    for (int i = 1; i <= 60; ++i) MeterCount(m, 2, 10'000 * kMs + i * 10 * kMs);
    EXPECT_DOUBLE_EQ(m.perSecond, 200.0);
}
