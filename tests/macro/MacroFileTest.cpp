// Macro files: what each shape of file gives, and what it may never change.
#include <gtest/gtest.h>

#include <fstream>

#include "core/AppState.h"
#include "macro/MacroFile.h"
#include "persist/Settings.h"
#include "platform/Platform.h"
#include "tests/fakes/Fakes.h"

namespace {

const std::string kStrangerSettings =
    "SETTINGS:1,2,3,77,1,1,0,9,1,100,200,0,0,0,0,1,3.0,1,500,65,66,0,67,0,0,1,88,0,4,68,69,69|70,1,1,1";

class MacroFileTest : public ::testing::Test {
protected:
    void SetUp() override { ResetAppState(); }

    std::string Parse(const std::string& text, MacroProfile& out) {
        const std::string path = dir_ + "/m.qvnmacro";
        std::ofstream(path, std::ios::binary) << text;
        return ParseMacroFile(path, out);
    }

    TempDir tmp_;
    const std::string dir_ = tmp_.path();
};

TEST_F(MacroFileTest, ShapesOfFile) {
    const std::string live = SerializeSettings();
    const struct {
        const char* name;
        std::string text;
        std::string profileName;
        std::string settings;
        size_t events;
    } cases[] = {
        {"today's shape", "Stranger\n" + kStrangerSettings + "\n0,0.5,10,10,0,0,0\n", "Stranger",
         "1,2,3,77,1,1,0,9,1,100,200,0,0,1,88,0,4,69,69|70,1", 1},
        {"23 fields: the importer's Key Spammer setup and its single target",
         "Old\nSETTINGS:1,2,3,77,1,1,0,9,1,100,200,0,0,0,0,1,3.0,1,500,65,66,0,67", "Old",
         "1,2,3,77,1,1,0,9,1,100,200,0,0,0,5,1,10,32,32,0", 0},
        {"31 fields: the file's single target",
         "W\nSETTINGS:1,2,3,77,1,1,0,9,1,100,200,0,0,0,0,1,3,1,500,65,66,0,67,4,5,6,7,0,8,88,90", "W",
         "1,2,3,77,1,1,0,9,1,100,200,4,5,6,7,0,8,90,90,0", 0},
        {"a Spammer field that isn't a whole number keeps the importer's group",
         "W\nSETTINGS:1,2,3x,77,1,1,0,9,1,100,200,0,0,0,0,1,3,1,500,65,66,0,67,4,5,6,7,0,8,88,90,69|abc,0", "W",
         "0,0,0,5,0,0,1,10,0,0,0,4,5,6,7,0,8,90,69|abc,0", 0},
        {"a Key Spammer field with junk keeps the importer's group; the hotkey field doesn't matter",
         "W\nSETTINGS: 1,+2,3,77,1,1,0,9,1,100,200,0,0,0,0,1,3,1,500,65,66,0,67,4,5,6,7,0,8,x,9.5,69,1", "W",
         " 1,+2,3,77,1,1,0,9,1,100,200,0,0,0,5,1,10,32,69,1", 0},
        {"no settings line", "Bare\n0,0.5,10,10,0,0,0", "Bare", "", 1},
        {"CR LF", "Crlf\r\n" + kStrangerSettings + "\r\n0,0.5,10,10,0,0,0\r\n\r\n3,1,0,0,0,65,1,0\r\n", "Crlf",
         "1,2,3,77,1,1,0,9,1,100,200,0,0,1,88,0,4,69,69|70,1", 2},
        {"a name that looks like settings is a name", kStrangerSettings + "\n0,0.5,10,10,0,0,0", kStrangerSettings, "",
         1},
        {"bad event lines cost only themselves", "B\n0,x,1,1,0,0,0\n0,0.5,10,10,0,0,0,\n3,0.5,1,1,0,65,1\nnonsense",
         "B", "", 1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        MacroProfile p;
        ASSERT_EQ(Parse(c.text, p), "");
        EXPECT_EQ(p.name, c.profileName);
        EXPECT_EQ(p.settings, c.settings);
        EXPECT_EQ(p.events.size(), c.events);
        EXPECT_EQ(SerializeSettings(), live) << "a macro file changed a live setting";
    }

    MacroProfile p;
    ASSERT_EQ(Parse("Bare\n0,0.5,10,10,0,0,1", p), "");
    EXPECT_EQ(p.events[0].scrollDelta, 0);  // a missing eighth field is 0 here, unlike the session file
    EXPECT_TRUE(p.events[0].down);
}

TEST_F(MacroFileTest, Refusals) {
    MacroProfile untouched{"keep", "s", {}};
    EXPECT_EQ(Parse("", untouched), "That macro file is missing its profile name.");
    EXPECT_EQ(Parse("\r\n0,0,0,0,0,0,0", untouched), "That macro file is missing its profile name.");
    EXPECT_EQ(ParseMacroFile(dir_ + "/missing.qvnmacro", untouched), "Couldn't open that macro file.");
    EXPECT_EQ(ParseMacroFile(dir_, untouched), "Couldn't open that macro file.");
    EXPECT_EQ(untouched.name, "keep");
}

TEST_F(MacroFileTest, WriteCarriesTheLiveSetupAndReadsBack) {
    autoClickIntervalMs = 40;
    keySpamChordMode = true;
    MacroProfile out{"Farm",
                     "ignored on export",
                     {{EventKey, 0.25, 0, 0, 0, 65, true, 0}, {EventScroll, 1.5, 0, 0, 0, 0, false, -240}}};
    const std::string path = dir_ + "/farm.qvnmacro";
    WriteMacroFile(path, out);
    EXPECT_EQ(ReadFile(path),
              "Farm\nSETTINGS:" + SerializeSettings() + "\n3,0.25,0,0,0,65,1,0\n4,1.5,0,0,0,0,0,-240\n");
    MacroProfile back;
    ASSERT_EQ(ParseMacroFile(path, back), "");
    EXPECT_EQ(back.events, out.events);
    EXPECT_EQ(back.settings, SerializeProfileSettings());
    WriteMacroFile(dir_ + "/no/such/folder.qvnmacro", out);  // says nothing
}

TEST(MacroExtensionTest, CaseDoesNotMatter) {
    EXPECT_TRUE(HasQvnMacroExtension("/x/y.qvnMacro"));
    EXPECT_FALSE(HasQvnMacroExtension("a.qvnmacro.txt"));
    EXPECT_TRUE(HasMcrExtension("a.MCR"));
    EXPECT_FALSE(HasMcrExtension("mcr"));
}

}  // namespace
