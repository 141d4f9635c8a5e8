// The signal processor's rules, driven through the trigger flags with a recording fake of the input layer.
#include <gtest/gtest.h>

#include "core/AppState.h"
#include "core/Signals.h"
#include "core/Wake.h"
#include "engine/KeySpammer.h"
#include "tests/fakes/Fakes.h"

namespace {

// Run state as letters: R recording, P playing, A Spammer, K Key Spammer.
void SetRunState(const std::string& s) {
    isRecording = s.find('R') != std::string::npos;
    isPlaying = s.find('P') != std::string::npos;
    isAutoClicking = s.find('A') != std::string::npos;
    isKeySpamming = s.find('K') != std::string::npos;
}

std::string RunState() {
    std::string s;
    if (isRecording) s += 'R';
    if (isPlaying) s += 'P';
    if (isAutoClicking) s += 'A';
    if (isKeySpamming) s += 'K';
    return s;
}

// Which worker events a pass signalled: P playback, A Spammer, K Key Spammer.
std::string Woken() {
    std::string s;
    if (g_PlaybackWake.signalled.exchange(false)) s += 'P';
    if (g_AutoClickWake.signalled.exchange(false)) s += 'A';
    if (g_KeySpamWake.signalled.exchange(false)) s += 'K';
    return s;
}

std::atomic<bool>* const kAllTriggers[] = {
    &triggerAutoClicker,  &triggerAutoClickStart, &triggerAutoClickStop, &triggerKeySpam,    &triggerKeySpamStart,
    &triggerKeySpamStop,  &triggerRecord,         &triggerRecordStart,   &triggerRecordStop, &triggerRecordContinue,
    &triggerUndoContinue, &triggerPlay,           &triggerPlayStart,     &triggerPlayStop};

struct Scenario {
    const char* name;
    std::vector<std::atomic<bool>*> triggers;
    std::string before;
    std::string after;
    std::vector<std::string> calls;
    std::string woken;
    int targets = 1;
    bool stopToolsWithMacro = true;
};

const std::vector<std::string> kSpammerUp = {"up 0", "up 1", "up 2"};
const std::vector<std::string> kMacroUp = {"up 0", "up 1"};

std::vector<std::string> Concat(std::initializer_list<std::vector<std::string>> parts) {
    std::vector<std::string> out;
    for (const auto& p : parts) out.insert(out.end(), p.begin(), p.end());
    return out;
}

class SignalsTest : public ::testing::Test {
protected:
    void SetUp() override { ResetAppState(); }
};

TEST_F(SignalsTest, TriggerTable) {
    const std::vector<Scenario> table = {
        {"spammer toggles on", {&triggerAutoClicker}, "", "A", {}, "A"},
        {"spammer toggles off and lifts three buttons", {&triggerAutoClicker}, "A", "", kSpammerUp, "A"},
        {"spammer start and stop together end stopped",
         {&triggerAutoClickStart, &triggerAutoClickStop},
         "",
         "",
         kSpammerUp,
         "A"},
        {"spammer start while running is dropped", {&triggerAutoClickStart}, "A", "A", {}, ""},
        {"spammer stop while idle is dropped", {&triggerAutoClickStop}, "", "", {}, ""},
        {"key spam toggle with no target only wakes", {&triggerKeySpam}, "", "", {}, "K", 0},
        {"key spam toggles on", {&triggerKeySpam}, "", "K", {}, "K"},
        {"key spam toggles off and releases targets", {&triggerKeySpam}, "K", "", {"key 32 up"}, "K"},
        {"key spam start with no target is dropped", {&triggerKeySpamStart}, "", "", {}, "", 0},
        {"key spam stop releases targets", {&triggerKeySpamStop}, "AK", "A", {"key 32 up"}, "K"},
        {"play toggles on", {&triggerPlay}, "", "P", {}, "P"},
        {"play toggle off stops the tools",
         {&triggerPlay},
         "PAK",
         "",
         Concat({kMacroUp, kSpammerUp, {"key 32 up"}}),
         "PAK"},
        {"play toggle off leaves the tools when not tied", {&triggerPlay}, "PAK", "AK", kMacroUp, "P", 1, false},
        {"play stop", {&triggerPlayStop}, "P", "", kMacroUp, "P"},
        {"play start while playing is dropped", {&triggerPlayStart}, "P", "P", {}, ""},
        {"play toggle during recording is dropped", {&triggerPlay}, "R", "R", {}, ""},
        {"play start during recording is dropped", {&triggerPlayStart}, "R", "R", {}, ""},
        {"play stop during recording is dropped", {&triggerPlayStop}, "RP", "RP", {}, ""},
        {"record toggle during playback is lost", {&triggerRecord}, "P", "P", {}, ""},
        {"record start during playback is dropped", {&triggerRecordStart}, "P", "P", {}, ""},
        {"record toggles on", {&triggerRecord}, "", "R", {}, ""},
        {"record toggle off stops the tools", {&triggerRecord}, "RAK", "", Concat({kSpammerUp, {"key 32 up"}}), "AK"},
        {"record stop", {&triggerRecordStop}, "R", "", {}, ""},
        {"record stop while idle is dropped", {&triggerRecordStop}, "", "", {}, ""},
        {"record start beats play start in the same pass", {&triggerRecordStart, &triggerPlayStart}, "", "R", {}, ""},
        {"record stop then play start in one pass", {&triggerRecordStop, &triggerPlayStart}, "R", "P", {}, "P"},
        {"starting a macro stops no tool", {&triggerPlayStart}, "AK", "PAK", {}, "P"},
    };
    for (const auto& s : table) {
        SCOPED_TRACE(s.name);
        ResetAppState();
        keySpamTargetCount = s.targets;
        g_StopToolsWithMacro = s.stopToolsWithMacro;
        SetRunState(s.before);
        for (auto* t : s.triggers) *t = true;

        ProcessSignals();

        EXPECT_EQ(RunState(), s.after);
        EXPECT_EQ(FakeInputCalls(), s.calls);
        EXPECT_EQ(Woken(), s.woken);
        for (auto* t : kAllTriggers) EXPECT_FALSE(*t) << "a trigger was left set";
    }
}

TEST_F(SignalsTest, ToolTogglesAreRecordedAgainstTheStartOfThePass) {
    triggerRecordStart = true;
    ProcessSignals();
    triggerAutoClicker = true;
    triggerKeySpam = true;
    ProcessSignals();
    triggerAutoClickStop = true;
    ProcessSignals();
    // A tool that stops in the same pass as the recording ends leaves no toggle.
    triggerRecordStop = true;
    triggerKeySpamStop = true;
    ProcessSignals();

    std::lock_guard<std::mutex> lock(profileMutex);
    const auto& ev = profiles[0].events;
    ASSERT_EQ(ev.size(), 3u);
    EXPECT_EQ(ev[0].type, EventToolToggle);
    EXPECT_EQ(ev[0].vk, 1);
    EXPECT_TRUE(ev[0].down);
    EXPECT_EQ(ev[1].vk, 2);
    EXPECT_TRUE(ev[1].down);
    EXPECT_EQ(ev[2].vk, 1);
    EXPECT_FALSE(ev[2].down);
    EXPECT_EQ(ev[0].time, 0.0);  // a fresh recording starts at 0
    EXPECT_LE(ev[1].time, ev[2].time);
    EXPECT_EQ(ev[2].x, 0);
    EXPECT_EQ(ev[2].mouseFlags, 0u);
}

TEST_F(SignalsTest, HotkeyPressesSetTheirTriggers) {
    struct Case {
        unsigned long key;
        bool holdAuto, holdKeySpam;
        bool claimed;
        std::atomic<bool>* trigger;
    } cases[] = {
        {119, false, false, true, &triggerRecord},
        {118, false, false, true, &triggerPlay},
        {117, false, false, true, &triggerAutoClicker},
        {117, true, false, true, &triggerAutoClickStart},
        {120, false, false, true, &triggerKeySpam},
        {120, false, true, true, &triggerKeySpamStart},
        {65, false, false, false, nullptr},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.key);
        ResetAppState();
        g_HoldModeAuto = c.holdAuto;
        g_HoldModeKeySpam = c.holdKeySpam;
        EXPECT_EQ(HandleHotkeyDown(c.key), c.claimed);
        for (auto* t : kAllTriggers) EXPECT_EQ(t->load(), t == c.trigger);
        EXPECT_EQ(g_SignalWake.signalled.load(), c.claimed);
    }
}

TEST_F(SignalsTest, EqualHotkeysResolveInTestOrder) {
    vkPlay = vkRecord.load();
    EXPECT_TRUE(HandleHotkeyDown(119));
    EXPECT_TRUE(triggerRecord);
    EXPECT_FALSE(triggerPlay);

    ResetAppState();
    vkAutoClicker = kDefaultVkUnlock;  // the unlock key beats every tool while the lock is on
    EXPECT_TRUE(HandleHotkeyDown(kDefaultVkUnlock));
    EXPECT_FALSE(triggerAutoClicker);
    EXPECT_FALSE(g_HotkeysUnlocked);
}

TEST_F(SignalsTest, HotkeyLockIsASafetyCatch) {
    // The first press after start locks and stops the Spammer, the Key Spammer and playback.
    SetRunState("RPAK");
    EXPECT_TRUE(HandleHotkeyDown(kDefaultVkUnlock));
    EXPECT_FALSE(g_HotkeysUnlocked);
    EXPECT_TRUE(triggerAutoClickStop && triggerKeySpamStop && triggerPlayStop);
    EXPECT_FALSE(HotkeysLive());

    // Locked: tool hotkeys pass through to the application and do nothing.
    triggerAutoClickStop = triggerKeySpamStop = triggerPlayStop = false;
    g_SignalWake.signalled = false;
    EXPECT_FALSE(HandleHotkeyDown(kDefaultVkAutoClicker));
    EXPECT_FALSE(HandleHotkeyDown(kDefaultVkRecord));
    EXPECT_FALSE(triggerAutoClicker || triggerRecord);
    EXPECT_FALSE(g_SignalWake.signalled);

    // The second press unlocks and starts nothing.
    EXPECT_TRUE(HandleHotkeyDown(kDefaultVkUnlock));
    EXPECT_TRUE(g_HotkeysUnlocked);
    for (auto* t : kAllTriggers) EXPECT_FALSE(*t);
    EXPECT_TRUE(HandleHotkeyDown(kDefaultVkAutoClicker));

    // With the lock off the unlock key is an ordinary key.
    ResetAppState();
    g_HotkeyLockEnabled = false;
    g_HotkeysUnlocked = false;
    EXPECT_TRUE(HotkeysLive());
    EXPECT_FALSE(HandleHotkeyDown(kDefaultVkUnlock));
    EXPECT_TRUE(HandleHotkeyDown(kDefaultVkPlay));
}

TEST_F(SignalsTest, HoldModeRunsWhileTheHotkeyIsDown) {
    g_HoldModeAuto = true;
    ASSERT_TRUE(HandleHotkeyDown(kDefaultVkAutoClicker));
    ProcessSignals();
    EXPECT_TRUE(isAutoClicking);
    OnHotkeyReleased(kDefaultVkAutoClicker);
    ProcessSignals();
    EXPECT_FALSE(isAutoClicking);

    // A release outside hold mode does nothing.
    g_HoldModeAuto = false;
    ASSERT_TRUE(HandleHotkeyDown(kDefaultVkAutoClicker));
    ProcessSignals();
    OnHotkeyReleased(kDefaultVkAutoClicker);
    ProcessSignals();
    EXPECT_TRUE(isAutoClicking);

    // One key may serve both tools: the release stops both.
    ResetAppState();
    vkKeySpamHotkey = kDefaultVkAutoClicker;
    g_HoldModeAuto = true;
    g_HoldModeKeySpam = true;
    OnHotkeyReleased(kDefaultVkAutoClicker);
    EXPECT_TRUE(triggerAutoClickStop && triggerKeySpamStop);

    // The hold-mode release is not subject to the lock.
    ResetAppState();
    g_HoldModeAuto = true;
    g_HotkeysUnlocked = false;
    OnHotkeyReleased(kDefaultVkAutoClicker);
    EXPECT_TRUE(triggerAutoClickStop);
}

TEST_F(SignalsTest, ApplyHoldModeReadsOnlyExactWords) {
    const struct {
        const char* text;
        bool autoAfter, keySpamAfter;
    } cases[] = {
        {"auto,1", true, false},   {"keyspam,1", false, true}, {"auto,true", false, false}, {"auto1", false, false},
        {"other,1", false, false}, {"auto,1,x", false, false}, {"", false, false},          {",1", false, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        ResetAppState();
        ApplyHoldMode(c.text);
        EXPECT_EQ(g_HoldModeAuto.load(), c.autoAfter);
        EXPECT_EQ(g_HoldModeKeySpam.load(), c.keySpamAfter);
    }
    g_HoldModeKeySpam = true;
    ApplyHoldMode("keyspam,0");
    EXPECT_FALSE(g_HoldModeKeySpam);
}

TEST_F(SignalsTest, CapturedKeysGoToTheirTarget) {
    const struct {
        const char* arg;
        std::atomic<int32_t>* hotkey;
    } cases[] = {{"[\"rec\"]", &vkRecord},
                 {"[\"play\"]", &vkPlay},
                 {"[\"auto\"]", &vkAutoClicker},
                 {"[\"keyspamhotkey\"]", &vkKeySpamHotkey},
                 {"[\"unlock\"]", &vkUnlock}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.arg);
        ResetAppState();
        EXPECT_EQ(BindReassignKey(c.arg), "");
        ASSERT_NE(currentReassign, 0);
        capturedReassignKey = 65;
        ProcessSignals();
        EXPECT_EQ(c.hotkey->load(), 65);
        EXPECT_EQ(currentReassign, 0);
        EXPECT_EQ(capturedReassignKey, 0);
    }

    // Escape cancels and leaves the hotkey as it was.
    ResetAppState();
    BindReassignKey("[\"auto\"]");
    capturedReassignKey = 27;
    ProcessSignals();
    EXPECT_EQ(vkAutoClicker, kDefaultVkAutoClicker);
    EXPECT_EQ(currentReassign, 0);

    // Nothing captured yet: the capture stays open.
    ResetAppState();
    BindReassignKey("[\"play\"]");
    ProcessSignals();
    EXPECT_EQ(currentReassign, 2);

    // Unknown words change nothing.
    ResetAppState();
    BindReassignKey("[\"Auto\"]");
    EXPECT_EQ(currentReassign, 0);
}

TEST_F(SignalsTest, KeySpamTargetList) {
    BindReassignKey("[\"keyspamtarget\"]");
    capturedReassignKey = 65;
    ProcessSignals();
    ASSERT_EQ(keySpamTargetCount, 2);
    EXPECT_EQ(keySpamTargets[1], 65);
    EXPECT_EQ(vkKeySpamTarget, 32);

    ResetAppState();
    AppendKeySpamTarget(65);
    AppendKeySpamTarget(66);
    RemoveKeySpamTarget(0);  // the rest moves down, the mirror follows the new first
    EXPECT_EQ(keySpamTargetCount, 2);
    EXPECT_EQ(keySpamTargets[0], 65);
    EXPECT_EQ(keySpamTargets[1], 66);
    EXPECT_EQ(vkKeySpamTarget, 65);
    RemoveKeySpamTarget(2);  // out of range
    RemoveKeySpamTarget(-1);
    EXPECT_EQ(keySpamTargetCount, 2);
}

}  // namespace

#include "input/InputTap.h"

namespace {

TEST_F(SignalsTest, ASessionLockStopsOnlyHoldModeTools) {
    SetRunState("AK");
    g_HoldModeAuto = true;
    InputTapOnSessionLocked();
    EXPECT_TRUE(g_ResetTrackers);
    EXPECT_TRUE(g_SignalWake.signalled);
    ProcessSignals();
    EXPECT_EQ(RunState(), "K");  // the Key Spammer was toggled, not held: its release isn't lost
    g_ResetTrackers = false;
}

}  // namespace
