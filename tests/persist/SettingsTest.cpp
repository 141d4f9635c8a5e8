// The settings strings, the event line and the number reading they share.
#include <gtest/gtest.h>

#include <cmath>

#include "core/AppState.h"
#include "core/Numbers.h"
#include "persist/EventLine.h"
#include "persist/Settings.h"
#include "tests/fakes/Fakes.h"

namespace {

constexpr const char* kStartSettings =
    "0,0,0,5,0,0,1,10,0,0,0,1,1,1,1,0,1,0,500,119,118,0,117,0,0,0,5,1,10,120,32,32,0,0,0,121";

class SettingsTest : public ::testing::Test {
protected:
    void SetUp() override { ResetAppState(); }
};

TEST_F(SettingsTest, EveryFieldSurvivesARoundTrip) {
    const std::string line =
        "1,2,3,77,1,1,0,9,1,100,-200,0,1,0,1,1,2.5,1,450,65,66,0,67,4,5,6,7,0,8,68,69,69|70|71,1,1,0,72";
    DeserializeSettings(line);
    EXPECT_EQ(SerializeSettings(), line);
    EXPECT_EQ(SerializeProfileSettings(), "1,2,3,77,1,1,0,9,1,100,-200,4,5,6,7,0,8,69,69|70|71,1");

    // The retired field 21 is written as 0 and never read.
    DeserializeSettings("1,2,3,77,1,1,0,9,1,100,-200,0,1,0,1,1,2.5,1,450,65,66,999,67,4,5,6,7,0,8,68,69,69,1,1,0,72");
    EXPECT_EQ(SerializeSettings().find(",999,"), std::string::npos);
}

TEST_F(SettingsTest, OlderShapesKeepWhatTheyLack) {
    const std::string a = "1,2,3,77,1,1,0,9,1,100,200,0,0,0,0,1,3.0,1,500,65,66,0,67";  // 23 fields
    const std::string b = ",4,5,6,7,0,8,88,90";                                         // 31
    const std::string c = ",90|91,1";                                                   // 33
    const std::string d = ",1,1";                                                       // 35
    const struct {
        std::string line;
        const char* after;
    } cases[] = {
        // No Key Spammer setup: intervals stay, the list becomes the single mirrored target.
        {a, "1,2,3,77,1,1,0,9,1,100,200,0,0,0,0,1,3,1,500,65,66,0,67,0,0,0,5,1,10,120,32,32,0,0,0,121"},
        {a + b, "1,2,3,77,1,1,0,9,1,100,200,0,0,0,0,1,3,1,500,65,66,0,67,4,5,6,7,0,8,88,90,90,0,0,0,121"},
        {a + b + c, "1,2,3,77,1,1,0,9,1,100,200,0,0,0,0,1,3,1,500,65,66,0,67,4,5,6,7,0,8,88,90,90|91,1,0,0,121"},
        {a + b + c + d, "1,2,3,77,1,1,0,9,1,100,200,0,0,0,0,1,3,1,500,65,66,0,67,4,5,6,7,0,8,88,90,90|91,1,1,1,121"},
        {a + b + c + d + ",33",
         "1,2,3,77,1,1,0,9,1,100,200,0,0,0,0,1,3,1,500,65,66,0,67,4,5,6,7,0,8,88,90,90|91,1,1,1,33"},
        // Fewer than 23 fields: nothing at all.
        {"1,2,3", kStartSettings},
        // A field that doesn't parse ends its group only; the next group is still read.
        {"1,2,3,77,1,x,0,9,1,100,200,0,0,0,0,1,3.0,1,500,65,66,0,67,4,5,6,7,0,8,88,90",
         "1,2,3,77,1,0,1,10,0,0,0,1,1,1,1,0,1,0,500,119,118,0,117,4,5,6,7,0,8,88,90,90,0,0,0,121"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.line);
        ResetAppState();
        DeserializeSettings(c.line);
        EXPECT_EQ(SerializeSettings(), c.after);
    }
}

TEST_F(SettingsTest, TargetListLimits) {
    std::string many;
    for (int i = 0; i < 300; ++i) many += (i ? "|" : "") + std::to_string(i + 1);
    DeserializeKeySpamTargetList(many);
    EXPECT_EQ(keySpamTargetCount, kMaxKeySpamTargets);
    EXPECT_EQ(keySpamTargets[kMaxKeySpamTargets - 1], 256);
    DeserializeKeySpamTargetList("x|y");
    EXPECT_EQ(keySpamTargetCount, 0);
    EXPECT_EQ(SerializeKeySpamTargetList(), "");
}

TEST_F(SettingsTest, ProfileSettingsShapes) {
    const struct {
        const char* line;
        const char* after;
    } cases[] = {
        {"1,2,3,4,1,1,0,7,1,50,60,1,2,3,4,0,9,65,65|66,1", "1,2,3,4,1,1,0,7,1,50,60,1,2,3,4,0,9,65,65|66,1"},
        // 18 or 19 fields: the mirrored single target, chord off.
        {"1,2,3,4,1,1,0,7,1,50,60,1,2,3,4,0,9,65", "1,2,3,4,1,1,0,7,1,50,60,1,2,3,4,0,9,65,65,0"},
        // Fewer than 18: nothing.
        {"1,2,3,4,1,1,0,7,1,50,60,1,2,3,4,0,9", "0,0,0,5,0,0,1,10,0,0,0,0,0,0,5,1,10,32,32,0"},
        // A failure ends everything, the list untouched.
        {"1,2,3,x,1,1,0,7,1,50,60,1,2,3,4,0,9,65,65|66,1", "1,2,3,5,0,0,1,10,0,0,0,0,0,0,5,1,10,32,32,0"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.line);
        ResetAppState();
        DeserializeProfileSettings(c.line);
        EXPECT_EQ(SerializeProfileSettings(), c.after);
    }

    // The defaults reset the setup but leave the rest of the list's storage and the hotkeys alone.
    DeserializeSettings(
        "1,2,3,77,1,1,0,9,1,100,-200,0,1,0,1,1,2.5,1,450,65,66,0,67,4,5,6,7,0,8,68,69,69|70|71,1,1,0,72");
    ResetSpammerKeySpamDefaults();
    EXPECT_EQ(SerializeProfileSettings(), "0,0,0,5,0,0,1,10,0,0,0,0,0,0,5,1,10,32,32,0");
    EXPECT_EQ(keySpamTargets[1], 70);
    EXPECT_EQ(vkRecord, 65);
    EXPECT_TRUE(g_HoldModeAuto);
}

TEST(SplitStringTest, ReadsLikeAStreamsLineReader) {
    using V = std::vector<std::string>;
    EXPECT_EQ(SplitString("", ','), V{});
    EXPECT_EQ(SplitString("a,,b", ','), (V{"a", "", "b"}));
    EXPECT_EQ(SplitString(",a,,", ','), (V{"", "a", ""}));  // one trailing empty piece is dropped
}

TEST(NumbersTest, LeadingNumberOrNothing) {
    const struct {
        const char* text;
        bool ok;
        int32_t value;
    } ints[] = {{"12abc", true, 12},
                {"  -7", true, -7},
                {"abc", false, 0},
                {"+-1", false, 0},
                {"2147483647", true, INT32_MAX},
                {"2147483648", false, 0}};
    for (const auto& c : ints) {
        int32_t v = 0;
        EXPECT_EQ(ParseInt(c.text, v), c.ok) << c.text;
        EXPECT_EQ(v, c.value) << c.text;
    }
    double d = 0;
    EXPECT_TRUE(ParseDouble("1000.123xyz", d));
    EXPECT_EQ(d, 1000.123);
    EXPECT_FALSE(ParseDouble("1e400", d));
    EXPECT_FALSE(ParseDouble(".", d));
    float f = 0;
    EXPECT_FALSE(ParseFloat("1e50", f));

    // Six significant digits, as the files have always been written.
    std::string out;
    for (double v : {1000.123, 0.5, 3.0, 1e-7, 123456789.0}) {
        AppendFloat(out, v);
        out += ' ';
    }
    EXPECT_EQ(out, "1000.12 0.5 3 1e-07 1.23457e+08 ");
}

TEST(EventLineTest, ShortAndBrokenLines) {
    const struct {
        const char* line;
        bool sessionOk;
        int32_t sessionScroll;
        bool macroOk;
        int32_t macroScroll;
    } cases[] = {
        {"0,0.5,10,10,0,0,0", true, 0, true, 0},
        {"0,0.5,10,10,0,0,1", true, 1, true, 0},     // the session reader repeats the seventh field
        {"0,0.5,10,10,0,0,1,", false, 0, false, 0},  // a trailing comma makes an empty eighth field
        {"0,0.5,10,10,0,0,1,x", false, 0, false, 0},
        {"0,x,10,10,0,0,1,0", false, 0, false, 0},
    };
    for (const auto& c : cases) {
        UnifiedEvent s, m;
        EXPECT_EQ(ParseEventLine(c.line, s, MissingScrollDelta::RepeatLastField), c.sessionOk) << c.line;
        EXPECT_EQ(ParseEventLine(c.line, m, MissingScrollDelta::Zero), c.macroOk) << c.line;
        EXPECT_EQ(c.sessionOk ? s.scrollDelta : 0, c.sessionScroll) << c.line;
        EXPECT_EQ(c.macroOk ? m.scrollDelta : 0, c.macroScroll) << c.line;
    }
}

TEST_F(SettingsTest, ANumberOutsideItsRangeTakesItsDefaultAndCostsNothingElse) {
    // Speed nan, a negative interval part, a negative repeat count, a negative loop interval; every other
    // field around them, in both groups, is still read.
    DeserializeSettings("1,-2,3,77,1,1,0,-9,1,100,200,0,1,0,1,1,nan,1,-450,65,66,0,67,4,5,-6,7,0,-8,68,69,69,1,1,0,72");
    EXPECT_EQ(SerializeSettings(),
              "1,0,3,77,1,1,0,10,1,100,200,0,1,0,1,1,1,1,500,65,66,0,67,4,5,0,7,0,10,68,69,69,1,1,0,72");
    for (const char* speed : {"inf", "-inf", "0", "1e30", "-2"}) {
        ResetAppState();
        fPlaybackSpeed = 3.0f;
        DeserializeSettings(std::string("0,0,0,5,0,0,1,10,0,0,0,1,1,1,1,0,") + speed +
                            ",0,500,119,118,0,117,0,0,0,5,1,10,120,32,32,0,0,0,121");
        EXPECT_EQ(fPlaybackSpeed, 1.0f) << speed;
    }
    DeserializeProfileSettings("-1,2,3,4,1,1,0,-7,1,50,60,1,2,3,-4,0,-9,65,65|66,1");
    EXPECT_EQ(SerializeProfileSettings(), "0,2,3,4,1,1,0,10,1,50,60,1,2,3,5,0,10,65,65|66,1");

    // An event time that isn't a number, or is negative, becomes 0; the event is kept.
    for (const char* line : {"3,nan,0,0,0,65,1,0", "3,inf,0,0,0,65,1,0", "3,-1,0,0,0,65,1,0"}) {
        UnifiedEvent e;
        ASSERT_TRUE(ParseEventLine(line, e, MissingScrollDelta::Zero)) << line;
        EXPECT_EQ(e.time, 0.0) << line;
        EXPECT_EQ(e.vk, 65);
    }
}

}  // namespace
