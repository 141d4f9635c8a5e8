// Retiming at the end of a recording, and the one-level undo of a continued recording.
#include <gtest/gtest.h>

#include <cmath>

#include "core/AppState.h"
#include "engine/Recorder.h"
#include "engine/Signals.h"
#include "tests/fakes/Fakes.h"

namespace {

UnifiedEvent Key(double t) { return UnifiedEvent{EventKey, t, 0, 0, 0, 65, true, 0}; }
UnifiedEvent Click(double t, uint64_t flags) { return UnifiedEvent{EventMouseClick, t, 0, 0, flags, 0, false, 0}; }

std::vector<double> Times(const std::vector<UnifiedEvent>& ev) {
    std::vector<double> t;
    for (const auto& e : ev) t.push_back(std::round(e.time * 1e6) / 1e6);
    return t;
}

TEST(RetimeTest, Examples) {
    const struct {
        const char* name;
        std::vector<UnifiedEvent> events;
        unsigned long firstNew;
        std::vector<double> expected;
    } cases[] = {
        {"a fresh recording starts at 0 whatever came first", {Key(3.0), Key(3.5)}, 0, {0.0, 0.5}},
        // A continuation begins a tenth after the macro's last event.
        {"continuation", {Key(2.0), Key(10.0), Key(0.4), Key(1.4)}, 2, {2.0, 10.0, 10.1, 11.1}},
        // The double-click guard moves a press of the same button later.
        {"guard", {Click(9.95, 2), Key(10.0), Click(0.2, 2), Key(0.5)}, 2, {9.95, 10.0, 10.5, 10.8}},
        {"different buttons: no guard", {Click(9.95, 2), Key(10.0), Click(0.2, 8)}, 2, {9.95, 10.0, 10.1}},
        // A release at the end of the old part: its press is still compared.
        {"release last", {Click(9.9, 2), Click(9.95, 4), Click(0.0, 2)}, 2, {9.9, 9.95, 10.45}},
        {"only a release among the old events: no guard", {Click(9.95, 4), Click(0.0, 4)}, 1, {9.95, 10.05}},
        {"a press already far enough needs no guard", {Click(5.0, 2), Key(10.0), Click(0.0, 2)}, 2, {5.0, 10.0, 10.1}},
        // The earliest new event, not the first in the list, sets the shift.
        {"earliest", {Key(1.0), Key(0.7), Key(0.2)}, 1, {1.0, 1.6, 1.1}},
        {"no new events: nothing moves", {Key(3.0), Key(4.0)}, 2, {3.0, 4.0}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        auto ev = c.events;
        RetimeRecordedEvents(ev, c.firstNew, 0.1, 0.55);
        EXPECT_EQ(Times(ev), c.expected);
    }
}

class ContinueTest : public ::testing::Test {
protected:
    void SetUp() override {
        ResetAppState();
        g_FakeDoubleClickSeconds = 0.5;
        profiles[0].events = {Key(1.0), Key(2.0)};
        profiles.push_back(MacroProfile{"Other", "", {Key(5.0)}});
    }

    static void Pass(std::atomic<bool>& trigger) {
        trigger = true;
        ProcessSignals();
    }

    static bool CanUndo() {
        std::lock_guard<std::mutex> lock(profileMutex);
        return CanUndoContinueLocked();
    }
};

TEST_F(ContinueTest, UndoRestoresTheMacroBeforeTheContinuation) {
    Pass(triggerRecordContinue);
    ASSERT_TRUE(isRecording);
    EXPECT_FALSE(CanUndo());  // not while recording
    RecordEvent(Key(0.3));
    Pass(triggerRecordStop);
    EXPECT_EQ(Times(profiles[0].events), (std::vector<double>{1.0, 2.0, 2.1}));
    EXPECT_TRUE(CanUndo());

    // Switching away and back keeps the undo open.
    currentProfileIdx = 1;
    EXPECT_FALSE(CanUndo());
    currentProfileIdx = 0;
    EXPECT_TRUE(CanUndo());

    Pass(triggerUndoContinue);
    EXPECT_EQ(Times(profiles[0].events), (std::vector<double>{1.0, 2.0}));
    EXPECT_FALSE(CanUndo());  // one level only
}

TEST_F(ContinueTest, AnyEditClosesTheUndo) {
    Pass(triggerRecordContinue);
    RecordEvent(Key(0.3));
    Pass(triggerRecordStop);
    profiles[0].events.erase(profiles[0].events.begin());
    Pass(triggerUndoContinue);
    EXPECT_EQ(profiles[0].events.size(), 2u);
}

TEST_F(ContinueTest, FreshRecordingClearsTheMacroAndTheUndo) {
    Pass(triggerRecordContinue);
    Pass(triggerRecordStop);
    EXPECT_TRUE(CanUndo());  // a continuation without new events still leaves the undo open
    Pass(triggerRecordStart);
    EXPECT_TRUE(profiles[0].events.empty());
    Pass(triggerRecordStop);
    EXPECT_TRUE(profiles[0].events.empty());
    EXPECT_FALSE(CanUndo());
    EXPECT_EQ(g_ContinueUndoProfile, -1);
}

TEST_F(ContinueTest, ContinuingAnEmptyMacroUndoesToEmpty) {
    profiles[0].events.clear();
    Pass(triggerRecordContinue);
    RecordEvent(Key(4.0));
    Pass(triggerRecordStop);
    EXPECT_EQ(Times(profiles[0].events), std::vector<double>{0.0});
    Pass(triggerUndoContinue);
    EXPECT_TRUE(profiles[0].events.empty());
}

}  // namespace
