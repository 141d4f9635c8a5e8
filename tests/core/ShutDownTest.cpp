// ShutDown with the real worker threads: the order of its effects, and a second call that does nothing.
#include <gtest/gtest.h>

#include <csignal>
#include <chrono>
#include <thread>
#include <unistd.h>
#include <sys/wait.h>

#include "core/AppState.h"
#include "core/Master.h"
#include "core/Threads.h"
#include "core/Wake.h"
#include "tests/fakes/Fakes.h"

namespace {

TEST(ShutDownTest, StopsEverythingOnceAndReleasesWhatIsHeld) {
    ResetAppState();
    StartThreads();
    ASSERT_EQ(g_Threads.size(), 6u);

    // A running Spammer and Key Spammer, and a panel process that must be told to end.
    triggerAutoClickStart = true;
    triggerKeySpamStart = true;
    WakeSignalProcessor();
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    while (!(isAutoClicking && isKeySpamming) && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    ASSERT_TRUE(isAutoClicking && isKeySpamming);
    const pid_t panel = fork();
    if (panel == 0) {
        pause();
        _exit(0);
    }
    {
        std::lock_guard<std::mutex> lock(g_ChildrenMutex);
        g_ActiveChildProcesses["tracker"] = panel;
    }
    ClearFakeInputCalls();

    const auto start = std::chrono::steady_clock::now();
    std::thread second([] { ShutDown(); });  // two callers at once: one does the work
    ShutDown();
    second.join();
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));

    EXPECT_FALSE(g_AppRunning);
    EXPECT_TRUE(g_UpdateInstallCancel);
    EXPECT_TRUE(g_Threads.empty());
    EXPECT_FALSE(isAutoClicking);
    EXPECT_FALSE(isKeySpamming);
    EXPECT_EQ(FakeInputCalls(), (std::vector<std::string>{"up 0", "up 1", "up 2", "key 32 up"}));
    EXPECT_TRUE(g_ActiveChildProcesses.empty());

    int status = 0;
    ASSERT_EQ(waitpid(panel, &status, 0), panel);
    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(WTERMSIG(status), SIGTERM);

    ClearFakeInputCalls();
    ShutDown();
    EXPECT_TRUE(FakeInputCalls().empty());
}

}  // namespace
