// The input tap on a real X server: a simulated user types and clicks through Xvfb's own devices, the
// program's grabs and worker threads answer, and a separate test window tells what an application
// received. Runs inside scripts/xvfb-session.sh; QVN_TEST_WINDOW names the window program.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <string>
#include <thread>
#include <utility>

#include "app/Master.h"
#include "core/AppState.h"
#include "core/Wake.h"
#include "engine/AutoClicker.h"
#include "engine/KeySpammer.h"
#include "engine/Playback.h"
#include "engine/Recorder.h"
#include "engine/Signals.h"
#include "input/Injection.h"
#include "input/InputTap.h"
#include "input/Keys.h"
#include "input/XSettings.h"
#include "tests/support/Recording.h"
#include "tests/support/ServerView.h"
#include "tests/x11/WindowOracle.h"

namespace {

WindowOracle g_Window;

int Code(int vk) { return VkToPlatformKeyCode(vk); }

// The user presses and releases a key, with a pause the way a hand would.
void Tap(int keycode, std::chrono::milliseconds hold = 30ms) {
    UserKey(keycode, true);
    std::this_thread::sleep_for(hold);
    UserKey(keycode, false);
    std::this_thread::sleep_for(30ms);
}

void Click(int button) {
    UserButton(button, true);
    std::this_thread::sleep_for(20ms);
    UserButton(button, false);
    std::this_thread::sleep_for(30ms);
}

// The grabs follow the settings within a few tens of milliseconds, and the window's lines come a little
// after the server sent them.
void Settle() { std::this_thread::sleep_for(120ms); }
// After the test wrote the shared settings itself: the bindings that write them tell the tap so.
void Changed() {
    InputSettingsChanged();
    Settle();
}

std::vector<UnifiedEvent> Recording() {
    std::lock_guard<std::mutex> lock(profileMutex);
    return profiles[static_cast<size_t>(currentProfileIdx)].events;
}

std::string Describe(const std::vector<UnifiedEvent>& events) {
    std::string out;
    for (const auto& e : events) {
        out += "[" + std::to_string(e.type) + " " + std::to_string(e.time) + " " + std::to_string(e.x) + "," +
               std::to_string(e.y) + " flags " + std::to_string(e.mouseFlags) + " vk " + std::to_string(e.vk) +
               (e.down ? " down" : " up") + "]";
    }
    return out;
}

std::string Line(const char* what, int code) { return std::string(what) + " " + std::to_string(code) + " "; }

// The Key Spammer on one key and the Spammer where the pointer is, `times` rounds each (0: until stopped).
void ArmKeySpammer(int vk, int intervalMs, int times) {
    keySpamTargetCount = 0;
    AppendKeySpamTarget(vk);
    keySpamIntervalMs = intervalMs;
    keySpamRepeatMode = times ? 0 : 1;
    keySpamRepeatTimes = times;
}
void ArmSpammer(int intervalMs, int times) {
    autoClickIntervalMs = intervalMs;
    autoClickRepeatMode = times ? 0 : 1;
    autoClickRepeatTimes = times;
    autoClickLocationMode = 0;
}

class TapTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        ASSERT_TRUE(OpenServerView());
        ASSERT_TRUE(OpenSimulatedUser()) << "Xvfb's keyboard and mouse devices weren't found";
        ASSERT_TRUE(g_Window.Start()) << "the test window didn't come up";
        {
            std::lock_guard<std::mutex> lock(profileMutex);
            profiles.assign(1, MacroProfile{kDefaultProfileName, "", {}});
            currentProfileIdx = 0;
        }
        StartWorkers();
        ASSERT_TRUE(InputReady());
        ASSERT_TRUE(InputReady());  // a second start is the same tap
        ASSERT_TRUE(PlatformInputTapRunning());
        Settle();
    }
    static void TearDownTestSuite() {
        ShutDown();
        EXPECT_FALSE(PlatformInputTapRunning());
        g_Window.Stop();
        CloseServerView();
    }
    void SetUp() override {
        g_HotkeysEnabled = true;
        g_HotkeyLockEnabled = false;
        g_HotkeysUnlocked = false;
        g_HoldModeAuto = false;
        g_HoldModeKeySpam = false;
        autoClickIntervalMs = 200;  // the Spammer's clicks stay few
        autoClickIntervalSecs = 0;
        Changed();
        g_Window.Clear();
    }
    void TearDown() override {
        triggerAutoClickStop = true;
        triggerKeySpamStop = true;
        WakeSignalProcessor();
        ASSERT_TRUE(WaitUntil([] { return !isAutoClicking && !isKeySpamming; }));
    }
};

TEST_F(TapTest, TheSpammerHotkeyIsSwallowedWithItsRepeatsAndTogglesOnce) {
    const int f6 = Code(117);
    Tap(f6);
    ASSERT_TRUE(WaitUntil([] { return isAutoClicking.load(); }));
    // Held past the keyboard's repeat delay: the server repeats the key, and still nothing changes.
    Tap(f6, 900ms);
    ASSERT_TRUE(WaitUntil([] { return !isAutoClicking; }));
    Settle();
    EXPECT_EQ(g_Window.Count(Line("KeyPress", f6)), 0u);
    // The releases go on: X can't keep a release from the window without holding the whole keyboard.
    EXPECT_EQ(g_Window.Count(Line("KeyRelease", f6)), 2u);

    // Other keys go on as before.
    Tap(Code(65));
    ASSERT_TRUE(WaitUntil([&] { return g_Window.Count(Line("KeyRelease", Code(65))) == 1; }));
    EXPECT_EQ(g_Window.Count(Line("KeyPress", Code(65))), 1u);
}

TEST_F(TapTest, InHoldModeThePressStartsAndTheReleaseStops) {
    g_HoldModeAuto = true;
    const int f6 = Code(117);
    UserKey(f6, true);
    ASSERT_TRUE(WaitUntil([] { return isAutoClicking.load(); }));
    std::this_thread::sleep_for(300ms);
    EXPECT_TRUE(isAutoClicking);
    UserKey(f6, false);
    ASSERT_TRUE(WaitUntil([] { return !isAutoClicking; }));
    Settle();
    EXPECT_EQ(g_Window.Count(Line("KeyPress", f6)), 0u);
}

// The tools' output and the user's other keys reach the focused window while a swallowed hotkey is held:
// only the hotkey's press and repeats are kept from it.
TEST_F(TapTest, WhileAHotkeyIsHeldTheToolsOutputAndOtherKeysReachTheWindow) {
    ArmKeySpammer(65, 10, 0);
    g_HoldModeKeySpam = true;
    const int f9 = Code(120), a = Code(65), b = Code(66);
    UserKey(f9, true);
    ASSERT_TRUE(WaitUntil([] { return isKeySpamming.load(); }));
    std::this_thread::sleep_for(400ms);
    Tap(b);
    std::this_thread::sleep_for(800ms);  // past the repeat delay: the hotkey repeats
    UserKey(f9, false);
    ASSERT_TRUE(WaitUntil([] { return !isKeySpamming; }));
    g_HoldModeKeySpam = false;
    Settle();
    EXPECT_GE(g_Window.Count(Line("KeyPress", a)), 50u);
    EXPECT_EQ(g_Window.Count(Line("KeyPress", b)), 1u);
    EXPECT_EQ(g_Window.Count(Line("KeyPress", f9)), 0u);

    // In toggle mode a run of a fixed count loses nothing to a hotkey held meanwhile.
    g_Window.Clear();
    keySpamRepeatMode = 0;
    keySpamRepeatTimes = 40;
    Tap(f9, 300ms);
    ASSERT_TRUE(WaitUntil([] { return isKeySpamming.load(); }));
    ASSERT_TRUE(WaitUntil([] { return !isKeySpamming; }));
    WaitUntil([&] { return g_Window.Count(Line("KeyPress", a)) >= 40; }, 2s);
    EXPECT_EQ(g_Window.Count(Line("KeyPress", a)), 40u);
    EXPECT_EQ(g_Window.Count(Line("KeyPress", f9)), 0u);

    // Hold to click on a mouse-button hotkey: the clicks reach the window while the button is held.
    g_Window.Clear();
    vkAutoClicker = 4;
    g_HoldModeAuto = true;
    autoClickIntervalMs = 20;
    autoClickRepeatMode = 1;
    Changed();
    UserButton(2, true);
    ASSERT_TRUE(WaitUntil([] { return isAutoClicking.load(); }));
    std::this_thread::sleep_for(500ms);
    UserButton(2, false);
    ASSERT_TRUE(WaitUntil([] { return !isAutoClicking; }));
    vkAutoClicker = kDefaultVkAutoClicker;
    Changed();
    EXPECT_GE(g_Window.Count("ButtonPress 1 "), 10u);
    EXPECT_EQ(g_Window.Count("ButtonPress 2 "), 0u);
    EXPECT_TRUE(NothingHeld());
}

// The tap's thread waits for the profile lock longer than the watchdog allows while a hotkey is pressed: the
// watchdog lets the frozen keyboard go, and afterwards hotkeys and typing work as before.
TEST_F(TapTest, AfterTheWatchdogHotkeysAndTypingStillWork) {
    const int f6 = Code(117), a = Code(65), b = Code(66);
    StartRecording();
    {
        std::unique_lock<std::mutex> held(profileMutex);
        Tap(a);  // its recording waits for the lock
        UserKey(f6, true);
        std::this_thread::sleep_for(300ms);
        // Still within the lock: the watchdog has let the keyboard go, so a key typed now arrives at once.
        Tap(b);
        EXPECT_TRUE(WaitUntil([&] { return g_Window.Count(Line("KeyPress", b)) == 1; }, 1s));
        UserKey(f6, false);
        std::this_thread::sleep_for(50ms);
    }
    ASSERT_TRUE(WaitUntil([] { return isAutoClicking.load(); }));  // the press was judged once the lock came
    StopRecording();
    Settle();
    g_Window.Clear();
    Tap(f6);
    EXPECT_TRUE(WaitUntil([] { return !isAutoClicking; }, 2s));
    Tap(b);
    EXPECT_TRUE(WaitUntil([&] { return g_Window.Count(Line("KeyRelease", b)) == 1; }, 2s));
    EXPECT_EQ(g_Window.Count(Line("KeyPress", f6)), 0u);
    EXPECT_TRUE(NothingHeld());
}

TEST_F(TapTest, WithTheLockClosedTheHotkeyReachesTheWindowAndTheRecording) {
    g_HotkeyLockEnabled = true;
    g_HotkeysUnlocked = false;
    Changed();
    StartRecording();
    const int f6 = Code(117);
    Tap(f6);
    Settle();
    StopRecording();
    EXPECT_FALSE(isAutoClicking);
    EXPECT_EQ(g_Window.Count(Line("KeyPress", f6)), 1u);
    EXPECT_EQ(g_Window.Count(Line("KeyRelease", f6)), 1u);
    const auto events = Recording();
    ASSERT_EQ(events.size(), 2u);
    EXPECT_EQ(events[0].vk, 117);
    EXPECT_TRUE(events[0].down);
    EXPECT_FALSE(events[1].down);

    // The unlock key opens the lock and is itself swallowed.
    Tap(Code(121));
    ASSERT_TRUE(WaitUntil([] { return g_HotkeysUnlocked.load(); }));
    Settle();
    EXPECT_EQ(g_Window.Count(Line("KeyPress", Code(121))), 0u);
}

TEST_F(TapTest, TheProgramsOwnInputNeitherTriggersNorRecords) {
    // The Key Spammer presses the Spammer's own hotkey: it hits our grab, which passes it on.
    ArmKeySpammer(117, 20, 5);
    // The Spammer moves to its fixed point and clicks there.
    ArmSpammer(20, 5);
    autoClickLocationMode = 1;
    autoClickFixedX = 50;
    autoClickFixedY = 60;
    StartRecording();
    isKeySpamming = true;
    Wake(g_KeySpamWake);
    ASSERT_TRUE(WaitUntil([] { return !isKeySpamming; }));
    isAutoClicking = true;
    Wake(g_AutoClickWake);
    ASSERT_TRUE(WaitUntil([] { return !isAutoClicking; }));
    Settle();
    StopRecording();
    autoClickLocationMode = 0;
    EXPECT_FALSE(isAutoClicking);
    EXPECT_FALSE(triggerAutoClicker);
    EXPECT_EQ(g_Window.Count(Line("KeyPress", Code(117))), 5u);
    EXPECT_EQ(g_Window.Count("ButtonPress 1 50 60"), 5u);
    EXPECT_TRUE(Recording().empty()) << Describe(Recording());
    EXPECT_TRUE(NothingHeld());
}

// The Spammer and the Key Spammer inject at once from two connections, whose requests the server mixes in
// its own order: not one of their events may enter the recording.
TEST_F(TapTest, BothSpammersDuringATenSecondRecordingLeaveNothingInIt) {
    UserMoveTo(300, 300);
    Settle();
    ArmKeySpammer(65, 1, 0);
    ArmSpammer(1, 0);
    StartRecording();
    isKeySpamming = true;
    Wake(g_KeySpamWake);
    isAutoClicking = true;
    Wake(g_AutoClickWake);
    std::this_thread::sleep_for(10s);
    triggerAutoClickStop = true;
    triggerKeySpamStop = true;
    WakeSignalProcessor();
    ASSERT_TRUE(WaitUntil([] { return !isAutoClicking && !isKeySpamming; }));
    Settle();
    StopRecording();
    std::vector<UnifiedEvent> events;  // the stops of the two tools are recorded as such, and nothing else
    for (const auto& e : Recording()) {
        if (e.type != EventToolToggle) events.push_back(e);
    }
    EXPECT_TRUE(events.empty()) << events.size() << " events: " << Describe(events).substr(0, 400);
    EXPECT_GT(g_Window.Count(Line("KeyPress", Code(65))), 1000u);
    EXPECT_GT(g_Window.Count("ButtonPress 1 "), 1000u);
    EXPECT_TRUE(WaitUntil(NothingHeld, 2s));
}

TEST_F(TapTest, ARecordingHoldsTheUsersKeysClicksMovesAndWheel) {
    UserMoveTo(100, 100);
    Settle();
    StartRecording();
    UserMoveTo(140, 120);
    std::this_thread::sleep_for(30ms);
    Click(1);
    UserButton(4, true);  // one line of the wheel, away from the user
    UserButton(4, false);
    std::this_thread::sleep_for(30ms);
    // Held past the repeat delay: the recording gets exactly the repeats the window gets.
    const auto pressed = std::chrono::steady_clock::now();
    UserKey(Code(65), true);
    std::this_thread::sleep_for(900ms);
    UserKey(Code(65), false);
    const double held = std::chrono::duration<double>(std::chrono::steady_clock::now() - pressed).count();
    Settle();
    StopRecording();

    const auto events = Recording();
    std::vector<std::string> kinds;
    for (const auto& e : events) {
        switch (e.type) {
            case EventMoveAbs: kinds.push_back("move " + std::to_string(e.x) + "," + std::to_string(e.y)); break;
            case EventMouseClick:
                kinds.push_back("click " + std::to_string(e.mouseFlags) + " " + std::to_string(e.x) + "," +
                                std::to_string(e.y));
                break;
            case EventScroll: kinds.push_back("scroll " + std::to_string(e.scrollDelta)); break;
            case EventKey:
                kinds.push_back(std::string("key ") + std::to_string(e.vk) + (e.down ? " down" : " up"));
                break;
            default: kinds.push_back("other"); break;
        }
    }
    ASSERT_GE(kinds.size(), 6u);
    EXPECT_EQ(kinds[0], "move 140,120");
    EXPECT_EQ(kinds[1], "click 2 140,120");
    EXPECT_EQ(kinds[2], "click 4 140,120");
    EXPECT_EQ(kinds[3], "scroll 120");
    const long downs = std::count(kinds.begin(), kinds.end(), "key 65 down");
    EXPECT_EQ(kinds.back(), "key 65 up");
    // The window's last lines may still be on their way from a loaded test window.
    const auto windowDowns = [] { return static_cast<long>(g_Window.Count(Line("KeyPress", Code(65)))); };
    WaitUntil([&] { return windowDowns() >= downs; }, 2s);
    EXPECT_GE(windowDowns(), 2);  // the key did repeat
    EXPECT_EQ(downs, windowDowns());

    // Times start at 0 and grow with the real pauses.
    EXPECT_DOUBLE_EQ(events.front().time, 0.0);
    EXPECT_TRUE(std::is_sorted(events.begin(), events.end(),
                               [](const UnifiedEvent& a, const UnifiedEvent& b) { return a.time < b.time; }));
    EXPECT_NEAR(events.back().time - events[4].time, held, 0.05);
}

// A tap held up (here by the profile lock) gets to the input late: the recording still keeps the pauses the
// user made, since it is stamped with the server's time of each event.
TEST_F(TapTest, ARecordingKeepsThePausesOfInputThatTheTapGotLate) {
    const int a = Code(65), b = Code(66);
    // The pauses as the user really made them: a loaded machine stretches the test's sleeps, and the server
    // stamps each event somewhere between the request and its answer.
    std::vector<double> before, after;
    const auto seconds = [] {
        return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
    };
    const auto key = [&](int code, bool down) {
        before.push_back(seconds());
        UserKey(code, down);
        after.push_back(seconds());
    };
    StartRecording();
    {
        std::unique_lock<std::mutex> held(profileMutex);
        key(a, true);
        std::this_thread::sleep_for(30ms);
        key(a, false);
        std::this_thread::sleep_for(130ms);
        key(b, true);
        std::this_thread::sleep_for(30ms);
        key(b, false);
        std::this_thread::sleep_for(200ms);
    }
    Settle();
    StopRecording();
    const auto events = Recording();
    ASSERT_EQ(events.size(), 4u) << Describe(events);
    EXPECT_EQ(events[2].vk, 66);
    for (size_t i = 1; i < 4; ++i) {
        const double gap = events[i].time - events[0].time;  // the server's times are whole milliseconds
        EXPECT_GE(gap, before[i] - after[0] - 0.002) << i << ": " << Describe(events);
        EXPECT_LE(gap, after[i] - before[0] + 0.002) << i << ": " << Describe(events);
    }
}

// Every key that a VK types on the default keymap, typed by the user during a recording, is recorded as a
// VK that types the same key again when the macro is replayed.
TEST_F(TapTest, EveryTypableKeyRecordsAsAVkThatReplaysTheSameKey) {
    g_HotkeysEnabled = false;  // the hotkeys' keys too
    Changed();
    std::vector<int> codes;
    for (int vk = 1; vk < 256; ++vk) {
        const int code = VkToPlatformKeyCode(vk);
        if (code >= 0 && std::find(codes.begin(), codes.end(), code) == codes.end()) codes.push_back(code);
    }
    ASSERT_GE(codes.size(), 100u);
    StartRecording();
    for (int code : codes) {
        UserKey(code, true);
        UserKey(code, false);
    }
    Settle();
    StopRecording();
    for (int code : codes) {  // the lock keys are turned off again for the tests after this one
        const std::string sym = KeysymAt(code);
        if (sym == "Caps_Lock" || sym == "Num_Lock" || sym == "Scroll_Lock") Tap(code, 10ms);
    }
    const auto events = Recording();
    ASSERT_EQ(events.size(), 2 * codes.size()) << Describe(events).substr(0, 400);
    for (size_t i = 0; i < codes.size(); ++i) {
        const UnifiedEvent& down = events[2 * i];
        EXPECT_TRUE(down.type == EventKey && down.down);
        EXPECT_EQ(VkToPlatformKeyCode(down.vk), codes[i])
            << "key " << codes[i] << " (" << KeysymAt(codes[i]) << ") recorded as VK " << down.vk;
        EXPECT_EQ(events[2 * i + 1].vk, down.vk);
    }
}

// The program moves the pointer itself (the Spammer's fixed point, playback) between two moves of the
// user's relative mouse: the user's next move is recorded where the pointer really went, not from the
// point that the user's earlier moves had led to.
TEST_F(TapTest, AMoveAfterTheProgramMovedThePointerIsRecordedWhereThePointerIs) {
    UserMoveTo(100, 100);
    Settle();
    std::vector<std::pair<int, int>> real;
    const auto note = [&] {
        int x = 0, y = 0;
        PointerOfServer(x, y);
        real.emplace_back(x, y);
    };
    StartRecording();
    for (int i = 0; i < 4; ++i) {  // enough for the tap to learn the device and follow it
        UserMoveBy(2, 2);
        note();
        std::this_thread::sleep_for(10ms);
    }
    PlatformMoveMouseTo(700, 600);
    note();
    UserMoveBy(2, 2);
    note();
    Settle();
    StopRecording();
    const auto events = Recording();
    ASSERT_FALSE(events.empty());
    for (const auto& e : events) {
        ASSERT_EQ(e.type, EventMoveAbs);
        const bool wasThere = std::any_of(real.begin(), real.end(), [&](const auto& p) {
            return std::abs(e.x - p.first) <= 1 && std::abs(e.y - p.second) <= 1;
        });
        EXPECT_TRUE(wasThere) << "a move to " << e.x << "," << e.y
                              << " where the pointer never was: " << Describe(events);
    }
    EXPECT_NEAR(events.back().x, real.back().first, 1);
    EXPECT_NEAR(events.back().y, real.back().second, 1);
}

TEST_F(TapTest, APressOnOurOwnWindowStaysOutOfTheRecording) {
    ShowOwnWindow(600, 600, 100, 100);
    UserMoveTo(650, 650);
    Settle();
    StartRecording();
    Click(1);
    UserMoveTo(300, 300);
    std::this_thread::sleep_for(30ms);
    Click(1);
    Settle();
    StopRecording();
    std::vector<uint64_t> clicks;
    for (const auto& e : Recording()) {
        if (e.type == EventMouseClick) clicks.push_back(e.mouseFlags);
    }
    EXPECT_EQ(clicks, (std::vector<uint64_t>{2, 4}));  // the click on the test window only
}

TEST_F(TapTest, ReassignCapturesTheNextKeyWithoutPassingItOn) {
    BindReassignKey("[\"auto\"]");
    Settle();
    Tap(Code(66));
    ASSERT_TRUE(WaitUntil([] { return currentReassign == 0; }));
    EXPECT_EQ(vkAutoClicker, 66);
    Settle();
    EXPECT_EQ(g_Window.Count(Line("KeyPress", Code(66))), 0u);

    // The new hotkey works at once, and the old one is an ordinary key again.
    Tap(Code(117));
    Tap(Code(66));
    ASSERT_TRUE(WaitUntil([] { return isAutoClicking.load(); })) << ::testing::PrintToString(g_Window.Lines("Key"));
    Settle();
    EXPECT_EQ(g_Window.Count(Line("KeyPress", Code(117))), 1u);
    vkAutoClicker = kDefaultVkAutoClicker;
}

TEST_F(TapTest, PickingKeepsThePointAndTheReleaseReachesTheWindow) {
    isPickingLocation = true;
    Changed();
    UserMoveTo(321, 234);
    Click(1);
    ASSERT_TRUE(WaitUntil([] { return !isPickingLocation; }));
    EXPECT_EQ(autoClickFixedX, 321);
    EXPECT_EQ(autoClickFixedY, 234);
    EXPECT_EQ(autoClickLocationMode, 1);
    Settle();
    EXPECT_EQ(g_Window.Count("ButtonPress 1 "), 0u);
    EXPECT_EQ(g_Window.Count("ButtonRelease 1 "), 1u);

    // A right click cancels, and is kept from the window too.
    isPickingLocation = true;
    Changed();
    g_Window.Clear();
    Click(3);
    ASSERT_TRUE(WaitUntil([] { return !isPickingLocation; }));
    Settle();
    EXPECT_EQ(g_Window.Count("ButtonPress 3 "), 0u);
    EXPECT_TRUE(NothingHeld());
}

TEST_F(TapTest, TheDoubleClickTimeComesFromTheDesktopsSettingsManager) {
    EXPECT_DOUBLE_EQ(PlatformDoubleClickSeconds(), 0.4);  // no manager: the usual default
    PublishDoubleClickTime(250);
    EXPECT_DOUBLE_EQ(PlatformDoubleClickSeconds(), 0.25);
    PublishDoubleClickTime(0);
    EXPECT_DOUBLE_EQ(PlatformDoubleClickSeconds(), 0.4);
}

// Ending a recording asks the desktop for its double-click time, a round trip to the display server. While
// that waits (here on a server that another client holds), the tap must still get the profile lock.
TEST_F(TapTest, EndingARecordingAsksTheDesktopWithoutHoldingTheProfiles) {
    StartRecording();
    isRecording = false;
    HoldServer(true);
    std::atomic<bool> finished{false};
    std::thread finisher([&] {
        FinishRecording();
        finished = true;
    });
    std::this_thread::sleep_for(100ms);  // the finisher is well into its wait for the server by now
    bool lockFree = false;
    for (int i = 0; i < 30 && !lockFree; ++i) {
        if (profileMutex.try_lock()) {
            profileMutex.unlock();
            lockFree = true;
        } else {
            std::this_thread::sleep_for(5ms);
        }
    }
    const bool waitedForServer = !finished;
    HoldServer(false);
    finisher.join();
    EXPECT_TRUE(waitedForServer) << "the double-click time was read without the server";
    EXPECT_TRUE(lockFree) << "the profile lock was held while the server was asked";
}

}  // namespace
