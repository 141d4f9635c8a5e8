// The real X11 injection and key table driving the real worker threads, checked through a separate test
// window (what an application received) and the X server's own key and button state. Runs inside
// scripts/xvfb-session.sh; QVN_TEST_WINDOW names the window program.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <map>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "app/Master.h"
#include "bridge/StatusDocuments.h"
#include "core/AppState.h"
#include "core/Wake.h"
#include "engine/AutoClicker.h"
#include "engine/KeySpammer.h"
#include "engine/Playback.h"
#include "engine/Signals.h"
#include "engine/ToolSettings.h"
#include "input/Injection.h"
#include "input/Keys.h"
#include "input/OwnEventMarks.h"
#include "tests/support/ServerView.h"
#include "tests/x11/WindowOracle.h"

namespace {

using namespace std::chrono_literals;

WindowOracle g_Window;

// Events of other clients may still be on their way when a flag changes: the state must settle clear.
bool SettlesWithNothingHeld() { return WaitUntil(NothingHeld, 2s); }

void RunCommand(const char* command) { ASSERT_EQ(std::system(command), 0) << command; }

class InjectionTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        ASSERT_TRUE(OpenServerView());
        ASSERT_TRUE(g_Window.Start()) << "the test window didn't come up";
        StartWorkers();
        std::this_thread::sleep_for(50ms);
    }
    static void TearDownTestSuite() {
        ShutDown();
        g_Window.Stop();
        CloseServerView();
    }
    void SetUp() override { g_Window.Clear(); }

    static void SetTargets(std::initializer_list<int> vks) {
        keySpamTargetCount = 0;
        for (int vk : vks) AppendKeySpamTarget(vk);
    }
    // Starts a run as the signal processor does, and waits for the thread to end it by its count.
    static void StartAndCountOut(std::atomic<bool>& running, WakeEvent& wake) {
        running = true;
        Wake(wake);
        ASSERT_TRUE(WaitUntil([&] { return !running; }));
    }
};

TEST_F(InjectionTest, KeyTableOnTheDefaultKeymap) {
    const struct {
        int vk;
        const char* keysym;
        int readBack;
        const char* name;
    } table[] = {
        {65, "a", 65, "A"},
        {16, "Shift_L", 160, "Shift"},  // a side-less modifier reads back as the left-hand VK
        {161, "Shift_R", 161, "Right Shift"},
        {18, "Alt_L", 164, "Option"},  // the lowest key with Alt_L on its first level, not keycode 204
        {91, "Super_L", 91, "Command"},
        {45, "Insert", 45, "Help"},
        {47, "Help", 47, "Help"},
        {12, "KP_Begin", 101, "Clear"},  // the keypad's 5 records as Num 5, whatever Num Lock says
        {144, "Num_Lock", 144, "Clear"},
        {96, "KP_Insert", 96, "Num 0"},  // KP_0 lives on the keypad key's second level
        {186, "semicolon", 186, ";"},
        {220, "backslash", 220, "Backslash"},  // the layout's "\" is filtered
        {226, "less", 226, "<"},
        {173, "XF86AudioMute", 173, "Mute"},
        {124, "-", 0, "F13"},  // Xvfb's keymap has no F13 to F20: they are names only until it has
        {1, "-", 0, "Left Mouse"},
        {-1, "-", 0, "Key[-1]"},
    };
    for (const auto& row : table) {
        const int keycode = VkToPlatformKeyCode(row.vk);
        EXPECT_EQ(KeysymAt(keycode), row.keysym) << "VK " << row.vk;
        if (keycode >= 0) {
            EXPECT_EQ(PlatformKeyCodeToVk(keycode), row.readBack) << "VK " << row.vk;
        }
        EXPECT_EQ(GetKeyName(row.vk), row.name) << "VK " << row.vk;
    }
    EXPECT_EQ(PlatformKeyCodeToVk(0), 0);
    EXPECT_EQ(PlatformKeyCodeToVk(256), 0);

    // Every key the table can type is recorded back as the same VK, but for the side-less modifiers and the
    // keypad's 5 without Num Lock, which share their key with another VK.
    const std::map<int, int> shared = {{16, 160}, {17, 162}, {18, 164}, {12, 101}};
    int typed = 0;
    for (int vk = 1; vk < 256; ++vk) {
        const int keycode = VkToPlatformKeyCode(vk);
        if (keycode < 0) continue;
        ++typed;
        const auto alias = shared.find(vk);
        EXPECT_EQ(PlatformKeyCodeToVk(keycode), alias == shared.end() ? vk : alias->second)
            << "VK " << vk << " types key " << keycode << " (" << KeysymAt(keycode) << ")";
    }
    EXPECT_GE(typed, 100);
}

TEST_F(InjectionTest, LayoutChangesReachTheCaches) {
    ASSERT_EQ(VkToPlatformKeyCode(89), 29);
    RunCommand("setxkbmap -layout de");
    EXPECT_TRUE(WaitUntil([] { return VkToPlatformKeyCode(89) == 52 && VkToPlatformKeyCode(90) == 29; }));
    EXPECT_EQ(GetKeyName(89), "Y");

    // Two layouts, the second one locked: names follow the layout in effect, upper-cased.
    RunCommand("setxkbmap -layout us,ru");
    EXPECT_TRUE(WaitUntil([] { return GetKeyName(65) == "A"; }));
    LockLayoutGroup(1);
    EXPECT_TRUE(WaitUntil([] { return GetKeyName(65) == "\xD0\xA4"; })) << GetKeyName(65);  // Ф
    EXPECT_EQ(VkToPlatformKeyCode(65), 38) << "a letter keeps its key by position";
    LockLayoutGroup(0);
    RunCommand("setxkbmap -layout us");
    EXPECT_TRUE(WaitUntil([] { return GetKeyName(65) == "A" && VkToPlatformKeyCode(89) == 29; }));
}

TEST_F(InjectionTest, FunctionKeysBeyondF12AreTypedOnceTheKeymapHasThem) {
    SetTargets({124});
    ApplyKeySpamUpdate("0,0,0,1,0,1");
    keySpamChordMode = false;
    StartAndCountOut(isKeySpamming, g_KeySpamWake);
    EXPECT_EQ(g_Window.Count("Key"), 0u) << "no key code: the press is dropped";

    RunCommand("xmodmap -e 'keycode 197 = F13'");
    ASSERT_TRUE(WaitUntil([] { return VkToPlatformKeyCode(124) == 197; }));
    StartAndCountOut(isKeySpamming, g_KeySpamWake);
    EXPECT_TRUE(WaitUntil([] { return g_Window.Count("KeyRelease") == 1; }));
    EXPECT_EQ(g_Window.Lines("Key"), (std::vector<std::string>{"KeyPress 197 F13", "KeyRelease 197 F13"}));
    RunCommand("xmodmap -e 'keycode 197 ='");
    EXPECT_TRUE(WaitUntil([] { return VkToPlatformKeyCode(124) == -1; }));
    EXPECT_TRUE(SettlesWithNothingHeld());
}

TEST_F(InjectionTest, SpammerAtTenMillisecondsForOneSecond) {
    ASSERT_TRUE(ApplySpammerUpdate("0,0,0,10,0,0,1,0,0"));
    triggerAutoClickStart = true;
    WakeSignalProcessor();
    std::this_thread::sleep_for(1s);
    triggerAutoClickStop = true;
    WakeSignalProcessor();
    ASSERT_TRUE(WaitUntil([] { return !isAutoClicking && currentClickCount == 0; }));
    EXPECT_TRUE(SettlesWithNothingHeld());
    EXPECT_TRUE(WaitUntil([] { return g_Window.Count("ButtonRelease 1") == g_Window.Count("ButtonPress 1"); }));
    const size_t clicks = g_Window.Count("ButtonPress 1");
    // 10 ms plus the round's own time: just under 100 rounds, never more.
    EXPECT_GE(clicks, 85u);
    EXPECT_LE(clicks, 101u);
    EXPECT_EQ(g_Window.Count("Button"), 2 * clicks) << "only left clicks";

    // The count the pages get is the clicks the window got, and the rate is what the run really made.
    EXPECT_EQ(g_SpammerMeter.presses, static_cast<int64_t>(clicks));
    EXPECT_GE(g_SpammerMeter.perSecond, 75.0);
    EXPECT_LE(g_SpammerMeter.perSecond, 101.0);
    std::lock_guard<std::mutex> lock(profileMutex);
    EXPECT_NE(BuildTrackerStatusJson("[]").find("\"measured\":{\"clicks\":" + std::to_string(clicks) + ","),
              std::string::npos);
}

TEST_F(InjectionTest, RepeatModeClicksExactlyNTimesAtTheFixedPoint) {
    autoClickFixedX = 123;
    autoClickFixedY = 234;
    ASSERT_TRUE(ApplySpammerUpdate("0,0,0,2,0,0,0,5,1"));
    StartAndCountOut(isAutoClicking, g_AutoClickWake);
    EXPECT_TRUE(WaitUntil([] { return g_Window.Count("ButtonRelease") == 5; }));
    std::vector<std::string> expected;
    for (int i = 0; i < 5; ++i) {
        expected.push_back("ButtonPress 1 123 234");
        expected.push_back("ButtonRelease 1 123 234");
    }
    EXPECT_EQ(g_Window.Lines("Button"), expected);
    EXPECT_TRUE(SettlesWithNothingHeld());
}

std::vector<std::string> KeyNames(const std::vector<std::string>& lines) {
    std::vector<std::string> out;
    for (const auto& l : lines) {
        std::istringstream in(l);
        std::string kind, code, sym;
        in >> kind >> code >> sym;
        out.push_back(kind.substr(3) + " " + sym);  // "Press a", "Release a"
    }
    return out;
}

TEST_F(InjectionTest, KeySpammerSequenceAndChord) {
    SetTargets({65, 66, 67});
    keySpamChordMode = false;
    ASSERT_TRUE(ApplyKeySpamUpdate("0,0,0,2,0,7"));
    StartAndCountOut(isKeySpamming, g_KeySpamWake);
    EXPECT_TRUE(WaitUntil([] { return g_Window.Count("KeyRelease") == 7; }));
    std::vector<std::string> expected;
    for (const char* k : {"a", "b", "c", "a", "b", "c", "a"}) {
        expected.push_back(std::string("Press ") + k);
        expected.push_back(std::string("Release ") + k);
    }
    EXPECT_EQ(KeyNames(g_Window.Lines("Key")), expected);
    EXPECT_TRUE(SettlesWithNothingHeld());

    g_Window.Clear();
    SetKeySpamChordMode("1");
    ASSERT_TRUE(ApplyKeySpamUpdate("0,0,0,2,0,1"));
    StartAndCountOut(isKeySpamming, g_KeySpamWake);
    EXPECT_TRUE(WaitUntil([] { return g_Window.Count("KeyRelease") == 3; }));
    EXPECT_EQ(KeyNames(g_Window.Lines("Key")),
              (std::vector<std::string>{"Press a", "Press b", "Press c", "Release a", "Release b", "Release c"}));
    EXPECT_EQ(g_KeySpamMeter.presses, 3);  // a chord of three is three presses
    EXPECT_TRUE(SettlesWithNothingHeld());
}

TEST_F(InjectionTest, AStopMidRunLeavesNothingHeld) {
    SetTargets({16, 65, 66});  // a modifier too, as a chord with Shift is the likely way to leave one down
    SetKeySpamChordMode("1");
    ASSERT_TRUE(ApplyKeySpamUpdate("0,0,0,1,1,0"));
    ASSERT_TRUE(ApplySpammerUpdate("0,0,0,1,2,0,1,0,0"));
    for (int run = 0; run < 5; ++run) {
        triggerAutoClickStart = true;
        triggerKeySpamStart = true;
        WakeSignalProcessor();
        std::this_thread::sleep_for(std::chrono::milliseconds(40 + 7 * run));
        triggerAutoClickStop = true;
        triggerKeySpamStop = true;
        WakeSignalProcessor();
        ASSERT_TRUE(WaitUntil([] { return !isAutoClicking && !isKeySpamming; }));
        EXPECT_TRUE(SettlesWithNothingHeld()) << "run " << run;
    }
    EXPECT_GT(g_Window.Count("ButtonPress 2"), 0u);
    EXPECT_GT(g_Window.Count("KeyPress"), 0u);
}

std::string Describe(const RawInput& in) {
    static const char* const kKinds[] = {"?", "button press", "button release", "key press", "key release", "motion"};
    std::string text = std::string(kKinds[in.kind]) + " " + std::to_string(in.detail);
    if (in.kind == MarkMotion) text += " " + std::to_string(in.x) + "," + std::to_string(in.y);
    return text;
}

// Every seam function against the window, and every raw event the server reports checked against the
// marks, as the input tap will: the program's own events are known, a foreign XTest click is not.
TEST_F(InjectionTest, SeamFunctionsAndTheirMarks) {
    ASSERT_TRUE(StartRawWatch());
    PlatformMoveMouseTo(50, 60);
    TakeRawEvents(100);
    ResetOwnEventMarks();
    g_Window.Clear();

    PlatformMoveMouseTo(300, 200);
    PlatformMouseButton(0, true, 1);
    PlatformMoveMouseTo(310, 205);  // a drag: the server keeps the button down across the move
    PlatformMouseButton(0, false, 1);
    PlatformMouseClick(1, 1);
    PlatformScroll(240);
    PlatformScroll(-100);  // smooth scrolling rounds to a whole line
    PlatformScroll(0);
    PlatformKeyVk(65, true);
    PlatformKeyVk(65, false);
    PlatformKeyVk(65, false);  // not held: no event, and no mark to wait for one
    PlatformKeyVk(1, true);    // a mouse VK has no key code
    PlatformMouseButtonUp(2);  // not held either
    PlatformMoveMouseBy(7, -3);
    PlatformMouseFlags(0x20 | 0x40, 317, 202);
    // The pointer query is a round trip on our connection: once it answers, the server has taken all our
    // requests, so the foreign click (another connection) can't overtake them.
    int x = 0, y = 0;
    PlatformCursorPosition(x, y);
    EXPECT_EQ(x, 317);
    EXPECT_EQ(y, 202);
    ForeignClick();

    std::vector<std::string> seen;
    for (const RawInput& in : TakeRawEvents(200)) {
        const bool own = TakeOwnEventMark(
            static_cast<MarkKind>(in.kind), in.detail, in.x, in.y,
            std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch())
                .count());
        seen.push_back((own ? "own " : "user ") + Describe(in));
    }
    const std::vector<std::string> expected = {"own motion 0 300,200", "own button press 1",   "own motion 0 310,205",
                                               "own button release 1", "own button press 3",   "own button release 3",
                                               "own button press 4",   "own button release 4", "own button press 4",
                                               "own button release 4", "own button press 5",   "own button release 5",
                                               "own key press 38",     "own key release 38",   "own key release 38",
                                               "own button release 2", "own motion 0 7,-3",    "own button press 2",
                                               "own button release 2", "user button press 1",  "user button release 1"};
    EXPECT_EQ(seen, expected);
    EXPECT_EQ(PendingOwnEventMarks(), 0);

    EXPECT_TRUE(WaitUntil([] { return g_Window.Count("ButtonPress") == 7; }));
    std::vector<std::string> presses;
    for (const auto& line : g_Window.Lines("ButtonPress")) presses.push_back(line.substr(0, 13));
    EXPECT_EQ(presses, (std::vector<std::string>{"ButtonPress 1", "ButtonPress 3", "ButtonPress 4", "ButtonPress 4",
                                                 "ButtonPress 5", "ButtonPress 2", "ButtonPress 1"}));
    EXPECT_EQ(g_Window.Lines("Button").front(), "ButtonPress 1 300 200");
    EXPECT_EQ(g_Window.Lines("ButtonRelease 1").front(), "ButtonRelease 1 310 205");
    EXPECT_EQ(g_Window.Lines("Key"), (std::vector<std::string>{"KeyPress 38 a", "KeyRelease 38 a"}));
    EXPECT_TRUE(SettlesWithNothingHeld());
}

// What a macro file may carry: a point far off the screen goes to the edge instead of wrapping round, and a
// huge wheel delta is a bounded number of lines that a stop ends.
TEST_F(InjectionTest, FarPointsAndHugeScrollsStayBounded) {
    int x = 0, y = 0;
    PlatformMoveMouseTo(70000, -70000);
    PlatformCursorPosition(x, y);
    EXPECT_EQ(x, DisplayWidthOfServer() - 1);
    EXPECT_EQ(y, 0);

    PlatformScroll(120 * 1000000);
    std::atomic<bool> stopped{false};
    PlatformScroll(-120 * 50, &stopped);
    PlatformCursorPosition(x, y);  // a round trip: the server has taken every request
    EXPECT_TRUE(WaitUntil([] { return g_Window.Count("ButtonRelease 4 ") == kMaxScrollLines; }));
    std::this_thread::sleep_for(100ms);
    EXPECT_EQ(g_Window.Count("ButtonPress 4 "), static_cast<size_t>(kMaxScrollLines));
    EXPECT_EQ(g_Window.Count("ButtonPress 5 "), 0u);
}

// Last: ShutDown ends the threads, so nothing can run after it.
TEST_F(InjectionTest, AMacroReplaysIntoTheWindow) {
    const auto at = [](double t, int type, int64_t x, int64_t y, uint64_t flags, int vk, bool down) {
        return UnifiedEvent{type, t, x, y, flags, vk, down, 0};
    };
    {
        std::lock_guard<std::mutex> lock(profileMutex);
        profiles.assign(1, MacroProfile{kDefaultProfileName, "", {}});
        currentProfileIdx = 0;
        profiles[0].events = {
            at(0.00, EventMoveAbs, 180, 140, 0, 0, false),    at(0.10, EventMoveAbs, 200, 150, 0, 0, false),
            at(0.12, EventMouseClick, 200, 150, 2, 0, false), at(0.15, EventMouseClick, 200, 150, 4, 0, false),
            at(0.20, EventKey, 0, 0, 0, 'A', true),           at(0.25, EventKey, 0, 0, 0, 'A', false),
            at(0.30, EventKey, 0, 0, 0, 'B', true),           at(0.35, EventKey, 0, 0, 0, 'B', false)};
    }
    g_StopToolsWithMacro = false;
    const auto start = std::chrono::steady_clock::now();
    triggerPlayStart = true;
    WakeSignalProcessor();
    ASSERT_TRUE(WaitUntil([] { return !isPlaying && g_Window.Count("KeyRelease") == 2; }));
    const double took = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    EXPECT_GE(took, 0.35);
    EXPECT_LT(took, 1.5);
    EXPECT_EQ(g_Window.Lines("Button"), (std::vector<std::string>{"ButtonPress 1 200 150", "ButtonRelease 1 200 150"}));
    EXPECT_EQ(KeyNames(g_Window.Lines("Key")),
              (std::vector<std::string>{"Press a", "Release a", "Press b", "Release b"}));
    // Each press and release reaches the window at its time: not before it, and not later than the
    // window's own delivery can explain (a generous bound for a loaded machine).
    std::vector<double> arrived = g_Window.ArrivalsAfter("Button", start);
    const std::vector<double> keys = g_Window.ArrivalsAfter("Key", start);
    arrived.insert(arrived.end(), keys.begin(), keys.end());
    const double due[] = {0.12, 0.15, 0.20, 0.25, 0.30, 0.35};
    ASSERT_EQ(arrived.size(), 6u);
    for (size_t i = 0; i < 6; ++i) {
        EXPECT_GE(arrived[i], due[i] - 0.002) << i;
        EXPECT_LT(arrived[i], due[i] + 0.060) << i;
    }
    EXPECT_TRUE(SettlesWithNothingHeld());
}

TEST_F(InjectionTest, ShutDownWhileBothToolsRunLeavesNothingHeld) {
    SetTargets({162, 67});
    ASSERT_TRUE(ApplySpammerUpdate("0,0,0,1,0,0,1,0,0"));
    triggerAutoClickStart = true;
    triggerKeySpamStart = true;
    WakeSignalProcessor();
    ASSERT_TRUE(WaitUntil([] { return currentClickCount > 20 && currentKeySpamCount > 20; }));
    ShutDown();
    EXPECT_TRUE(g_Threads.empty());
    EXPECT_TRUE(SettlesWithNothingHeld());
}

}  // namespace
