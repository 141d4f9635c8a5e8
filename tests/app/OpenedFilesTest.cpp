// Files opened from the desktop or dropped on the window: themes installed with the last good one applied,
// macros brought in or held for confirmation, the page told when it is up and left to ask when it isn't,
// and drops of other files refused by name.
#include <gtest/gtest.h>

#include <filesystem>

#include "app/OpenedFiles.h"
#include "core/AppState.h"
#include "macro/MacroImport.h"
#include "persist/AppSettings.h"
#include "platform/Platform.h"
#include "tests/fakes/Fakes.h"
#include "tests/themes/ThemeTexts.h"
#include "themes/Themes.h"

namespace fs = std::filesystem;

namespace {

constexpr const char* kUnreadable =
    "That macro file could not be imported - it may be corrupted or from a version this build doesn't "
    "recognize. Since this is recorded work, it's worth checking the original file is intact before trying "
    "again.";
constexpr const char* kInvalidTheme =
    "That theme file failed validation and was not imported - it may be corrupted, too large, or contain a value "
    "outside what a theme file is allowed to carry.";

class OpenedFilesTest : public ::testing::Test {
protected:
    void SetUp() override {
        ResetAppState();
        fs::remove_all(GetThemesDirPath());
        SaveThemeToFile("quorvane");
        g_PendingMacroImport = PendingMacroImport{};
        g_PendingThemeAlert.clear();
        g_MainPageReady = false;
        g_MasterEvalFn.Clear();
    }
    void TearDown() override { g_MasterEvalFn.Clear(); }

    void PageUp() {
        g_MasterEvalFn.Set([this](const std::string& s) { scripts_.push_back(s); });
        g_MainPageReady = true;
    }
    std::string File(const std::string& name, const std::string& text) {
        WriteFileBytes(tmp_.path() + "/" + name, text);
        return tmp_.path() + "/" + name;
    }
    static std::vector<std::string> ProfileNames() {
        std::lock_guard<std::mutex> lock(profileMutex);
        std::vector<std::string> names;
        for (const MacroProfile& p : profiles) names.push_back(p.name);
        return names;
    }

    TempDir tmp_;
    std::vector<std::string> scripts_;
};

TEST_F(OpenedFilesTest, ThemesInstallTheLastGoodOneAppliesAndRefusalsAreListedInOrder) {
    PageUp();
    HandleOpenedFiles({File("Night.qvntheme", ThemeText()), File("Broken.QVNTHEME", "{not json"),
                       File("Dawn.qvntheme", ThemeText("", "Dawn")), File("Bad2.qvntheme", "")});
    EXPECT_EQ(CurrentTheme(), "Dawn");
    EXPECT_EQ(LoadThemeFromFile(), "Dawn");
    EXPECT_TRUE(PlatformFileExists(GetThemesDirPath() + "/Night.qvntheme"));
    ASSERT_EQ(scripts_.size(), 1u);
    EXPECT_EQ(scripts_[0],
              std::string("if (window.onThemeDropInstalled) window.onThemeDropInstalled("
                          "{\"appliedKey\":\"Dawn\",\"rejects\":[{\"name\":\"Broken.QVNTHEME\",\"reason\":\"") +
                  kInvalidTheme + "\"},{\"name\":\"Bad2.qvntheme\",\"reason\":\"" + kInvalidTheme + "\"}]});");
}

TEST_F(OpenedFilesTest, BeforeThePageIsUpOnlyTheLastThemeRefusalIsKept) {
    HandleOpenedFiles({File("Night.qvntheme", ThemeText())});
    EXPECT_EQ(LoadThemeFromFile(), "Night");  // the page reads it when it comes up
    EXPECT_EQ(g_PendingThemeAlert, "");

    HandleOpenedFiles({File("One.qvntheme", "x"), File("notes.txt", "hello"), File("Night2.qvntheme", ThemeText())});
    EXPECT_EQ(g_PendingThemeAlert, kInvalidTheme);
    EXPECT_EQ(LoadThemeFromFile(), "Night2");
    EXPECT_TRUE(scripts_.empty());
}

TEST_F(OpenedFilesTest, MacrosComeInOrWaitAndThePageIsToldWhenUp) {
    // Before the page: a clean macro is a profile at once, one with findings waits for getPendingMacroImport.
    HandleOpenedFiles({File("farm.qvnmacro", "Farm\n3,0.5,0,0,0,65,1,0\n")});
    EXPECT_EQ(ProfileNames(), (std::vector<std::string>{kDefaultProfileName, "Farm"}));
    HandleOpenedFiles({File("wipe.QvnMacro", "Wipe\n3,0,0,0,0,16,1,0\n3,0.1,0,0,0,46,1,0\n")});
    EXPECT_NE(BindGetPendingMacroImport().find("\"outcome\":\"pending\""), std::string::npos);
    EXPECT_EQ(ProfileNames().size(), 2u);
    EXPECT_TRUE(scripts_.empty());

    PageUp();
    HandleOpenedFiles({File("farm2.qvnmacro", "Farm\n3,0.5,0,0,0,65,1,0\n"),
                       File("wipe2.qvnmacro", "Wipe\n3,0,0,0,0,16,1,0\n3,0.1,0,0,0,46,1,0\n")});
    ASSERT_EQ(scripts_.size(), 2u);
    EXPECT_EQ(scripts_[0], "if (window.onProfileImported) window.onProfileImported();");
    std::string id;
    {
        std::lock_guard<std::mutex> lock(g_PendingMacroImportMutex);
        id = g_PendingMacroImport.id;
    }
    EXPECT_EQ(scripts_[1].rfind("if (window.onPendingMacroImport) window.onPendingMacroImport({", 0), 0u);
    EXPECT_NE(scripts_[1].find(id), std::string::npos);
}

TEST_F(OpenedFilesTest, UnreadableAndRetiredMacrosGetTheirSentencesOtherFilesNone) {
    HandleOpenedFiles({File("empty.qvnmacro", "")});
    EXPECT_EQ(g_PendingThemeAlert, kUnreadable);
    PageUp();
    HandleOpenedFiles({File("old.MCR", "x"), File("notes.txt", "x"), tmp_.path() + "/gone.qvnmacro"});
    ASSERT_EQ(scripts_.size(), 2u);
    EXPECT_NE(scripts_[0].find(".mcr files are no longer supported."), std::string::npos);
    EXPECT_NE(scripts_[1].find("That macro file could not be imported"), std::string::npos);
    EXPECT_EQ(ProfileNames().size(), 1u);
}

TEST_F(OpenedFilesTest, DropsOpenOurFilesAndNameTheRest) {
    PageUp();
    HandleDroppedFiles(
        {File("a.txt", "x"), File("Night.qvntheme", ThemeText()), File("old.mcr", "x"), tmp_.path() + "/photo.png"});
    EXPECT_EQ(CurrentTheme(), "Night");
    ASSERT_EQ(scripts_.size(), 2u);
    EXPECT_NE(scripts_[0].find("onThemeDropInstalled({\"appliedKey\":\"Night\",\"rejects\":[]})"), std::string::npos);
    EXPECT_EQ(scripts_[1],
              "alert(\"Not opened: \\\"a.txt\\\", \\\"old.mcr\\\" and \\\"photo.png\\\". Quorvane opens macro files "
              "(.qvnmacro) and theme files (.qvntheme).\");");

    scripts_.clear();
    HandleDroppedFiles({File("notes.txt", "x")});
    EXPECT_EQ(scripts_, std::vector<std::string>{"alert(\"Not opened: \\\"notes.txt\\\". Quorvane opens macro files "
                                                 "(.qvnmacro) and theme files (.qvntheme).\");"});
    EXPECT_EQ(CurrentTheme(), "Night");
}

}  // namespace
