// The session file on disk: what a save writes, what a load keeps, and the autosave thread.
#include <dirent.h>
#include <gtest/gtest.h>

#include <chrono>
#include <fstream>
#include <thread>

#include "core/AppState.h"
#include "core/Notices.h"
#include "engine/Recorder.h"
#include "persist/SessionFile.h"
#include "persist/Settings.h"
#include "platform/Platform.h"
#include "tests/fakes/Fakes.h"

namespace {

UnifiedEvent Key(double t, int vk) { return UnifiedEvent{EventKey, t, 0, 0, 0, vk, true, 0}; }

class SessionFileTest : public ::testing::Test {
protected:
    void SetUp() override {
        ResetAppState();
        g_SessionStateFilePath = dir_ + "/session.dat";
    }

    static void Write(const std::string& text) { std::ofstream(g_SessionStateFilePath, std::ios::binary) << text; }
    static std::string Saved() { return ReadFile(g_SessionStateFilePath); }

    TempDir tmp_;
    const std::string dir_ = tmp_.path();
};

const std::string kSettings =
    "SETTINGS:0,0,0,5,0,0,1,10,0,0,0,1,1,1,1,0,1,0,500,119,118,0,117,0,0,0,5,1,10,120,32,32,0,0,0,121\n";

TEST_F(SessionFileTest, SaveWritesTheWholeStateAndLoadReadsItBack) {
    profiles = {MacroProfile{kDefaultProfileName, "", {Key(0, 65), Key(1000.123, 66)}},
                MacroProfile{"Farm, the long one", "1,2,3,4,1,1,0,7,1,50,60,1,2,3,4,0,9,65,65|66,1", {}}};
    currentProfileIdx = 1;
    autoClickIntervalMs = 250;
    SaveSessionState();
    const std::string expected =
        "SETTINGS:0,0,0,250,0,0,1,10,0,0,0,1,1,1,1,0,1,0,500,119,118,0,117,0,0,0,5,1,10,120,32,32,0,0,0,121\n"
        "CURRENT:1\n"
        "PROFILE:Default Tracking Profile\n"
        "3,0,0,0,0,65,1,0\n"
        "3,1000.12,0,0,0,66,1,0\n"
        "PROFILE:Farm, the long one\n"
        "PROFILESETTINGS:1,2,3,4,1,1,0,7,1,50,60,1,2,3,4,0,9,65,65|66,1\n";
    EXPECT_EQ(Saved(), expected);

    // Six significant digits is the format. The current profile's own settings wait for the next switch;
    // the live setup is the SETTINGS line.
    ResetAppState();
    ASSERT_TRUE(LoadSessionState());
    EXPECT_EQ(keySpamTargetCount, 1);
    SaveSessionState();
    EXPECT_EQ(Saved(), expected);
}

TEST_F(SessionFileTest, LoadQuirks) {
    const struct {
        const char* name;
        std::string text;
        bool loaded;
        size_t profileCount;  // after the load, with the starting single profile when nothing loaded
        int current;
    } cases[] = {
        {"first line is not settings", "CURRENT:0\nPROFILE:a\n", false, 1, 0},
        {"only settings", kSettings, false, 1, 0},
        {"index out of range", kSettings + "CURRENT:5\nPROFILE:a\nPROFILE:b\nPROFILE:c\n", true, 3, 0},
        {"unparsable index", kSettings + "CURRENT:x\nPROFILE:a\nPROFILE:b\n", true, 2, 0},
        {"events before the first profile are skipped", kSettings + "CURRENT:0\n3,0,0,0,0,65,1,0\nPROFILE:a\n", true, 1,
         0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        ResetAppState();
        Write(c.text);
        EXPECT_EQ(LoadSessionState(), c.loaded);
        EXPECT_EQ(profiles.size(), c.profileCount);
        EXPECT_EQ(currentProfileIdx, c.current);
    }

    ResetAppState();
    // Event lines read as EventLineTest shows, with a seventh field that repeats.
    Write(kSettings + "CURRENT:0\nPROFILE:a\n3,0.5,0,0,0,65,1,0\nbroken line\n\n3,0.7,0,0,0,66,1\nPROFILE:b\n" +
          "PROFILESETTINGS:1,2\n");
    ASSERT_TRUE(LoadSessionState());
    ASSERT_EQ(profiles[0].events.size(), 2u);
    EXPECT_EQ(profiles[0].events[1].scrollDelta, 1);
    EXPECT_EQ(profiles[1].settings, "1,2");
    // The current profile had no settings of its own: it gets the live ones.
    EXPECT_EQ(profiles[0].settings, "0,0,0,5,0,0,1,10,0,0,0,0,0,0,5,1,10,32,32,0");
    SaveSessionState();
    EXPECT_EQ(Saved().find("PROFILESETTINGS:0,0"), Saved().find("PROFILESETTINGS:"));

    // A file that can't be read counts as absent.
    ResetAppState();
    g_SessionStateFilePath = dir_;
    EXPECT_FALSE(LoadSessionState());
}

TEST_F(SessionFileTest, DefaultProfileIsKeptAtTheFront) {
    profiles = {MacroProfile{"a", "", {}}, MacroProfile{"b", "", {}}};
    currentProfileIdx = 1;
    EnsureDefaultProfileExists();
    ASSERT_EQ(profiles.size(), 3u);
    EXPECT_EQ(profiles[0].name, kDefaultProfileName);
    EXPECT_EQ(profiles[currentProfileIdx].name, "b");
    EnsureDefaultProfileExists();
    EXPECT_EQ(profiles.size(), 3u);

    profiles.clear();
    currentProfileIdx = 0;
    EnsureDefaultProfileExists();
    EXPECT_EQ(profiles.size(), 1u);
    EXPECT_EQ(currentProfileIdx, 0);
}

TEST_F(SessionFileTest, SnapshotStoresTheLiveSetupInTheActiveProfile) {
    keySpamChordMode = true;
    SnapshotActiveProfileSettings();
    EXPECT_EQ(profiles[0].settings, "0,0,0,5,0,0,1,10,0,0,0,0,0,0,5,1,10,32,32,1");
    currentProfileIdx = 7;
    SnapshotActiveProfileSettings();  // an invalid index stores nothing
    EXPECT_EQ(profiles.size(), 1u);
}

TEST_F(SessionFileTest, ASaveIsDroppedWhileTheProfilesAreBusy) {
    Write("old");
    {
        std::lock_guard<std::mutex> busy(profileMutex);
        std::thread saver(SaveSessionState);  // must not wait for the lock
        saver.join();
    }
    EXPECT_EQ(Saved(), "old");
    SaveSessionState();
    EXPECT_NE(Saved(), "old");

    g_SessionStateFilePath = dir_ + "/missing/session.dat";
    SaveSessionState();  // can't be opened: nothing happens
    EXPECT_FALSE(PlatformFileExists(g_SessionStateFilePath));
}

TEST_F(SessionFileTest, AutosaveEveryFiveSecondsAndNotAfterStopping) {
    isRecording = true;
    std::thread autosave(SessionAutosaveThread);
    std::atomic<bool> stop{false};
    std::thread recorder([&stop] {  // the tap appending under the same mutex
        for (int i = 0; !stop; ++i) {
            RecordEvent(Key(i * 0.001, 65));
            std::this_thread::sleep_for(std::chrono::microseconds(200));
        }
    });
    const auto start = std::chrono::steady_clock::now();
    WaitUntil([] { return PlatformFileExists(g_SessionStateFilePath); }, std::chrono::seconds(12));
    const auto took = std::chrono::steady_clock::now() - start;
    stop = true;
    recorder.join();
    EXPECT_TRUE(PlatformFileExists(g_SessionStateFilePath));
    EXPECT_GE(took, std::chrono::milliseconds(4900));

    g_AppRunning = false;
    const auto stopAt = std::chrono::steady_clock::now();
    WakeSessionAutosave();
    autosave.join();
    EXPECT_LT(std::chrono::steady_clock::now() - stopAt, std::chrono::milliseconds(500));
    g_AppRunning = true;
}

// The set-aside copies of the session file in `dir`.
std::vector<std::string> AsideCopies(const std::string& dir) {
    std::vector<std::string> found;
    DIR* d = opendir(dir.c_str());
    while (const dirent* e = readdir(d)) {
        const std::string n = e->d_name;
        if (n.rfind("session.dat.unreadable-", 0) == 0) found.push_back(dir + "/" + n);
    }
    closedir(d);
    return found;
}

TEST_F(SessionFileTest, AFileThatDoesNotReadWholeIsSetAsideNeverSavedOver) {
    // Not a session at all, a session cut short before its first profile, and one whose lines partly
    // don't read: each is kept byte for byte beside the new file, and the page hears once where it is.
    const std::string cutShort = kSettings + "CURRENT:0\n";
    const std::string partly = kSettings + "CURRENT:0\nPROFILE:Farm\n3,0.5,0,0,0,65,1,0\n3,0.6,0,0,0,x\n";
    for (const std::string& text : {std::string("\x89PNG\r\n garbage"), cutShort, partly}) {
        ResetAppState();
        TakeUserNotices();
        TempDir folder;
        g_SessionStateFilePath = folder.path() + "/session.dat";
        Write(text);
        const bool loaded = LoadSessionState();
        EXPECT_EQ(loaded, text == partly);
        const std::vector<std::string> aside = AsideCopies(folder.path());
        ASSERT_EQ(aside.size(), 1u);
        EXPECT_EQ(ReadFile(aside[0]), text);

        const std::vector<std::string> notices = TakeUserNotices();
        ASSERT_EQ(notices.size(), 1u);
        EXPECT_NE(notices[0].find(aside[0]), std::string::npos) << notices[0];
        EXPECT_TRUE(TakeUserNotices().empty());

        SaveSessionState();
        EXPECT_EQ(ReadFile(aside[0]), text);
        ResetAppState();
        ASSERT_TRUE(LoadSessionState());  // the new file reads whole: nothing more is set aside
        EXPECT_EQ(AsideCopies(folder.path()).size(), 1u);
        if (text == partly) {
            EXPECT_EQ(profiles.back().events.size(), 1u);
        }
    }

    // An empty file, and a good one, are read in place.
    for (const std::string& text : {std::string(), kSettings + "CURRENT:0\nPROFILE:A\n"}) {
        TempDir folder;
        g_SessionStateFilePath = folder.path() + "/session.dat";
        Write(text);
        LoadSessionState();
        EXPECT_TRUE(AsideCopies(folder.path()).empty());
        EXPECT_TRUE(TakeUserNotices().empty());
    }
}

TEST_F(SessionFileTest, TheSaveAtExitWaitsForTheProfilesWithinItsPatience) {
    profiles[0].events = {Key(0, 65)};
    std::atomic<bool> holding{false};
    std::thread recorder([&holding] {
        std::lock_guard<std::mutex> lock(profileMutex);
        holding = true;
        std::this_thread::sleep_for(std::chrono::milliseconds(150));
        profiles[0].events.push_back(Key(1, 66));  // the last event of a recording, appended at the end
    });
    while (!holding) std::this_thread::yield();
    EXPECT_TRUE(SaveSessionStateAtExit(std::chrono::seconds(2)));
    recorder.join();
    EXPECT_NE(Saved().find("3,1,0,0,0,66,1,0\n"), std::string::npos);

    // A lock that stays busy: the save gives up after its patience and writes nothing.
    Write("old");
    std::lock_guard<std::mutex> busy(profileMutex);
    const auto start = std::chrono::steady_clock::now();
    bool saved = true;
    std::thread exiting([&saved] { saved = SaveSessionStateAtExit(std::chrono::milliseconds(200)); });
    exiting.join();
    EXPECT_FALSE(saved);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(200));
    EXPECT_EQ(Saved(), "old");
}

}  // namespace
