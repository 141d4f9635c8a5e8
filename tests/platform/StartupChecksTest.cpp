// The start-up check: which page comes first, the record of an install that had working input, the boot
// page's text and its status document.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>

#include "platform/Platform.h"
#include "platform/StartupChecks.h"
#include "tests/fakes/Fakes.h"

namespace {

InputAccess Full() { return InputAccess{true, true, true, true, false}; }

TEST(StartupChecksTest, DecisionTable) {
    int readyCalls = 0, recordCalls = 0;
    const auto decide = [&](bool old, bool ready, bool before) {
        return DecideStartPage(
            old, [&] { return ++readyCalls, ready; }, [&] { return ++recordCalls, before; });
    };
    // A too old engine decides alone: input isn't even tried.
    EXPECT_EQ(decide(true, true, true), "update");
    EXPECT_EQ(readyCalls + recordCalls, 0);
    EXPECT_EQ(decide(false, true, true), "");
    EXPECT_EQ(recordCalls, 0);
    EXPECT_EQ(decide(false, false, true), "reset");
    EXPECT_EQ(decide(false, false, false), "permissions");
}

TEST(StartupChecksTest, WebEngineDrawsOnTheProcessorOnlyWithoutDirectRendering) {
    const auto names = [](bool direct, std::vector<std::string> set) {
        std::string out;
        const auto isSet = [&set](const char* name) { return std::find(set.begin(), set.end(), name) != set.end(); };
        for (const DrawingSetting& s : DrawingSettings(direct, isSet)) out += std::string(s.name) + "=" + s.value + " ";
        return out;
    };
    EXPECT_EQ(names(true, {}), "");
    EXPECT_EQ(names(false, {}),
              "WEBKIT_SKIA_ENABLE_CPU_RENDERING=1 WEBKIT_DISABLE_COMPOSITING_MODE=1 GSK_RENDERER=cairo ");
    // The user's own choices stand, also a compositor asked for.
    EXPECT_EQ(names(false, {"WEBKIT_SKIA_ENABLE_CPU_RENDERING", "GSK_RENDERER"}), "WEBKIT_DISABLE_COMPOSITING_MODE=1 ");
    EXPECT_EQ(names(false, {"WEBKIT_FORCE_COMPOSITING_MODE", "GSK_RENDERER"}), "WEBKIT_SKIA_ENABLE_CPU_RENDERING=1 ");
    EXPECT_EQ(names(false, {"WEBKIT_DISABLE_COMPOSITING_MODE", "WEBKIT_SKIA_ENABLE_CPU_RENDERING"}),
              "GSK_RENDERER=cairo ");
}

TEST(StartupChecksTest, WebEngineVersions) {
    EXPECT_FALSE(IsWebEngineTooOld(2, 40, 0));
    EXPECT_FALSE(IsWebEngineTooOld(2, 50, 6));
    EXPECT_FALSE(IsWebEngineTooOld(3, 0, 0));
    EXPECT_FALSE(IsWebEngineTooOld(0, 0, 0));  // unknown lets the start go on
    EXPECT_TRUE(IsWebEngineTooOld(2, 39, 99));
    EXPECT_TRUE(IsWebEngineTooOld(1, 99, 0));
}

TEST(StartupChecksTest, TheRecordIsWrittenOnceWhenTheSessionOffersInputWhateverTheTapSays) {
    TempDir tmp;
    const std::string record = tmp.path() + "/inputaccess.txt";
    int taps = 0;
    const auto tap = [&](bool result) { return [&taps, result] { return ++taps, result; }; };

    // Something missing: no tap, no record.
    InputAccess noXTest = Full();
    noXTest.injection = false;
    InputAccess wayland = Full();
    wayland.wayland = true;
    InputAccess noRecordExtension = Full();
    noRecordExtension.repeats = false;
    EXPECT_FALSE(CheckInputReady(noXTest, record, "/opt/q/quorvane", tap(true)));
    EXPECT_FALSE(CheckInputReady(wayland, record, "/opt/q/quorvane", tap(true)));
    EXPECT_EQ(taps, 0);
    EXPECT_FALSE(PlatformFileExists(record));

    // A refused tap still leaves the record: the next start calls it a change ("reset").
    EXPECT_FALSE(CheckInputReady(Full(), record, "/opt/q/quorvane", tap(false)));
    EXPECT_TRUE(InputWorkedBefore(record, "/opt/q/quorvane"));
    EXPECT_TRUE(CheckInputReady(noRecordExtension, record, "/opt/q/quorvane", tap(true)));
    EXPECT_TRUE(CheckInputReady(Full(), record, "/home/u/build/quorvane", tap(true)));
    EXPECT_EQ(taps, 3);
    EXPECT_EQ(ReadFile(record), "inputWorked=/opt/q/quorvane\ninputWorked=/home/u/build/quorvane\n");

    // Lines are compared whole; no id records nothing and matches nothing.
    EXPECT_FALSE(InputWorkedBefore(record, "/opt/q"));
    EXPECT_FALSE(InputWorkedBefore(record, "/opt/q/quorvane2"));
    EXPECT_TRUE(CheckInputReady(Full(), tmp.path() + "/other.txt", "", tap(true)));
    EXPECT_FALSE(PlatformFileExists(tmp.path() + "/other.txt"));
    EXPECT_FALSE(InputWorkedBefore(record, ""));
    EXPECT_FALSE(InputWorkedBefore(tmp.path() + "/missing.txt", "/opt/q/quorvane"));

    // A record that can't be written doesn't stop the start.
    EXPECT_TRUE(CheckInputReady(Full(), tmp.path() + "/no/such/folder/r.txt", "/x", tap(true)));
}

TEST(StartupChecksTest, BootPageTextTakesTheModeAtTheFirstMarkerOnly) {
    EXPECT_EQ(BootPageDocument("<main data-mode=\"__QVN_BOOT_MODE__\">__QVN_BOOT_MODE__</main>", "reset"),
              "<main data-mode=\"reset\">__QVN_BOOT_MODE__</main>");
    EXPECT_EQ(BootPageDocument("<p>no marker</p>", "update"), "");
    EXPECT_EQ(BootPageDocument("", "update"), "");
}

TEST(StartupChecksTest, StatusDocument) {
    EXPECT_EQ(PermissionStatusJson(Full(), true),
              "{\"accessibility\":true,\"input\":true,\"ready\":true,\"missing\":[]}");
    InputAccess none;
    EXPECT_EQ(PermissionStatusJson(none, false),
              "{\"accessibility\":false,\"input\":false,\"ready\":false,\"missing\":[\"display\"]}");
    InputAccess bare = Full();
    bare.injection = bare.events = bare.repeats = false;
    bare.wayland = true;
    EXPECT_EQ(PermissionStatusJson(bare, false),
              "{\"accessibility\":true,\"input\":false,\"ready\":false,\"missing\":[\"xtest\",\"xinput\",\"wayland\","
              "\"record\"]}");
    // A Wayland session has both extensions in its X server, and still isn't ready.
    InputAccess wayland = Full();
    wayland.wayland = true;
    EXPECT_EQ(PermissionStatusJson(wayland, false),
              "{\"accessibility\":true,\"input\":true,\"ready\":false,\"missing\":[\"wayland\"]}");
}

}  // namespace
