// The signal processor's rules, driven through the trigger flags with a recording fake of the input layer.
#include <gtest/gtest.h>

#include "core/AppState.h"
#include "core/Wake.h"
#include "engine/KeySpammer.h"
#include "engine/Signals.h"
#include "input/InputTap.h"
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
        {"spammer start and stop at once", {&triggerAutoClickStart, &triggerAutoClickStop}, "", "", kSpammerUp, "A"},
        {"spammer start while running is dropped", {&triggerAutoClickStart}, "A", "A", {}, ""},
        {"spammer stop while idle is dropped", {&triggerAutoClickStop}, "", "", {}, ""},
        {"key spam toggle with no target only wakes", {&triggerKeySpam}, "", "", {}, "K", 0},
        {"key spam toggles on", {&triggerKeySpam}, "", "K", {}, "K"},
        {"key spam toggles off and releases targets", {&triggerKeySpam}, "K", "", {"key 32 up"}, "K"},
        {"key spam start with no target is dropped", {&triggerKeySpamStart}, "", "", {}, "", 0},
        {"key spam stop releases targets", {&triggerKeySpamStop}, "AK", "A", {"key 32 up"}, "K"},
        {"play toggles on", {&triggerPlay}, "", "P", {}, "P"},
        {"play off stops the tools", {&triggerPlay}, "PAK", "", Concat({kMacroUp, kSpammerUp, {"key 32 up"}}), "PAK"},
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

// A start that can't do anything is told to the page (a hotkey must not seem dead); a macro's are not.
TEST_F(SignalsTest, AStartThatDoesNothingIsToldToThePage) {
    struct Case {
        const char* name;
        std::atomic<bool>* trigger;
        int rounds;  // -1: until stopped
        int targets;
        bool playing;
        std::string told;
    };
    const std::vector<Case> table = {
        {"spammer hotkey, 0 rounds", &triggerAutoClicker, 0, 1, false, "sp-rounds"},
        {"spammer hold start, 0 rounds", &triggerAutoClickStart, 0, 1, false, "sp-rounds"},
        {"spammer, 5 rounds", &triggerAutoClicker, 5, 1, false, ""},
        {"spammer until stopped", &triggerAutoClicker, -1, 1, false, ""},
        {"a macro starts the spammer with 0 rounds", &triggerAutoClickStart, 0, 1, true, ""},
        {"key spammer hotkey without keys", &triggerKeySpam, 5, 0, false, "ks-keys"},
        {"key spammer hold start without keys", &triggerKeySpamStart, -1, 0, false, "ks-keys"},
        {"key spammer hotkey, 0 rounds", &triggerKeySpam, 0, 1, false, "ks-rounds"},
        {"key spammer, 3 rounds", &triggerKeySpamStart, 3, 1, false, ""},
    };
    std::vector<std::string> scripts;
    g_MasterEvalFn.Set([&scripts](const std::string& script) { scripts.push_back(script); });
    for (const auto& c : table) {
        SCOPED_TRACE(c.name);
        ResetAppState();
        scripts.clear();
        keySpamTargetCount = c.targets;
        autoClickRepeatMode = c.rounds < 0 ? 1 : 0;
        keySpamRepeatMode = c.rounds < 0 ? 1 : 0;
        autoClickRepeatTimes = c.rounds < 0 ? 10 : c.rounds;
        keySpamRepeatTimes = c.rounds < 0 ? 10 : c.rounds;
        isPlaying = c.playing;
        *c.trigger = true;
        ProcessSignals();
        if (c.told.empty()) {
            EXPECT_TRUE(scripts.empty());
        } else {
            ASSERT_EQ(scripts.size(), 1u);
            EXPECT_NE(scripts[0].find("onToolStartIgnored('" + c.told + "')"), std::string::npos) << scripts[0];
        }
    }
    g_MasterEvalFn.Clear();
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
    const auto toggle = [](int tool, bool on) { return UnifiedEvent{EventToolToggle, 0, 0, 0, 0, tool, on, 0}; };
    EXPECT_EQ(ev[0], toggle(1, true));  // a fresh recording starts at 0
    EXPECT_EQ(ev[1].vk, 2);
    EXPECT_TRUE(ev[1].down);
    UnifiedEvent last = ev[2];
    last.time = 0;
    EXPECT_EQ(last, toggle(1, false));
    EXPECT_LE(ev[1].time, ev[2].time);
}

TEST_F(SignalsTest, HotkeyPressesSetTheirTriggers) {
    // F8, F7 and F6 are driven through the tap's rules (InputTapTest) and on the server (TapTest).
    for (bool hold : {false, true}) {
        ResetAppState();
        g_HoldModeKeySpam = hold;
        EXPECT_TRUE(HandleHotkeyDown(kDefaultVkKeySpamHotkey));
        std::atomic<bool>* const expected = hold ? &triggerKeySpamStart : &triggerKeySpam;
        for (auto* t : kAllTriggers) EXPECT_EQ(t->load(), t == expected) << hold;
        EXPECT_TRUE(g_SignalWake.signalled);
    }
    ResetAppState();
    EXPECT_FALSE(HandleHotkeyDown(65));
    EXPECT_FALSE(g_SignalWake.signalled);
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

    // Locked: tool hotkeys pass through to the application. The second press unlocks and starts nothing.
    triggerAutoClickStop = triggerKeySpamStop = triggerPlayStop = false;
    EXPECT_FALSE(HandleHotkeyDown(kDefaultVkRecord));
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

TEST_F(SignalsTest, HoldModeReleases) {
    // A release outside hold mode does nothing.
    OnHotkeyReleased(kDefaultVkAutoClicker);
    EXPECT_FALSE(triggerAutoClickStop);

    // One key may serve both tools: the release stops both.
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
        {"auto,1", true, false}, {"keyspam,1", false, true}, {"auto,true", false, false},
        {"auto1", false, false}, {"other,1", false, false},  {"auto,1,x", false, false},
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
    EXPECT_EQ(keySpamTargetCount, 2);
}

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
