// Import staging: clean macros go straight in, anything found waits in the one slot for its id.
#include <gtest/gtest.h>

#include <fstream>

#include "core/AppState.h"
#include "macro/MacroFile.h"
#include "macro/MacroImport.h"
#include "persist/Settings.h"
#include "platform/Platform.h"
#include "tests/fakes/Fakes.h"
#include "themes/Themes.h"

namespace {

const char* const kCleanMacro =
    "Farm\nSETTINGS:1,2,3,77,1,1,0,9,1,100,200,0,0,0,0,1,3,1,500,65,66,0,67,0,0,1,88,0,4,68,69,69|70,1,1,1\n3,0.5,0,0,"
    "0,65,1,0\n";
// Shift+Delete: a danger.
const char* const kDangerMacro = "Wipe\n3,0,0,0,0,16,1,0\n3,0.1,0,0,0,46,1,0\n";
// Two Ctrl+W within 30 s: a caution only.
const char* const kCautionMacro = "Tabs\n3,0,0,0,0,17,1,0\n3,0,0,0,0,87,1,0\n3,1,0,0,0,87,1,0\n";

class MacroImportTest : public ::testing::Test {
protected:
    void SetUp() override {
        ResetAppState();
        g_PendingMacroImport = PendingMacroImport{};
        g_MasterEvalFn.Clear();
        g_MainPageReady = false;
        g_PendingThemeAlert.clear();
    }
    void TearDown() override { g_MasterEvalFn.Clear(); }

    std::string File(const std::string& name, const char* text) {
        const std::string path = dir_ + "/" + name;
        std::ofstream(path, std::ios::binary) << text;
        return path;
    }

    static std::string PendingId() {
        std::lock_guard<std::mutex> lock(g_PendingMacroImportMutex);
        return g_PendingMacroImport.active ? g_PendingMacroImport.id : "";
    }

    TempDir tmp_;
    const std::string dir_ = tmp_.path();
};

TEST_F(MacroImportTest, CleanMacroBecomesTheActiveProfile) {
    const std::string path = File("farm.qvnmacro", kCleanMacro);
    EXPECT_EQ(ImportMacroFromPath(path), "{\"outcome\":\"imported\"}");
    EXPECT_EQ(ImportMacroFromPath(path), "{\"outcome\":\"imported\"}");
    ASSERT_EQ(profiles.size(), 3u);
    EXPECT_EQ(profiles[1].name, "Farm (Imported)");
    EXPECT_EQ(profiles[2].name, "Farm (Imported) (2)");
    EXPECT_EQ(currentProfileIdx, 2);
    // A macro with settings keeps them for the next switch; the live setup stays.
    EXPECT_EQ(profiles[2].settings, "1,2,3,77,1,1,0,9,1,100,200,0,0,1,88,0,4,69,69|70,1");
    EXPECT_EQ(autoClickIntervalMs, 5);

    // Without settings the profile takes the defaults, and so does the live setup.
    autoClickIntervalMs = 99;
    CommitMacroImport(MacroProfile{"Bare", "", {}});
    EXPECT_EQ(autoClickIntervalMs, 5);
    EXPECT_EQ(profiles.back().settings, SerializeProfileSettings());
}

TEST_F(MacroImportTest, FindingsWaitForTheirId) {
    const std::string danger = ImportMacroFromPath(File("wipe.qvnmacro", kDangerMacro));
    const std::string first = PendingId();
    ASSERT_FALSE(first.empty());
    EXPECT_EQ(danger, "{\"outcome\":\"pending\",\"pendingId\":\"" + first +
                          "\",\"level\":\"danger\",\"matches\":[{\"severity\":\"DANGER\",\"message\":\"Permanently "
                          "deletes the selection and skips the Recycle Bin.\",\"atSec\":0.1}]}");
    EXPECT_EQ(BindGetPendingMacroImport(), danger);
    EXPECT_EQ(profiles.size(), 1u);

    // A caution is staged too, replacing the first; the old id then does nothing.
    const std::string caution = ImportMacroFromPath(File("tabs.qvnmacro", kCautionMacro));
    EXPECT_NE(caution.find("\"level\":\"caution\""), std::string::npos);
    const std::string second = PendingId();
    EXPECT_NE(second, first);
    EXPECT_EQ(BindConfirmMacroImport("[\"" + first + "\"]"), "");
    EXPECT_EQ(BindCancelMacroImport("[\"" + first + "\"]"), "");
    EXPECT_EQ(PendingId(), second);
    EXPECT_EQ(profiles.size(), 1u);

    // A clean import meanwhile goes straight in and leaves the slot alone.
    ImportMacroFromPath(File("farm.qvnmacro", kCleanMacro));
    EXPECT_EQ(PendingId(), second);

    std::vector<std::string> scripts;
    g_MasterEvalFn.Set([&scripts](const std::string& s) { scripts.push_back(s); });
    EXPECT_EQ(BindConfirmMacroImport("[\"" + second + "\"]"), "");
    EXPECT_EQ(PendingId(), "");
    EXPECT_EQ(BindGetPendingMacroImport(), "{\"outcome\":\"none\"}");
    EXPECT_EQ(profiles.back().name, "Tabs (Imported)");
    EXPECT_EQ(currentProfileIdx, static_cast<int>(profiles.size() - 1));
    EXPECT_EQ(scripts, std::vector<std::string>{"if (window.onProfileImported) window.onProfileImported();"});

    ImportMacroFromPath(File("wipe.qvnmacro", kDangerMacro));
    BindCancelMacroImport("[\"" + PendingId() + "\"]");
    EXPECT_EQ(BindGetPendingMacroImport(), "{\"outcome\":\"none\"}");
    EXPECT_EQ(profiles.size(), 3u);
}

TEST_F(MacroImportTest, RefusalsAndThePicker) {
    // .mcr is refused by its name alone, before anything is opened.
    EXPECT_EQ(ImportMacroFromPath(dir_ + "/missing.MCR"),
              "{\"outcome\":\"error\",\"message\":\".mcr files are no longer supported. Re-export that profile as "
              ".qvnmacro from whatever version of Quorvane created it, then import that instead.\"}");
    EXPECT_EQ(ImportMacroFromPath(dir_ + "/missing.qvnmacro"),
              "{\"outcome\":\"error\",\"message\":\"Couldn't open that macro file.\"}");

    // A cancelled chooser (the chosen file's import is seen in the real dialog, x11_dialogs).
    g_FakeChosenPath = "";
    EXPECT_EQ(BindImportProfile("[]"), "{\"outcome\":\"cancelled\"}");

    // Export writes the active profile where the chooser says.
    g_FakeChosenPath = dir_ + "/out.qvnmacro";
    EXPECT_EQ(BindExportProfile("[]"), "");
    EXPECT_EQ(ReadFile(g_FakeChosenPath).substr(0, 35), "Default Tracking Profile\nSETTINGS:0");
    g_FakeChosenPath = "";
}

TEST_F(MacroImportTest, ProblemsWaitForThePage) {
    ReportMacroProblem("first");
    ReportMacroProblem("second");
    EXPECT_EQ(g_PendingThemeAlert, "second");

    std::vector<std::string> scripts;
    g_MasterEvalFn.Set([&scripts](const std::string& s) { scripts.push_back(s); });
    g_MainPageReady = true;
    ReportMacroProblem("it's \"broken\"");
    EXPECT_EQ(scripts, std::vector<std::string>{"alert(\"it's \\\"broken\\\"\");"});
}

TEST(SelfTest, PassesOnThisBuild) {
    TempDir tmp;
    std::string report;
    EXPECT_TRUE(MacroImportSelfTest(tmp.path() + "/t.qvnmacro", report)) << report;
    EXPECT_FALSE(PlatformFileExists(tmp.path() + "/t.qvnmacro"));
}

}  // namespace
