// The tap's rules, driven by scripts of input events. Each line is one event and what must become of it:
//   "key 117 down -> swallow"            a key press swallowed; "swallow hold" when its release will be too
//   "button 1 down 10.4 20.6 -> pass click 10,21 0x2"   passed on and recorded
//   "move 3 4 -> pass move 3,4", "move -> pass" (a move whose point wasn't read), "scroll -1 -> pass scroll -120"
#include <gtest/gtest.h>

#include <sstream>

#include "core/AppState.h"
#include "engine/Signals.h"
#include "input/InputTap.h"
#include "platform/Platform.h"
#include "tests/fakes/Fakes.h"

namespace {

std::string Describe(const TapVerdict& v) {
    std::string out = v.swallow ? (v.keepsRelease ? "swallow hold" : "swallow") : "pass";
    if (!v.record) return out;
    const UnifiedEvent& e = v.event;
    std::ostringstream s;
    switch (e.type) {
        case EventKey: s << " key " << e.vk << (e.down ? " down" : " up"); break;
        case EventMouseClick: s << " click " << e.x << "," << e.y << " 0x" << std::hex << e.mouseFlags; break;
        case EventMoveAbs: s << " move " << e.x << "," << e.y; break;
        case EventMoveRel: s << " rel " << e.x << "," << e.y; break;
        case EventScroll: s << " scroll " << e.scrollDelta; break;
        default: s << " type " << e.type; break;
    }
    return out + s.str();
}

TapEvent Parse(const std::string& line) {
    std::istringstream in(line);
    std::string word, dir;
    in >> word;
    TapEvent e;
    if (word == "key" || word == "button") {
        e.kind = word == "key" ? TapKey : TapButton;
        in >> e.vk >> dir >> e.x >> e.y;
        e.down = dir == "down";
    } else if (word == "move") {
        e.kind = TapMove;
        e.hasPoint = static_cast<bool>(in >> e.x >> e.y);
    } else {
        e.kind = TapScroll;
        in >> e.scrollLines;
    }
    return e;
}

// Runs "event -> expected" lines in order; reports every line whose outcome differs.
void RunScript(const std::vector<std::string>& lines) {
    for (const std::string& line : lines) {
        const auto arrow = line.find(" -> ");
        ASSERT_NE(arrow, std::string::npos) << line;
        TakeTrackerReset();
        EXPECT_EQ(Describe(HandleTapEvent(Parse(line.substr(0, arrow)))), line.substr(arrow + 4)) << line;
    }
}

class InputTapTest : public ::testing::Test {
protected:
    void SetUp() override {
        ResetAppState();
        ResetTapTables();
        g_FakeWindowPid = 0;
    }
    void Record() { isRecording = true; }
};

TEST_F(InputTapTest, HotkeysAreSwallowedWithTheirRepeatsAndTriggerOnce) {
    RunScript({"key 117 down -> swallow hold"});
    ProcessSignals();
    EXPECT_TRUE(isAutoClicking);
    RunScript({"key 117 down -> swallow hold", "key 117 down -> swallow hold", "key 117 up -> swallow"});
    EXPECT_FALSE(triggerAutoClicker);  // the repeats toggle nothing

    // A mouse button as a hotkey follows the same rule.
    vkPlay = 5;
    RunScript({"button 5 down 1 1 -> swallow hold", "button 5 up 1 1 -> swallow"});
    EXPECT_TRUE(triggerPlay);
}

TEST_F(InputTapTest, PlainKeysAreRecordedWithTheirRepeatsAndHotkeysStayOut) {
    Record();
    RunScript({"key 65 down -> pass key 65 down", "key 65 down -> pass key 65 down", "key 65 up -> pass key 65 up",
               "key 119 down -> swallow hold", "key 119 up -> swallow",
               // Left and right Shift are keys of their own, whatever a hotkey says.
               "key 160 down -> pass key 160 down", "key 161 down -> pass key 161 down",
               "key 160 up -> pass key 160 up", "key 161 up -> pass key 161 up",
               // A key code without a VK is passed on unseen.
               "key 0 down -> pass"});
    EXPECT_TRUE(triggerRecord);
}

TEST_F(InputTapTest, AHotkeyThatIsNotClaimedIsAnOrdinaryKey) {
    Record();
    g_HotkeysEnabled = false;
    RunScript({"key 117 down -> pass key 117 down", "key 117 up -> pass key 117 up"});
    EXPECT_FALSE(triggerAutoClicker);
}

TEST_F(InputTapTest, ACaptureTakesTheNextKeyAndLetsItsReleaseGo) {
    Record();
    currentReassign = 3;
    RunScript({"key 65 down -> swallow", "key 65 up -> pass key 65 up"});
    EXPECT_EQ(capturedReassignKey, 65);
    ProcessSignals();
    EXPECT_EQ(vkAutoClicker, 65);

    // Escape is captured like any key, and the capture ends with nothing changed.
    currentReassign = 1;
    RunScript({"key 27 down -> swallow"});
    ProcessSignals();
    EXPECT_EQ(currentReassign, 0);
    EXPECT_EQ(vkRecord, kDefaultVkRecord);
}

TEST_F(InputTapTest, ACaptureTakesButtonsTheTargetAllows) {
    const struct {
        int reassign;
        int vk;
        bool taken;
    } cases[] = {{3, 1, true}, {3, 5, true}, {5, 2, false}, {5, 6, false}, {6, 1, false}, {6, 2, true}};
    for (const auto& c : cases) {
        ResetTapTables();
        currentReassign = c.reassign;
        capturedReassignKey = 0;
        const TapVerdict press = HandleTapEvent({TapButton, c.vk, true, true, 5, 5, 0});
        EXPECT_EQ(press.swallow, c.taken) << c.reassign << " " << c.vk;
        EXPECT_EQ(capturedReassignKey, c.taken ? c.vk : 0) << c.reassign << " " << c.vk;
        // The release goes through the tables like any release: never swallowed.
        EXPECT_FALSE(HandleTapEvent({TapButton, c.vk, false, true, 5, 5, 0}).swallow);
    }
}

TEST_F(InputTapTest, PickingTakesTheLeftPressAndCancelsOnRightOrMiddle) {
    // The right button's cancel is seen on the server (TapTest); the middle one's here.
    isPickingLocation = true;
    RunScript({"button 5 down 1 1 -> pass", "button 5 up 1 1 -> pass", "button 4 down 1 1 -> swallow",
               "button 4 up 1 1 -> pass"});
    EXPECT_FALSE(isPickingLocation);
    EXPECT_EQ(autoClickLocationMode, 0);

    isPickingLocation = true;
    RunScript({"button 1 down 10.4 20.6 -> swallow", "button 1 up 10.4 20.6 -> pass"});
    EXPECT_FALSE(isPickingLocation);
    EXPECT_EQ(autoClickFixedX, 10);
    EXPECT_EQ(autoClickFixedY, 21);
    EXPECT_EQ(autoClickLocationMode, 1);
    std::lock_guard<std::mutex> lock(profileMutex);
    EXPECT_FALSE(profiles[0].settings.empty());  // the point is kept in the profile
}

TEST_F(InputTapTest, PressesOnOurOwnWindowsStayOutOfTheRecording) {
    Record();
    g_FakeWindowPid = PlatformProcessId();
    RunScript({"button 1 down 5 5 -> pass", "button 1 up 5 5 -> pass"});
    g_FakeWindowPid = 0;
    RunScript({"button 1 down 5 5 -> pass click 5,5 0x2", "button 1 up 5 5 -> pass click 5,5 0x4",
               "button 2 down 6 6 -> pass click 6,6 0x8", "button 2 up 6 6 -> pass click 6,6 0x10",
               "button 4 down 6 6 -> pass click 6,6 0x20", "button 4 up 6 6 -> pass click 6,6 0x40",
               // Side buttons have a press only; a button beyond them is ignored.
               "button 5 down 6 6 -> pass click 6,6 0x80", "button 5 up 6 6 -> pass", "button 7 down 6 6 -> pass"});

    // A recording that stops between the press and its release keeps the press dropped for the next one,
    // where a new press decides afresh.
    g_FakeWindowPid = PlatformProcessId();
    RunScript({"button 2 down 5 5 -> pass"});
    isRecording = false;
    RunScript({"button 2 up 5 5 -> pass"});
    isRecording = true;
    RunScript({"button 2 up 5 5 -> pass"});  // still the dropped press's
    g_FakeWindowPid = 0;
    RunScript({"button 2 down 7 7 -> pass click 7,7 0x8", "button 2 up 7 7 -> pass click 7,7 0x10"});
}

TEST_F(InputTapTest, MovesAreRecordedOncePerWholePoint) {
    Record();
    RunScript({"move 10.2 20.2 -> pass move 10,20", "move 10.4 19.6 -> pass", "move 11 20 -> pass move 11,20",
               // After a move whose point wasn't read, the next point is new whatever it is.
               "move -> pass", "move 11 20 -> pass move 11,20"});
    bUseRelativeMouse = true;
    RunScript({"move 14 18 -> pass rel 3,-2", "move 14.3 18 -> pass", "move -> pass", "move 20 20 -> pass"});
    bRecordMouseMovement = false;
    RunScript({"move 30 30 -> pass"});
    isRecording = false;
    bRecordMouseMovement = true;
    RunScript({"move 40 40 -> pass"});
}

TEST_F(InputTapTest, WheelLinesAndTheRecordingSwitches) {
    Record();
    RunScript({"scroll 1 -> pass scroll 120", "scroll -1 -> pass scroll -120", "scroll 0 -> pass"});
    bRecordMouseScroll = false;
    bRecordMouseClicks = false;
    bRecordKeyboard = false;
    RunScript({"scroll 1 -> pass", "button 1 down 1 1 -> pass", "button 1 up 1 1 -> pass", "key 65 down -> pass",
               "key 65 up -> pass"});
}

TEST(ScrollLinesTest, SmoothScrollingAddsUpToWholeLines) {
    double pending = 0;
    EXPECT_EQ(TakeScrollLines(pending, 15, 15), -1);  // toward the user: a line down
    EXPECT_EQ(TakeScrollLines(pending, -7.5, 15), 0);
    EXPECT_EQ(TakeScrollLines(pending, -7.5, 15), 1);
    int lines = 0;
    for (int i = 0; i < 120; ++i) lines += TakeScrollLines(pending, 1.0 / 120, 1.0 / 120 * 120);
    EXPECT_EQ(lines, -1);                              // fractions that don't add up exactly still make their line
    EXPECT_EQ(TakeScrollLines(pending, -45, -15), 3);  // a negative increment counts by its size
    EXPECT_EQ(TakeScrollLines(pending, 1, 0), 0);
}

TEST_F(InputTapTest, AResetForgetsHeldKeysButNotDroppedPresses) {
    Record();
    g_FakeWindowPid = PlatformProcessId();
    RunScript({"key 117 down -> swallow hold", "button 1 down 1 1 -> pass"});
    g_FakeWindowPid = 0;
    InputTapOnSessionLocked();
    // The hotkey's release is now an ordinary key's; the dropped press still keeps its release out.
    RunScript({"key 117 up -> pass key 117 up", "button 1 up 1 1 -> pass"});
    EXPECT_FALSE(g_ResetTrackers);
}

}  // namespace
