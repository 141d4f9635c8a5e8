// The main window's bindings called as the page calls them, with the raw argument text.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

#include "bridge/Ipc.h"
#include "bridge/MainBindings.h"
#include "bridge/StatusDocuments.h"
#include "core/AppState.h"
#include "core/BindArgs.h"
#include "core/Wake.h"
#include "engine/Signals.h"
#include "persist/AppSettings.h"
#include "persist/Settings.h"
#include "tests/fakes/Fakes.h"

namespace {

class BindingsTest : public ::testing::Test {
protected:
    void SetUp() override {
        ResetAppState();
        g_FakeWindowCalls.clear();
        g_MasterWindow = reinterpret_cast<void*>(0x1);  // any window: the fake layer doesn't look at it
    }
    void TearDown() override { g_MasterWindow = nullptr; }

    static std::vector<std::string> Names() {
        std::vector<std::string> n;
        for (const auto& p : profiles) n.push_back(p.name);
        return n;
    }
};

TEST_F(BindingsTest, ProfileOperations) {
    using V = std::vector<std::string>;
    autoClickIntervalMs = 40;
    BindAddProfile("[\"Farm \\\"A\\\", [fast]\"]");  // brackets and quotes can't be carried
    EXPECT_EQ(Names(), (V{kDefaultProfileName, "Farm \\A\\, fast"}));
    EXPECT_EQ(currentProfileIdx, 1);
    EXPECT_EQ(profiles[1].settings, SerializeProfileSettings());  // it inherits the live setup
    EXPECT_NE(BindGetProfiles().find("\"names\":[\"Default Tracking Profile\",\"Farm \\\\A\\\\, fast\"]"),
              std::string::npos);

    BindAddProfile("[\"\"]");
    isRecording = true;
    BindAddProfile("[\"During\"]");
    BindSwitchProfile("[0]");
    BindDeleteProfile();
    BindClearProfile();
    isRecording = false;
    EXPECT_EQ(Names().size(), 2u);
    EXPECT_EQ(currentProfileIdx, 1);

    // Switching applies the profile's own setup, or the defaults when it has none.
    BindSwitchProfile("[0]");
    EXPECT_EQ(autoClickIntervalMs, 5);
    BindSwitchProfile("[1]");
    EXPECT_EQ(autoClickIntervalMs, 40);
    BindSwitchProfile("[\"abc\"]");
    BindSwitchProfile("[7]");
    BindSwitchProfile("[-1]");
    EXPECT_EQ(currentProfileIdx, 1);

    // Deleting the last entry selects the new last one and loads its setup.
    BindAddProfile("[\"Third\"]");
    BindDeleteProfile();
    EXPECT_EQ(Names(), (V{kDefaultProfileName, "Farm \\A\\, fast"}));
    EXPECT_EQ(currentProfileIdx, 1);

    // The default profile is emptied, never removed, even with others present.
    BindSwitchProfile("[0]");
    profiles[0].events.push_back(UnifiedEvent{});
    autoClickIntervalMs = 77;
    BindDeleteProfile();
    EXPECT_EQ(Names().size(), 2u);
    EXPECT_TRUE(profiles[0].events.empty());
    EXPECT_EQ(autoClickIntervalMs, 5);
    EXPECT_EQ(profiles[0].settings, SerializeProfileSettings());

    // A single profile that isn't the default stays.
    profiles = {MacroProfile{"Only", "", {}}};
    currentProfileIdx = 0;
    BindDeleteProfile();
    EXPECT_EQ(Names(), V{"Only"});

    // Clearing empties the macro and resets the setup; the name stays.
    profiles[0].events.push_back(UnifiedEvent{});
    keySpamChordMode = true;
    BindClearProfile();
    EXPECT_TRUE(profiles[0].events.empty());
    EXPECT_FALSE(keySpamChordMode);
    EXPECT_EQ(profiles[0].name, "Only");
}

TEST_F(BindingsTest, SmallBindings) {
    BindSetKeySpamChordMode("[\"1\"]");  // the bracket and quotes don't reach the word
    EXPECT_TRUE(keySpamChordMode);

    keySpamTargetCount = 1;
    BindRemoveKeySpamTarget("[\"abc\"]");
    EXPECT_EQ(keySpamTargetCount, 1);
    BindRemoveKeySpamTarget("[0]");
    EXPECT_EQ(keySpamTargetCount, 0);

    vkRecord = 65;
    g_HoldModeAuto = true;
    g_HotkeyLockEnabled = false;
    BindResetHotkeys();
    EXPECT_EQ(vkRecord, 119);
    EXPECT_TRUE(g_HoldModeAuto);
    EXPECT_FALSE(g_HotkeyLockEnabled);

    EXPECT_EQ(BindResizeWindow("[\"500\"]"), "");
    EXPECT_EQ(BindResizeWindow("[500,600]"), "");
    BindOpenLink("[\"docs\"]");
    BindOpenLink("[\"discord\"]");
    BindOpenLink("[\"elsewhere\"]");
    ASSERT_EQ(g_FakeWindowCalls.size(), 3u);
    EXPECT_EQ(g_FakeWindowCalls[0], "resize 500x600");
    EXPECT_EQ(g_FakeWindowCalls[1].rfind("open https://", 0), 0u);
    EXPECT_EQ(g_FakeWindowCalls[2].rfind("open https://", 0), 0u);
    EXPECT_NE(g_FakeWindowCalls[1], g_FakeWindowCalls[2]);
}

TEST_F(BindingsTest, SettingsDocument) {
    fPlaybackSpeed = 1.25f;
    autoClickFixedX = -40;
    g_HoldModeKeySpam = true;
    const std::string doc = BuildSettingsJson();
    EXPECT_NE(doc.find("\"fixedX\":-40,"), std::string::npos);
    EXPECT_NE(doc.find("\"tspd\":1.25,"), std::string::npos);
    EXPECT_NE(doc.find("\"holdKeySpam\":true}"), std::string::npos);
}

TEST_F(BindingsTest, StatusDocumentAndThePoll) {
    isPlaying = true;
    isRecording = true;  // recording wins
    currentReassign = 5;
    keySpamTargetCount = 0;
    profiles[0].events.resize(3);
    {
        std::lock_guard<std::mutex> lock(profileMutex);
        const std::string doc = BuildTrackerStatusJson("[\"panel-ui\"]");
        EXPECT_EQ(doc.rfind("{\"state\":\"Recording\",\"count\":3,\"restore\":[\"panel-ui\"],\"hkRec\"", 0), 0u) << doc;
        EXPECT_NE(doc.find("\"keySpamTargets\":[],\"keySpamChord\""), std::string::npos);
        EXPECT_NE(doc.find("\"reassigning\":\"keyspamtarget\""), std::string::npos);
    }

    // The poll hands back the panels whose processes have ended, once, and writes the event list too.
    const pid_t gone = fork();
    if (gone == 0) _exit(0);
    const pid_t alive = fork();
    if (alive == 0) {
        pause();
        _exit(0);
    }
    usleep(100000);
    {
        std::lock_guard<std::mutex> lock(g_ChildrenMutex);
        g_ActiveChildProcesses = {{"panel-spammer", gone}, {"panel-tracker", alive}};
    }
    g_PanelHoverActive = true;
    const std::string status = BindGetTrackerStatus();
    EXPECT_NE(status.find("\"restore\":[\"panel-spammer\"]"), std::string::npos);
    EXPECT_FALSE(g_PanelHoverActive);
    EXPECT_EQ(g_ActiveChildProcesses.size(), 1u);
    EXPECT_NE(BindGetTrackerStatus().find("\"restore\":[]"), std::string::npos);
    EXPECT_EQ(LoadMacroEventsFromFile().substr(0, 8), "[{\"id\":0");
    kill(alive, SIGKILL);
    waitpid(alive, nullptr, 0);
    g_ActiveChildProcesses.clear();
}

// The input tap looks for changed hotkeys only twice a second by itself: every way that changes what it
// must grab tells it at once.
std::atomic<int> g_TapToldTimes{0};

TEST_F(BindingsTest, EveryChangeOfWhatTheTapGrabsTellsTheTap) {
    SetInputSettingsWaker([] { ++g_TapToldTimes; });
    const std::function<void()> changes[] = {
        [] { BindSetAppSetting("[\"hotkeysEnabled,0\"]"); },
        [] { BindSetAppSetting("[\"hotkeyLock,1\"]"); },
        [] { BindResetHotkeys(); },
        [] { BindReassignKey("[\"auto\"]"); },
        [] { HandleIpcCommand("reassignKey", "rec"); },
        [] { HandleIpcCommand("pickLocation", ""); },
        [] { LoadAppSettingsFromText("hotkeysEnabled=1\n"); },
        [] { DeserializeSettings(SerializeSettings()); },  // a profile's or an import's hotkeys
    };
    for (size_t i = 0; i < std::size(changes); ++i) {
        g_TapToldTimes = 0;
        changes[i]();
        EXPECT_GE(g_TapToldTimes, 1) << "change " << i;
    }
    SetInputSettingsWaker(nullptr);
}

TEST(JsonArgTest, FirstStringDecoded) {
    // The alert's text: the first argument decoded in full, or nothing when it isn't a string.
    std::string out;
    ASSERT_TRUE(JsonFirstStringArg(" [ \"a\\\"b\\n\\u00e9\" , 3]", out));
    EXPECT_EQ(out, "a\"b\n\xc3\xa9");
    EXPECT_FALSE(JsonFirstStringArg("[12]", out));
    EXPECT_FALSE(JsonFirstStringArg("[\"open", out));
}

}  // namespace
