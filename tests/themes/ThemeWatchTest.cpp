// The themes folder watched by the master: a file moved in is listed within about 0.7 s, and the page and
// each panel are told once per change.
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <thread>

#include "core/AppState.h"
#include "platform/Platform.h"
#include "tests/fakes/Fakes.h"
#include "tests/themes/ThemeTexts.h"
#include "themes/ThemeWatch.h"
#include "themes/Themes.h"

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

namespace {

std::atomic<int> g_Signals{0};
void CountSignal(int) { ++g_Signals; }

std::mutex g_ScriptsMutex;
std::vector<std::string> g_Scripts;

std::vector<std::string> Scripts() {
    std::lock_guard<std::mutex> lock(g_ScriptsMutex);
    return g_Scripts;
}

bool Listed(const std::string& key) {
    std::lock_guard<std::recursive_mutex> lock(g_ThemesMutex);
    return g_CustomThemes.count(key) > 0;
}

TEST(ThemeWatch, AFileMovedInIsListedAndThePageToldOnce) {
    ResetAppState();
    fs::remove_all(GetThemesDirPath());
    ScanCustomThemes();
    struct sigaction sa {};
    sa.sa_handler = CountSignal;
    sigaction(SIGUSR1, &sa, nullptr);
    {
        std::lock_guard<std::mutex> lock(g_ChildrenMutex);
        g_ActiveChildProcesses = {{"keyspam", static_cast<int>(getpid())}};
    }
    g_MasterEvalFn.Set([](const std::string& script) {
        std::lock_guard<std::mutex> lock(g_ScriptsMutex);
        g_Scripts.push_back(script);
    });
    g_MainPageReady = true;
    PlatformWatchDirectory(GetThemesDirPath(), OnThemesFolderChanged);

    const std::string outside = PlatformDataDir() + "/Moved.qvntheme";
    WriteFileBytes(outside, ThemeText());
    const auto moved = Clock::now();
    fs::rename(outside, GetThemesDirPath() + "/Moved.qvntheme");
    ASSERT_TRUE(WaitUntil([] { return Listed("Moved"); }, std::chrono::milliseconds(2000)));
    EXPECT_LE(Clock::now() - moved, std::chrono::milliseconds(700));

    ASSERT_TRUE(WaitUntil([] { return !Scripts().empty(); }, std::chrono::milliseconds(2000)));
    ASSERT_TRUE(WaitUntil([] { return g_Signals > 0; }, std::chrono::milliseconds(1000)));
    std::this_thread::sleep_for(std::chrono::milliseconds(900));  // room for a second, wrong, round
    EXPECT_EQ(Scripts(), std::vector<std::string>{"if (window.onThemeFolderChanged) window.onThemeFolderChanged();"});
    EXPECT_EQ(g_Signals, 1);

    // Before the page is ready it is not told; a file removed leaves the list at the next round.
    g_MainPageReady = false;
    fs::remove(GetThemesDirPath() + "/Moved.qvntheme");
    ASSERT_TRUE(WaitUntil([] { return !Listed("Moved"); }, std::chrono::milliseconds(2000)));
    ASSERT_TRUE(WaitUntil([] { return g_Signals == 2; }, std::chrono::milliseconds(2000)));
    EXPECT_EQ(Scripts().size(), 1u);

    // Shut-down cuts a round short and waits for it.
    WriteFileBytes(GetThemesDirPath() + "/Late.qvntheme", ThemeText());
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    g_AppRunning = false;
    const auto stop = Clock::now();
    EndThemeRescans();
    EXPECT_LE(Clock::now() - stop, std::chrono::milliseconds(250));
    EXPECT_FALSE(Listed("Late"));
    // A round for the rest of that burst may still start; it must be over before the process ends.
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EndThemeRescans();

    std::lock_guard<std::mutex> lock(g_ChildrenMutex);
    g_ActiveChildProcesses.clear();
    g_MasterEvalFn.Clear();
}

}  // namespace
