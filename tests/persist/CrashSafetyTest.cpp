// A save killed at any moment leaves a whole session file: either the one before or the one after.
#include <dirent.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <random>
#include <thread>

#include "core/AppState.h"
#include "persist/SessionFile.h"
#include "platform/Platform.h"
#include "tests/fakes/Fakes.h"

namespace {

constexpr size_t kEvents = 200000;

TEST(CrashSafetyTest, AKillDuringSavesOfALongSessionLeavesAWholeFile) {
    TempDir tmp;
    ResetAppState();
    g_SessionStateFilePath = tmp.path() + "/session.dat";
    profiles[0].events.resize(kEvents, UnifiedEvent{EventMoveAbs, 0.0, 640, 480, 0, 0, false, 0});
    for (size_t i = 0; i < kEvents; ++i) profiles[0].events[i].time = static_cast<double>(i) * 0.001;
    SaveSessionState();

    std::mt19937 random(20261123);
    for (int round = 0; round < 20; ++round) {
        const pid_t saver = fork();
        if (saver == 0) {
            // Saves as fast as it can, each text differing from the last so that every save writes.
            for (int32_t n = 1;; ++n) {
                profiles[0].events[0].x = n;
                SaveSessionState();
            }
        }
        ASSERT_GT(saver, 0);
        std::this_thread::sleep_for(std::chrono::milliseconds(std::uniform_int_distribution<int>(20, 700)(random)));
        kill(saver, SIGKILL);
        waitpid(saver, nullptr, 0);

        std::string text;
        ASSERT_TRUE(ReadWholeFile(g_SessionStateFilePath, text));
        bool whole = false;
        ASSERT_TRUE(LoadSessionStateFromText(text, &whole)) << "round " << round;
        EXPECT_TRUE(whole) << "round " << round << ": " << text.size() << " bytes";
        std::lock_guard<std::mutex> lock(profileMutex);
        ASSERT_EQ(profiles.size(), 1u);
        ASSERT_EQ(profiles[0].events.size(), kEvents) << "round " << round;
        EXPECT_EQ(profiles[0].events.back().time, 199.999);
    }
    // What the kills left half-written is temporary files only, and the start-up sweep takes them.
    PlatformRemoveStaleTempFiles(tmp.path());
    std::vector<std::string> left;
    DIR* d = opendir(tmp.path().c_str());
    while (const dirent* e = readdir(d)) left.emplace_back(e->d_name);
    closedir(d);
    std::sort(left.begin(), left.end());
    EXPECT_EQ(left, (std::vector<std::string>{".", "..", "session.dat"}));
}

}  // namespace
