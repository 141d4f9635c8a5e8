// The application settings file, its bindings, and the one-line files.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>

#include "core/AppState.h"
#include "persist/AppSettings.h"
#include "platform/Platform.h"
#include "tests/fakes/Fakes.h"

namespace {

class AppSettingsTest : public ::testing::Test {
protected:
    void SetUp() override {
        ResetAppState();
        g_AlwaysOnTop = g_LaunchOnStartup = g_StartMinimized = g_DisableAnimations = false;
        g_ShowWarnings = true;
        g_SeenWarningIds.clear();
        g_MinimizedPanels.clear();
        g_PanelOrder.clear();
        g_SavedWindowX = g_SavedWindowY = 0;
        g_SavedWindowWidth = 420;
        g_SavedWindowHeight = 560;
        g_SavedMaximized = g_HasSavedWindowPos = false;
        g_MainPageReady = false;
        unlink(GetAppSettingsFilePath().c_str());
    }
};

TEST_F(AppSettingsTest, WritesEveryKeyAndReadsItBack) {
    const std::string changed =
        "alwaysOnTop=1\nlaunchOnStartup=1\nstartMinimized=1\nhotkeysEnabled=0\nhotkeyLockOn=0\nstopToolsWithMacro=0\n"
        "disableAnimations=1\nshowWarnings=0\nseenWarnings=a,b\nminimizedPanels=panel-tracker,panel-ui\n"
        "panelOrder=panel-tracker,panel-ui\nwindowX=-30\nwindowY=40\nwindowWidth=500\nwindowHeight=600\n"
        "windowMaximized=1\n";
    LoadAppSettingsFromText(changed);
    EXPECT_TRUE(g_HasSavedWindowPos);
    EXPECT_EQ(BuildAppSettingsText(), changed);
    SaveAppSettings();
    EXPECT_EQ(ReadFile(GetAppSettingsFilePath()), changed);
}

TEST_F(AppSettingsTest, ReaderQuirks) {
    LoadAppSettingsFromText("showWarnings\nunknown=1");
    EXPECT_TRUE(g_ShowWarnings);  // a line without "=" is skipped

    const struct {
        const char* line;
        std::vector<std::string> order;
    } orders[] = {
        {"panelOrder=panel-ui,panel-ui", {"panel-spammer"}},  // refused whole
        {"panelOrder=panel-ui,panel-nope", {"panel-spammer"}},
    };
    for (const auto& c : orders) {
        g_PanelOrder = {"panel-spammer"};
        LoadAppSettingsFromText(c.line);
        EXPECT_EQ(g_PanelOrder, c.order) << c.line;
    }
    LoadAppSettingsFromText("minimizedPanels=panel-nope,panel-ui,,panel-keyspam\nseenWarnings=x,,y,x");
    EXPECT_EQ(g_MinimizedPanels, (std::set<std::string>{"panel-keyspam", "panel-ui"}));
    EXPECT_EQ(g_SeenWarningIds, (std::set<std::string>{"x", "y"}));

    LoadAppSettingsFromText("windowY=5\nwindowWidth=6\nwindowHeight=7");
    EXPECT_FALSE(g_HasSavedWindowPos);  // only windowX marks a saved place
    LoadAppSettingsFromText("windowX=abc");
    EXPECT_FALSE(g_HasSavedWindowPos);
}

TEST_F(AppSettingsTest, SetAppSettingBinding) {
    g_HotkeysUnlocked = false;
    EXPECT_EQ(BindSetAppSetting("[\"hotkeyLock\",\"1\"]"), "");
    EXPECT_TRUE(g_HotkeyLockEnabled);
    EXPECT_TRUE(g_HotkeysUnlocked);  // setting the lock always opens it
    EXPECT_NE(ReadFile(GetAppSettingsFilePath()).find("hotkeyLockOn=1"), std::string::npos);

    BindSetAppSetting("[\"min:panel-ui\",\"1\"]");
    BindSetAppSetting("[\"min:panel-keyspam\",\"1\"]");
    BindSetAppSetting("[\"min:panel-ui\",\"0\"]");
    EXPECT_EQ(g_MinimizedPanels, std::set<std::string>{"panel-keyspam"});

    // A wrong number of pieces does nothing at all.
    unlink(GetAppSettingsFilePath().c_str());
    BindSetAppSetting("[\"hotkeysEnabled\",\"1\",\"2\"]");
    BindSetAppSetting("[\"hotkeysEnabled\"]");
    EXPECT_FALSE(PlatformFileExists(GetAppSettingsFilePath()));
}

TEST_F(AppSettingsTest, WarningsAndPanelOrderBindings) {
    BindMarkWarningSeen("[\"macro-risk\"]");
    EXPECT_TRUE(g_SeenWarningIds.count("macro-risk"));
    unlink(GetAppSettingsFilePath().c_str());
    BindMarkWarningSeen("[\"macro-risk\"]");  // already seen: no save
    BindMarkWarningSeen("[\"\"]");
    EXPECT_FALSE(PlatformFileExists(GetAppSettingsFilePath()));

    BindSetPanelOrder("[\"panel-tracker\",\"panel-ui\"]");
    BindSetPanelOrder("[\"panel-tracker,panel-tracker\"]");  // refused like the file's
    EXPECT_EQ(g_PanelOrder, (std::vector<std::string>{"panel-tracker", "panel-ui"}));
}

TEST_F(AppSettingsTest, SettingsDocument) {
    g_SeenWarningIds = {"b", "a"};
    g_PanelOrder = {"panel-ui", "panel-profile"};
    g_AlwaysOnTop = true;
    EXPECT_EQ(BindGetAppSettings(),
              "{\"alwaysOnTop\":true,\"launchOnStartup\":false,\"startMinimized\":false,\"hotkeysEnabled\":true,"
              "\"hotkeyLock\":true,\"stopToolsWithMacro\":true,\"disableAnimations\":false,\"showWarnings\":true,"
              "\"seenWarnings\":[\"a\",\"b\"],\"minimizedPanels\":[],\"panelOrder\":[\"panel-ui\",\"panel-profile\"]}");
    EXPECT_TRUE(g_MainPageReady);

    // An id from a hand-edited file can't break the document.
    g_SeenWarningIds = {"a\\b\"c\x01"};
    EXPECT_NE(BindGetAppSettings().find("[\"a\\\\b\\\"c\\u0001\"]"), std::string::npos);
}

TEST_F(AppSettingsTest, OneLineFilesFallBackToTheirDefaults) {
    for (const auto& path : {GetTrackerStatusFilePath(), GetThemeFilePath(), GetMacroEventsFilePath()}) {
        unlink(path.c_str());
    }
    EXPECT_EQ(LoadTrackerStatusFromFile(), kIdleTrackerStatus);
    EXPECT_EQ(LoadThemeFromFile(), "quorvane");
    EXPECT_EQ(LoadMacroEventsFromFile(), "[]");
    SaveMacroEventsToFile("");
    EXPECT_EQ(LoadMacroEventsFromFile(), "[]");
    SaveThemeToFile("anything at all\nsecond line");
    EXPECT_EQ(LoadThemeFromFile(), "anything at all");
    SaveTrackerStatusToFile("{\"state\":\"Recording\"}");
    EXPECT_EQ(LoadTrackerStatusFromFile(), "{\"state\":\"Recording\"}");
}

}  // namespace
