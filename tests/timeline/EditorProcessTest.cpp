// The Timeline Editor's process logic: its window file, the page's reads of the transfer files, the save
// request checked before it leaves, the poll's reading of the state file, and the master's telling of
// the automation state with its acknowledgement wait.
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "core/AppState.h"
#include "platform/Platform.h"
#include "timeline/AutomationWatch.h"
#include "timeline/EditorProcess.h"
#include "timeline/TimelineExchange.h"

namespace {

std::string Path(const std::string& name) { return TimelineDataFilePath(name); }
std::string Contents(const std::string& name) {
    std::string text;
    return ReadTimelineFile(Path(name), text, 1u << 20) ? text : "<missing>";
}
void Put(const std::string& name, const std::string& text) { ASSERT_TRUE(WriteTimelineFileAtomic(Path(name), text)); }

TEST(TimelineWindowFile, SizeReadsBackAndBadTextGivesTheDefault) {
    const struct {
        const char* text;
        int w, h;
        bool zoomed;
    } cases[] = {
        {"", 1000, 680, false},
        {"garbage max", 1000, 680, false},
        {"0 500", 1000, 680, false},
        {"800 -1 max", 1000, 680, false},
        {"800 600", 800, 600, false},
        {"800 600 max", 800, 600, true},
        {"5000 4000", 5000, 4000, false},  // clamped to the screen by the window, not here
        {" 800\n600", 800, 600, false},
        {"800", 1000, 680, false},
        {"99999999999 600", 1000, 680, false},
        {"800 x600 max", 1000, 680, false},
        {"800 600max", 800, 600, false},
        {"max 800 600", 1000, 680, false},
    };
    for (const auto& c : cases) {
        int w = 0, h = 0;
        bool zoomed = true;
        ParseTimelineWindowSize(c.text, w, h, zoomed);
        EXPECT_EQ(std::to_string(w) + "x" + std::to_string(h) + (zoomed ? " max" : ""),
                  std::to_string(c.w) + "x" + std::to_string(c.h) + (c.zoomed ? " max" : ""))
            << c.text;
    }
    EXPECT_EQ(FormatTimelineWindowSize(900, 700, true), "900 700 max");
    EXPECT_EQ(FormatTimelineWindowSize(0, 700, false), "");
}

TEST(TimelinePageReads, OnlyTheOwnerTakesALoadOrAResultAndOnlyOnce) {
    Put("timeline-load.txt", "abc\n{\"profile\":\"P \\\"q\\\"\",\"events\":[]}");
    EXPECT_EQ(TimelineReadLoad("not-a-nonce"), "null");
    EXPECT_EQ(TimelineReadLoad("abcd"), "null");
    EXPECT_EQ(TimelineReadLoad("ab"), "null");
    EXPECT_TRUE(PlatformFileExists(Path("timeline-load.txt"))) << "another request's file stays";
    EXPECT_EQ(TimelineReadLoad("abc"), "\"{\\\"profile\\\":\\\"P \\\\\\\"q\\\\\\\"\\\",\\\"events\\\":[]}\"");
    EXPECT_EQ(TimelineReadLoad("abc"), "null");

    Put("timeline-result.txt", "f00\nerror\nNot saved: two\nlines");
    EXPECT_EQ(TimelineReadResult("f01"), "null");
    EXPECT_EQ(TimelineReadResult("f00"), "{\"ok\":false,\"message\":\"Not saved: two\\nlines\"}");
    EXPECT_EQ(TimelineReadResult("f00"), "null");
    Put("timeline-result.txt", "f00\nok");
    EXPECT_EQ(TimelineReadResult("f00"), "{\"ok\":true,\"message\":\"\"}");
    Put("timeline-result.txt", "f00");
    EXPECT_EQ(TimelineReadResult("f00"), "null");

    // The reading itself: the nonce must be the whole first line; anything but "ok" is a refusal, and the
    // message keeps quotes and control bytes as text.
    std::string rest;
    EXPECT_FALSE(TimelineTransferTextFor("f00 \nok", "f00", rest));
    EXPECT_FALSE(TimelineTransferTextFor("\nok", "f00", rest));
    EXPECT_TRUE(TimelineTransferTextFor("f00\n", "f00", rest));
    EXPECT_EQ(rest, "");
    EXPECT_EQ(TimelineResultFromText("OK\nSaved."), "{\"ok\":false,\"message\":\"Saved.\"}");
    EXPECT_EQ(TimelineResultFromText("ok\r\n\"}\x01"), "{\"ok\":false,\"message\":\"\\\"}\\u0001\"}");
}

TEST(TimelineSaveRequestTest, ChecksTheDocumentBeforeAnythingLeaves) {
    std::vector<std::string> sent;
    const auto send = [&sent](const std::string& command, const std::string& payload) {
        sent.push_back(command + "|" + payload);
    };
    PlatformDeleteFile(Path("timeline-save.json"));
    EXPECT_EQ(TimelineSaveRequest("{}", send), "{\"ok\":false,\"message\":\"Malformed save request.\"}");
    EXPECT_EQ(TimelineSaveRequest("[", send), "{\"ok\":false,\"message\":\"Malformed save request.\"}");
    EXPECT_EQ(TimelineSaveRequest("[{\"nonce\":\"a1\",\"loadNonce\":\"b2\",\"events\":[[0,-1,0,0,0,0,0,0]]}]", send),
              "{\"ok\":false,\"message\":\"Not saved: Event 1: time is out of range.\"}");
    EXPECT_EQ(TimelineSaveRequest("[{}]", send),
              "{\"ok\":false,\"message\":\"Not saved: The edited macro is missing a field.\"}");
    EXPECT_TRUE(sent.empty());
    EXPECT_FALSE(PlatformFileExists(Path("timeline-save.json")));

    const std::string doc = "{\"nonce\":\"A1\",\"loadNonce\":\"b2\",\"events\":[[3,0.5,0,0,0,65,1,0]]}";
    EXPECT_EQ(TimelineSaveRequest(" \n[" + doc + "]\t", send), "{\"ok\":true,\"message\":\"\"}");
    EXPECT_EQ(Contents("timeline-save.json"), doc);
    EXPECT_EQ(sent, std::vector<std::string>{"applyTimelineEdit|A1"});
}

TEST(TimelineStatePoll, EachNewStateIsToldOnceAndJunkIsNotRemembered) {
    std::string last;
    bool busy = false;
    EXPECT_EQ(TimelineStateScript("3 1", last, busy),
              "if (window.onTimelineAutomation) window.onTimelineAutomation(true, '3'); else if "
              "(window.tlAckAutomation) window.tlAckAutomation('3');");
    EXPECT_TRUE(busy);
    EXPECT_EQ(TimelineStateScript("3 1", last, busy), "");
    for (const char* junk : {"", "4", "4 x", "x 1", "4 1 2", " 4 1"}) {
        EXPECT_EQ(TimelineStateScript(junk, last, busy), "") << junk;
        EXPECT_EQ(last, "3 1");
    }
    EXPECT_NE(TimelineStateScript("4 0", last, busy).find("onTimelineAutomation(false, '4')"), std::string::npos);
    EXPECT_FALSE(busy);
}

// The master's side, with this test process standing in for a running editor.
class AutomationState : public ::testing::Test {
protected:
    void SetUp() override {
        g_AppRunning = true;
        isPlaying = isRecording = isKeySpamming = false;
        Put("timeline.pid", std::to_string(getpid()));
    }
    void TearDown() override {
        isPlaying = false;
        PlatformDeleteFile(Path("timeline.pid"));
    }
    static long Notify(bool wait) {
        const auto start = std::chrono::steady_clock::now();
        NotifyTimelineAutomationState(wait);
        return static_cast<long>(
            std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start).count());
    }
};

TEST_F(AutomationState, ToldOnChangeAndAHungPageCostsOneHalfSecondOnce) {
    EXPECT_EQ(OpenTimelineEditorPid(), getpid());
    Notify(false);
    const std::string first = Contents("timeline-state.txt");
    EXPECT_EQ(first.substr(first.find(' ')), " 0");
    Notify(false);
    EXPECT_EQ(Contents("timeline-state.txt"), first) << "nothing changed, nothing written";

    isPlaying = true;
    const long waited = Notify(true);
    EXPECT_GE(waited, 450);
    const std::string busy = Contents("timeline-state.txt");
    EXPECT_EQ(busy.substr(busy.find(' ')), " 1");
    EXPECT_LT(Notify(true), 250) << "the number it gave up on is not waited for twice";
    EXPECT_EQ(Contents("timeline-state.txt"), busy);
}

TEST_F(AutomationState, AnAcknowledgementEndsTheWaitAndOldOnesNeverLowerIt) {
    Notify(false);
    isPlaying = true;
    std::thread page([] {
        // The page takes the state in when it sees it, as the poll thread would hand it over.
        for (int i = 0; i < 200; ++i) {
            std::string text;
            if (ReadTimelineFile(TimelineDataFilePath("timeline-state.txt"), text, 64) && text.size() > 2 &&
                text.substr(text.size() - 2) == " 1") {
                HandleTimelineAck(text.substr(0, text.find(' ')));
                return;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
    });
    EXPECT_LT(Notify(true), 400);
    page.join();
    const int64_t acked = g_TimelineAckedSeq;
    HandleTimelineAck("1");
    EXPECT_EQ(g_TimelineAckedSeq, acked);

    // The editor goes away: nobody is told, and a new editor hears the state afresh.
    PlatformDeleteFile(Path("timeline.pid"));
    Notify(false);
    {
        std::lock_guard<std::mutex> lock(g_TimelineStateMutex);
        EXPECT_EQ(g_TimelineToldPid, 0);
        EXPECT_EQ(g_TimelineToldBusy, -1);
    }
    Put("timeline.pid", std::to_string(getpid()));
    const std::string before = Contents("timeline-state.txt");
    Notify(false);
    EXPECT_NE(Contents("timeline-state.txt"), before);
}

// The watcher looks only once a second while no editor runs, so an editor that comes must wake it: its
// first state is written at once, not up to a second later. And it ends at once with the app.
TEST_F(AutomationState, TheWatcherIsWokenByAnEditorThatComesAndEndsWithTheApp) {
    PlatformDeleteFile(Path("timeline.pid"));
    PlatformDeleteFile(Path("timeline-state.txt"));
    std::thread watcher(TimelineAutomationWatcherThread);
    std::this_thread::sleep_for(std::chrono::milliseconds(100));  // it looked, found none, and sleeps
    Put("timeline.pid", std::to_string(getpid()));
    const auto woken = std::chrono::steady_clock::now();
    WakeTimelineWatcher();
    while (Contents("timeline-state.txt") == "<missing>" &&
           std::chrono::steady_clock::now() - woken < std::chrono::seconds(2))
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    EXPECT_LT(std::chrono::steady_clock::now() - woken, std::chrono::milliseconds(kTimelineIdleWatchMs / 2));
    EXPECT_NE(Contents("timeline-state.txt"), "<missing>");

    PlatformDeleteFile(Path("timeline.pid"));
    std::this_thread::sleep_for(std::chrono::milliseconds(50));  // it has seen the editor go: a long sleep
    const auto stop = std::chrono::steady_clock::now();
    g_AppRunning = false;
    WakeTimelineWatcher();
    watcher.join();
    EXPECT_LT(std::chrono::steady_clock::now() - stop, std::chrono::milliseconds(kTimelineIdleWatchMs / 2));
}

TEST(TimelineEditorPid, AStaleIdIsNotAnEditor) {
    Put("timeline.pid", "1");  // init: alive, but not this program
    EXPECT_EQ(OpenTimelineEditorPid(), 0);
    Put("timeline.pid", "junk");
    EXPECT_EQ(OpenTimelineEditorPid(), 0);
    PlatformDeleteFile(Path("timeline.pid"));
    EXPECT_EQ(OpenTimelineEditorPid(), 0);
}

}  // namespace
