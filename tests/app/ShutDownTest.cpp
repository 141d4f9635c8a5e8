// ShutDown with the real worker threads: the order of its effects, and a second call that does nothing.
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <map>
#include <thread>

#include "app/Master.h"
#include "core/AppState.h"
#include "core/Threads.h"
#include "core/Wake.h"
#include "tests/fakes/Fakes.h"

namespace {

// The threads of this process by name, with whether each got a raised scheduling class.
std::map<std::string, bool> NamedThreads() {
    std::map<std::string, bool> out;
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
        std::string name;
        std::getline(std::ifstream(task.path() / "comm"), name);
        const int tid = std::stoi(task.path().filename().string());
        errno = 0;
        const int nice = getpriority(PRIO_PROCESS, static_cast<id_t>(tid));
        out[name] = sched_getscheduler(tid) == SCHED_FIFO || (errno == 0 && nice < 0);
    }
    return out;
}

TEST(ShutDownTest, StopsEverythingOnceAndReleasesWhatIsHeld) {
    ResetAppState();
    StartThreads();
    ASSERT_EQ(g_Threads.size(), 6u);
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    const auto named = NamedThreads();
    for (const char* name : {"QVN autoclicker", "QVN key spammer", "QVN signals", "QVN playback", "QVN timeline st"}) {
        ASSERT_TRUE(named.count(name)) << name;
        EXPECT_TRUE(named.at(name)) << name << " runs at the default priority";
    }

    // A running Spammer and Key Spammer, each asleep in a long interval after its first round, and a panel
    // process that must be told to end.
    autoClickIntervalHours = 1;
    keySpamIntervalHours = 1;
    triggerAutoClickStart = true;
    triggerKeySpamStart = true;
    WakeSignalProcessor();
    ASSERT_TRUE(WaitUntil([] { return currentClickCount > 0 && currentKeySpamCount > 0; }));
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
