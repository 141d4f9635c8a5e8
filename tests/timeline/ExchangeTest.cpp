// The master's side of the exchange with the Timeline Editor, driven as the editor drives it: a load
// request, a save document in the data folder, a save command, and the files that come back.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "core/AppState.h"
#include "core/BindArgs.h"
#include "engine/EventList.h"
#include "input/Keys.h"
#include "persist/AppSettings.h"
#include "platform/Platform.h"
#include "tests/fakes/Fakes.h"
#include "timeline/TimelineExchange.h"
#include "timeline/TimelineSaveDoc.h"

namespace {

const std::string kLoadFile = "timeline-load.txt";
const std::string kSaveFile = "timeline-save.json";
const std::string kResultFile = "timeline-result.txt";

std::string Path(const std::string& name) { return TimelineDataFilePath(name); }

std::string Contents(const std::string& name) {
    std::string text;
    return ReadTimelineFile(Path(name), text, 1u << 30) ? text : "<missing>";
}

void Remove(const std::string& name) { PlatformDeleteFile(Path(name)); }

// What the editor would read back for a load request: the load file, which must name this request.
std::string Export(const std::string& nonce) {
    Remove(kLoadFile);
    HandleTimelineExport(nonce);
    const std::string text = Contents(kLoadFile);
    if (text.rfind(nonce + "\n", 0) != 0) return "<no load for " + nonce + ">";
    return text.substr(nonce.size() + 1);
}

// A save as the editor makes it; returns the result file's status line and message, "error: ...".
std::string Save(const std::string& nonce, const std::string& loadNonce, const std::vector<UnifiedEvent>& events) {
    const std::string doc = R"({"nonce":")" + nonce + R"(","loadNonce":")" + loadNonce + R"(","events":)" +
                            TimelineEventsToJson(events) + "}";
    EXPECT_TRUE(WriteTimelineFileAtomic(Path(kSaveFile), doc));
    Remove(kResultFile);
    HandleTimelineApply(nonce, PublishEventList);
    EXPECT_FALSE(PlatformFileExists(Path(kSaveFile))) << "a save document is acted on once";
    const std::string result = Contents(kResultFile);
    const std::string head = nonce + "\n";
    if (result.rfind(head, 0) != 0) return "<no result for " + nonce + ">";
    const std::string rest = result.substr(head.size());
    const size_t lf = rest.find('\n');
    return rest.substr(0, lf) + ": " + rest.substr(lf + 1);
}

UnifiedEvent Key(double t, int vk, bool down) { return UnifiedEvent{EventKey, t, 0, 0, 0, vk, down, 0}; }
UnifiedEvent Click(double t, int64_t x, int64_t y) { return UnifiedEvent{EventMouseClick, t, x, y, 2, 0, false, 0}; }

std::vector<UnifiedEvent>& Active() { return profiles[static_cast<size_t>(currentProfileIdx)].events; }

const char* const kChanged =
    "error: Not saved: the macro was changed outside the editor since it was loaded (recorded, imported or "
    "edited). Revert loads the current version.";

class ExchangeTest : public ::testing::Test {
protected:
    void SetUp() override {
        ResetAppState();
        for (const std::string& name : {kLoadFile, kSaveFile, kResultFile}) Remove(name);
        g_MasterEvalFn.Set([this](const std::string& script) { scripts.push_back(script); });
    }
    void TearDown() override { g_MasterEvalFn.Clear(); }

    std::vector<std::string> scripts;
};

}  // namespace

TEST_F(ExchangeTest, LoadDocumentAndSaveBack) {
    Active() = {Key(0.5, 65, true), Click(1.25, -3, 40), Key(2, 65, false), Key(2, 13, true)};
    profiles[0].name = "Mine \"quoted\"";
    const std::string expected = R"({"profile":"Mine \"quoted\"","profileIdx":0,"keys":{"13":)" +
                                 JsonEscapeForBind(GetKeyName(13)) + R"(,"65":)" + JsonEscapeForBind(GetKeyName(65)) +
                                 R"(},"events":[[3,0.5,0,0,0,65,1,0],[2,1.25,-3,40,2,0,0,0],[3,2,0,0,0,65,0,0],)"
                                 R"([3,2,0,0,0,13,1,0]]})";
    EXPECT_EQ(Export("a1"), expected);

    std::vector<UnifiedEvent> edited = Active();
    edited.erase(edited.begin() + 1);
    EXPECT_EQ(Save("b2", "a1", edited), "ok: Saved 3 events to \"Mine \"quoted\"\".");
    EXPECT_EQ(Active(), edited);
    EXPECT_EQ(LoadMacroEventsFromFile().find("Mouse Click"), std::string::npos) << "the event list was rewritten";
    EXPECT_EQ(scripts, std::vector<std::string>{"if (typeof refreshExpertList === 'function') refreshExpertList();"});
}

TEST_F(ExchangeTest, EachStaleSaveIsRefusedWithItsSentence) {
    const std::vector<UnifiedEvent> original = {Key(0, 65, true), Key(0.1, 65, false)};
    const std::vector<UnifiedEvent> edited = {Key(0, 66, true), Key(0.2, 66, false)};
    Active() = original;
    ASSERT_NE(Export("1"), "<no load for 1>");

    // A late or repeated save command finds another request's document.
    const std::string other = R"({"nonce":"9","loadNonce":"1","events":[]})";
    WriteTimelineFileAtomic(Path(kSaveFile), other);
    HandleTimelineApply("3");
    EXPECT_EQ(Contents(kResultFile), "3\nerror\nNot saved: the save request was out of date. Try again.");
    EXPECT_FALSE(PlatformFileExists(Path(kSaveFile)));

    // A second load overtook the editor's copy.
    ASSERT_NE(Export("4"), "<no load for 4>");
    EXPECT_EQ(Save("5", "1", edited),
              "error: Not saved: this editor's copy is out of date. Revert to reload the macro.");

    // Automation running: recording is named first; nothing changes.
    isPlaying = true;
    EXPECT_EQ(Save("6", "4", edited), "error: Not saved: Quorvane is playing. Stop it first, then save again.");
    isRecording = true;
    EXPECT_EQ(Save("7", "4", edited), "error: Not saved: Quorvane is recording. Stop it first, then save again.");
    isPlaying = false;
    isRecording = false;
    EXPECT_EQ(Active(), original);
    EXPECT_EQ(g_TimelineExport.events, original);

    // The profile was renamed, or deleted so that its index is gone or names another.
    profiles[0].name = "Renamed";
    const std::string gone = "error: Not saved: the profile this macro came from was renamed or deleted.";
    EXPECT_EQ(Save("8", "4", edited), gone);
    profiles[0].name = kDefaultProfileName;
    profiles.insert(profiles.begin(), MacroProfile{"Another", "", original});
    EXPECT_EQ(Save("9", "4", edited), gone);
    profiles.erase(profiles.begin());

    // One time changed in the master since the load; a fresh load makes the save go through.
    Active()[1].time = 0.10000000000000002;
    EXPECT_EQ(Save("a", "4", edited), kChanged);
    ASSERT_NE(Export("b"), "<no load for b>");
    EXPECT_EQ(Save("c", "b", edited), "ok: Saved 2 events to \"Default Tracking Profile\".");
    EXPECT_EQ(Active(), edited);

    // A save file that isn't there, and one that isn't a document.
    HandleTimelineApply("d");
    EXPECT_EQ(Contents(kResultFile), "d\nerror\nCouldn't read the edited macro.");
    WriteTimelineFileAtomic(Path(kSaveFile), "[]");
    HandleTimelineApply("e");
    EXPECT_EQ(Contents(kResultFile), "e\nerror\nNot saved: The edited macro is not in the expected format.");

    // An invalid nonce gets no answer at all, and an export with one changes nothing.
    Remove(kResultFile);
    HandleTimelineApply("xyz");
    EXPECT_FALSE(PlatformFileExists(Path(kResultFile)));
    EXPECT_EQ(Export("not-hex"), "<no load for not-hex>");
    EXPECT_EQ(g_TimelineExport.nonce, "b");
}

TEST_F(ExchangeTest, ChainOfSavesNeedsNoReload) {
    Active() = {Key(0, 65, true)};
    ASSERT_NE(Export("10"), "<no load for 10>");
    std::vector<UnifiedEvent> events;  // the first save empties the macro
    for (int i = 0; i <= 3; ++i) {
        if (i > 0) events.push_back(Key(i, 65 + i, i % 2 == 0));
        EXPECT_EQ(Save("2" + std::to_string(i), "10", events),
                  "ok: Saved " + std::to_string(events.size()) + " events to \"Default Tracking Profile\".");
    }
    EXPECT_EQ(Active(), events);
}

TEST_F(ExchangeTest, NanTimeInTheProfileRefusesEverySave) {
    Active() = {Key(std::numeric_limits<double>::quiet_NaN(), 65, true)};
    EXPECT_EQ(Export("1"), R"({"profile":"Default Tracking Profile","profileIdx":0,"keys":{"65":)" +
                               JsonEscapeForBind(GetKeyName(65)) + R"(},"events":[[3,0,0,0,0,65,1,0]]})");
    EXPECT_EQ(Save("2", "1", {Key(0, 65, true)}), kChanged);
    ASSERT_NE(Export("3"), "<no load for 3>");
    EXPECT_EQ(Save("4", "3", {Key(0, 65, true)}), kChanged);
    EXPECT_TRUE(std::isnan(Active()[0].time));
}

TEST_F(ExchangeTest, LongMacroGetsTheRefusalFormAndIsStillRecorded) {
    Active().assign(1000001, Click(0, 1, 1));
    EXPECT_EQ(Export("ab"), R"({"error":"This macro has 1000001 events - more than the Timeline Editor's limit of )"
                            R"(1000000."})");
    EXPECT_EQ(g_TimelineExport.nonce, "ab");
    EXPECT_EQ(g_TimelineExport.events.size(), 1000001u);
    Active().pop_back();
    EXPECT_EQ(
        Export("cd").rfind(R"({"profile":"Default Tracking Profile","profileIdx":0,"keys":{},"events":[[2,0,1,)", 0),
        0u);

    // Without an active profile there is no load and no change to what was exported.
    currentProfileIdx = 1;
    EXPECT_EQ(Export("ef"), "<no load for ef>");
    EXPECT_EQ(g_TimelineExport.nonce, "cd");
}

TEST(TimelineFilesTest, FilesAndNumbers) {
    EXPECT_EQ(TimelineDataFilePath("x.txt"), PlatformDataDir() + "/x.txt");

    // A temporary twin left by a crash is replaced, and nothing is left beside the file.
    const std::string path = TimelineDataFilePath("timeline-state.txt");
    WriteWholeFile(path + ".tmp", "left over from a crash, and longer than what follows");
    ASSERT_TRUE(WriteTimelineFileAtomic(path, "7 1"));
    EXPECT_FALSE(PlatformFileExists(path + ".tmp"));
    std::string text;
    EXPECT_TRUE(ReadTimelineFile(path, text, 3));
    EXPECT_EQ(text, "7 1");
    EXPECT_FALSE(ReadTimelineFile(path, text, 2));
    EXPECT_FALSE(ReadTimelineFile(path + ".none", text, 100));
    EXPECT_FALSE(WriteTimelineFileAtomic(PlatformDataDir() + "/no-such-folder/f", "x"));

    EXPECT_TRUE(IsTimelineNonce("0123456789abcdefABCDEF"));

    const double inf = std::numeric_limits<double>::infinity();
    const std::vector<UnifiedEvent> events = {
        {EventMoveAbs, 0.1 + 0.2, -1000000, 5, 18446744073709551615u, -1, true, -2147483647 - 1},
        {EventScroll, 123456789.123456789, 0, 0, 0, 0, false, 120},
        {EventKey, 1e-7, 0, 0, 0, 0, false, 0},
        {EventKey, inf, 0, 0, 0, 0, false, 0},
        {EventKey, -0.0, 0, 0, 0, 0, false, 0},
    };
    EXPECT_EQ(TimelineEventsToJson(events),
              "[[0,0.3,-1000000,5,18446744073709551615,-1,1,-2147483648],[4,123456789.123457,0,0,0,0,0,120],"
              "[3,1e-07,0,0,0,0,0,0],[3,0,0,0,0,0,0,0],[3,-0,0,0,0,0,0,0]]");
    EXPECT_EQ(TimelineEventsToJson({}), "[]");
}
