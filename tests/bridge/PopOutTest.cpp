// Pop-out panels without a window: the master's spawn request against real child processes (copies of
// this binary that report what they were given), the child's reading of its argument, the script that
// reduces the page to one panel, and the answers a panel reads from the data files.
#include <dirent.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <climits>
#include <cstring>
#include <fstream>

#include "bridge/Ipc.h"
#include "bridge/PopOut.h"
#include "bridge/StatusDocuments.h"
#include "core/AppState.h"
#include "core/BindArgs.h"
#include "persist/AppSettings.h"
#include "platform/Platform.h"
#include "tests/fakes/Fakes.h"

namespace {

// What a spawned child reports: its argument, whether SIGUSR1 came blocked, how many descriptors it got.
std::string ReportPath(int pid) { return PlatformDataDir() + "/child-" + std::to_string(pid) + ".txt"; }

int RunAsChild(const char* arg) {
    sigset_t mask;
    sigprocmask(SIG_BLOCK, nullptr, &mask);
    int fds = 0;
    if (DIR* dir = opendir("/proc/self/fd")) {
        while (dirent* e = readdir(dir)) fds += e->d_name[0] != '.';
        closedir(dir);
    }
    std::ofstream(ReportPath(getpid())) << arg << "\n"
                                        << (sigismember(&mask, SIGUSR1) ? "usr1-blocked" : "usr1-open") << "\n"
                                        << fds - 1 << "\n";  // less the one opendir holds
    return 0;
}

std::string WaitForReport(int pid) {
    std::string text;
    WaitUntil([&] {
        text = ReadFile(ReportPath(pid));
        return text.find('\n') != std::string::npos && text.back() == '\n' &&
               std::count(text.begin(), text.end(), '\n') == 3;
    });
    return text;
}

void Reap(int pid) {
    int status = 0;
    waitpid(pid, &status, 0);
}

class PopOutTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        PlatformStartIpcServer([](std::string_view) {});
    }
    static void TearDownTestSuite() { PlatformStopIpcServer(); }
    void SetUp() override {
        ResetAppState();
        g_CurrentTheme = "daylight";
        g_FakeCursorX = 700;
        g_FakeCursorY = 500;
        std::lock_guard<std::mutex> lock(g_ChildrenMutex);
        g_ActiveChildProcesses.clear();
    }
    static int ChildOf(const std::string& id) {
        std::lock_guard<std::mutex> lock(g_ChildrenMutex);
        const auto it = g_ActiveChildProcesses.find(id);
        return it == g_ActiveChildProcesses.end() ? 0 : it->second;
    }
};

TEST_F(PopOutTest, SpawnsAPanelAtTheCursorAndKeepsItUntilItHasEnded) {
    autoClickIntervalMs = 37;
    EXPECT_EQ(BindPopOutPanel("[\"Spammer|panel-spammer|0|0\"]"), "");
    const int pid = ChildOf("panel-spammer");
    ASSERT_GT(pid, 0);
    // The placeholders became the cursor's point, and the master's theme was added; the signal that says
    // themes changed waits, blocked, and nothing of ours but the standard streams went along.
    EXPECT_EQ(WaitForReport(pid), "Spammer|panel-spammer|700|500|daylight\nusr1-blocked\n3\n");
    EXPECT_EQ(ReadFile(GetPanelSettingsFilePath()), BuildSettingsJson());
    EXPECT_NE(BuildSettingsJson().find("\"sms\":37"), std::string::npos);

    // Its end shows once, in the next poll's restore list.
    ASSERT_TRUE(
        WaitUntil([&] { return BindGetTrackerStatus().find("\"restore\":[\"panel-spammer\"]") != std::string::npos; }));
    EXPECT_NE(BindGetTrackerStatus().find("\"restore\":[]"), std::string::npos);
    EXPECT_EQ(ChildOf("panel-spammer"), 0);
}

TEST_F(PopOutTest, ShortArgumentsAndRefusals) {
    // Fewer than four fields stay as they came (the panel centres itself); a title alone gets no entry.
    BindPopOutPanel("[\"Tracker|panel-tracker|5\"]");
    const int tracker = ChildOf("panel-tracker");
    ASSERT_GT(tracker, 0);
    const std::string report = WaitForReport(tracker);
    EXPECT_EQ(report.substr(0, report.find('\n')), "Tracker|panel-tracker|5|daylight");
    Reap(tracker);
    {
        std::lock_guard<std::mutex> lock(g_ChildrenMutex);
        g_ActiveChildProcesses.clear();
    }
    BindPopOutPanel("[\"Solo\"]");
    {
        std::lock_guard<std::mutex> lock(g_ChildrenMutex);
        EXPECT_TRUE(g_ActiveChildProcesses.empty());
    }

    // An id that names no panel would stand in the status document as it is: refused before anything.
    PlatformDeleteFile(GetPanelSettingsFilePath());
    EXPECT_THROW(BindPopOutPanel("[\"X|panel\\\\x|0|0\"]"), BindError);
    EXPECT_FALSE(PlatformFileExists(GetPanelSettingsFilePath()));

    // Without the socket a panel could do nothing: the sentence, and no child.
    PlatformStopIpcServer();
    EXPECT_EQ(BindPopOutPanel("[\"Spammer|panel-spammer|0|0\"]"),
              "\"Pop-out panels are unavailable right now - restart Quorvane.\"");
    EXPECT_EQ(ChildOf("panel-spammer"), 0);
    EXPECT_FALSE(PlatformFileExists(GetPanelSettingsFilePath()));
    PlatformStartIpcServer([](std::string_view) {});
}

TEST_F(PopOutTest, TheSameIdAgainKeepsTheNewerProcess) {
    BindPopOutPanel("[\"Spammer|panel-spammer|0|0\"]");
    const int first = ChildOf("panel-spammer");
    BindPopOutPanel("[\"Spammer|panel-spammer|0|0\"]");
    const int second = ChildOf("panel-spammer");
    EXPECT_GT(first, 0);
    EXPECT_NE(first, second);
    Reap(first);
    Reap(second);
}

TEST(ChildPanelArgTest, Fields) {
    struct Row {
        const char* arg;
        const char* title;
        const char* id;
        int x, y;
        const char* theme;
    };
    const Row rows[] = {
        {"", "Panel", "", INT_MIN, INT_MIN, "quorvane"},
        {"Spammer|panel-spammer|700|500|daylight", "Spammer", "panel-spammer", 550, 480, "daylight"},
        {"\"Key Spammer\"|panel-keyspam|10|10", "Key Spammer", "panel-keyspam", -140, -10, "quorvane"},
        {"T|panel-ui|12", "T", "panel-ui", INT_MIN, INT_MIN, "quorvane"},
        {"T|panel-ui|left|3|graphite", "T", "panel-ui", INT_MIN, INT_MIN, "graphite"},
        {"T|panel-ui|-2147483648|0|x", "T", "panel-ui", INT_MIN, INT_MIN, "x"},  // no overflow below
    };
    for (const Row& r : rows) {
        const ChildPanelRequest got = ParseChildPanelArg(r.arg);
        EXPECT_EQ(got.title, r.title) << r.arg;
        EXPECT_EQ(got.panelId, r.id) << r.arg;
        EXPECT_EQ(got.x, r.x) << r.arg;
        EXPECT_EQ(got.y, r.y) << r.arg;
        EXPECT_EQ(got.theme, r.theme) << r.arg;
    }
}

TEST(ChildPanelPageTest, TheScriptTakesItsArgumentsAsData) {
    const std::string script = ChildPanelInjectionScript("</script><b>x", "@THEME@\"");
    EXPECT_EQ(script.find("</script>"), script.rfind("</script>"));  // only its own closing tag
    EXPECT_NE(script.find("applyTheme(\"\\u003c/script>\\u003cb>x\")"), std::string::npos);
    EXPECT_NE(script.find("getElementById(\"@THEME@\\\"\")"), std::string::npos);
    EXPECT_EQ(script.substr(script.size() - 16), "</script></body>");
}

TEST(ChildPanelPageTest, ThePageGetsTheScriptBeforeItsLastBodyEnd) {
    TempDir dir;
    mkdir((dir.path() + "/ui").c_str(), 0700);
    EXPECT_EQ(ChildPanelDocument(dir.path(), "quorvane", "panel-ui"), "<h2>Error loading UI in child process</h2>");
    std::ofstream(dir.path() + "/ui/index.html") << "<body><p></body></p></body>\n";
    const std::string page = ChildPanelDocument(dir.path(), "quorvane", "panel-ui");
    EXPECT_EQ(page.substr(0, 23), "<body><p></body></p><sc");
    EXPECT_EQ(page.substr(page.size() - 17), "</script></body>\n");
}

TEST(PanelFilesTest, BrokenFilesGiveTheDefaultAnswers) {
    ResetAppState();
    PlatformDeleteFile(GetTrackerStatusFilePath());
    PlatformDeleteFile(GetPanelSettingsFilePath());
    EXPECT_EQ(PanelTrackerStatus(), kIdleTrackerStatus);
    EXPECT_EQ(PanelSettings(), "{}");
    WriteWholeFile(GetTrackerStatusFilePath(), "{\"state\":\"Playing\"}\nleft over");
    WriteWholeFile(GetPanelSettingsFilePath(), "{\"sh\":1}\r\n");
    EXPECT_EQ(PanelTrackerStatus(), "{\"state\":\"Playing\"}");
    EXPECT_EQ(PanelSettings(), "{\"sh\":1}");
    WriteWholeFile(GetTrackerStatusFilePath(), "{\"state\":\"Play");
    WriteWholeFile(GetPanelSettingsFilePath(), "sh=1");
    EXPECT_EQ(PanelTrackerStatus(), kIdleTrackerStatus);
    EXPECT_EQ(PanelSettings(), "{}");
}

TEST(DropTargetTest, TheSavedMainWindowRectangle) {
    ResetAppState();
    EXPECT_FALSE(PointIsOverSavedMainWindow(0, 0));  // nothing saved: no target at all
    g_HasSavedWindowPos = true;
    g_SavedWindowX = 40;
    g_SavedWindowY = 60;
    g_SavedWindowWidth = 400;
    g_SavedWindowHeight = 500;
    EXPECT_TRUE(PointIsOverSavedMainWindow(40, 60));
    EXPECT_TRUE(PointIsOverSavedMainWindow(439, 559));
    EXPECT_FALSE(PointIsOverSavedMainWindow(440, 300));
    EXPECT_FALSE(PointIsOverSavedMainWindow(100, 560));
    EXPECT_FALSE(PointIsOverSavedMainWindow(39, 300));
    ResetAppState();
}

}  // namespace

int main(int argc, char** argv) {
    if (argc >= 2 && std::strcmp(argv[1], "--child") == 0) return RunAsChild(argc >= 3 ? argv[2] : "");
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
