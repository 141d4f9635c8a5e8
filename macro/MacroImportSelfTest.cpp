// The macro part of "--selftest": the reader against fixtures of each age, with the live setup untouched.
#include <cstdio>

#include "macro/MacroFile.h"
#include "macro/MacroImport.h"
#include "persist/Settings.h"
#include "platform/Platform.h"

namespace {

bool ParseFixture(const std::string& path, const std::string& text, MacroProfile& out) {
    WriteWholeFile(path, text);
    const bool ok = ParseMacroFile(path, out).empty();
    PlatformDeleteFile(path);
    return ok;
}

}  // namespace

bool MacroImportSelfTest(const std::string& path, std::string& report) {
    const std::string globalsBefore = SerializeSettings();
    const std::vector<std::string> own = SplitString(SerializeProfileSettings(), ',');
    bool all = true;
    const auto check = [&](bool ok, const char* label) {
        report += ok ? "PASS " : "FAIL ";
        report += label;
        report += '\n';
        all = all && ok;
    };

    MacroProfile stranger;
    const bool strangerOk = ParseFixture(path,
                                         "Stranger\nSETTINGS:1,2,3,77,1,1,0,9,1,100,200,0,0,0,0,1,3.0,1,500,65,66,0,67,"
                                         "0,0,1,88,0,4,68,69,69|70,1,1,1\n0,0.5,10,10,0,0,0\n",
                                         stranger);
    check(strangerOk && stranger.events.size() == 1, "import: current-format macro parses");
    check(SerializeSettings() == globalsBefore, "import: hotkeys, Hold, Tracker and live setup unchanged");
    check(stranger.settings == "1,2,3,77,1,1,0,9,1,100,200,0,0,1,88,0,4,69,69|70,1",
          "import: profile gets the file's Spammer + Key Spammer setup");

    MacroProfile old;
    const bool oldOk =
        ParseFixture(path, "Old\nSETTINGS:1,2,3,77,1,1,0,9,1,100,200,0,0,0,0,1,3.0,1,500,65,66,0,67\n", old);
    check(oldOk && SerializeSettings() == globalsBefore, "import: 23-field macro parses, globals unchanged");
    std::string expectedOld = "1,2,3,77,1,1,0,9,1,100,200";
    if (own.size() >= 18) {
        for (size_t i = 11; i <= 17; ++i) expectedOld += "," + own[i];
        expectedOld += "," + own[17];
    }
    expectedOld += ",0";
    check(old.settings == expectedOld, "import: 23-field macro keeps the importer's Key Spammer setup");

    MacroProfile bare;
    const bool bareOk = ParseFixture(path, "Bare\n0,0.5,10,10,0,0,0\n", bare);
    check(bareOk && bare.events.size() == 1 && bare.settings.empty() && SerializeSettings() == globalsBefore,
          "import: macro with no SETTINGS line still imports");
    return all;
}
