// The macro part of "--selftest": the reader against fixtures of each age, with the live setup untouched.
#include <cstdio>

#include "macro/MacroFile.h"
#include "macro/MacroImport.h"
#include "macro/MacroScanTools.h"
#include "persist/Settings.h"
#include "platform/Platform.h"

namespace {

// A press of each key at time t, with the modifiers held over it, as event lines.
std::string Press(std::initializer_list<int> mods, int vk, double t) {
    std::string text;
    const std::string at = std::to_string(t);
    for (int m : mods) text += "3," + at + ",0,0,0," + std::to_string(m) + ",1,0\n";
    text += "3," + at + ",0,0,0," + std::to_string(vk) + ",1,0\n3," + at + ",0,0,0," + std::to_string(vk) + ",0,0\n";
    for (int m : mods) text += "3," + at + ",0,0,0," + std::to_string(m) + ",0,0\n";
    return text;
}

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

    // The scan of imported files: this desktop's ways to a command line, what the profile's Key Spammer
    // would type, and the order in which playback fires events.
    const std::string typeAndEnter = Press({}, 'X', 2) + Press({}, 13, 3);
    const struct {
        const char* label;
        std::string events;
        const char* settings;  // the SETTINGS line's fields, or none
        const char* id;
    } scans[] = {
        {"scan: Alt+F2, typing and Enter is run-dialog", Press({18}, 113, 1) + typeAndEnter, nullptr, "run-dialog"},
        {"scan: Ctrl+Alt+T, typing and Enter is terminal-command", Press({17, 18}, 84, 1) + typeAndEnter, nullptr,
         "terminal-command"},
        {"scan: Alt+Space, typing and Enter is launcher-run", Press({18}, 32, 1) + typeAndEnter, nullptr,
         "launcher-run"},
        {"scan: Ctrl+Alt+F3, typing and Enter is console-command", Press({17, 18}, 114, 1) + typeAndEnter, nullptr,
         "console-command"},
        {"scan: Ctrl+Alt+F3 and typing is console-typing", Press({17, 18}, 114, 1) + Press({}, 'X', 2), nullptr,
         "console-typing"},
        {"scan: Ctrl+Alt+T alone is command-box", Press({17, 18}, 84, 1), nullptr, "command-box"},
        {"scan: Ctrl+Alt+Backspace is end-session", Press({17, 18}, 8, 1), nullptr, "end-session"},
        {"scan: Win held over the Key Spammer's R, C, M, D, Enter is run-command",
         "3,1,0,0,0,91,1,0\n5,1,0,0,0,2,1,0\n3,1.003,0,0,0,91,0,0\n",
         "0,0,0,5,0,0,1,10,0,0,0,0,0,0,0,1,1.0,0,0,0,0,0,0,0,0,0,5,0,5,0,82,82|67|77|68|13,0,0,0,0", "run-command"},
        {"scan: a late event first makes Ctrl+C at 0 and Ctrl+V at 61 s copy-paste",
         "0,61,5,5,0,0,0,0\n" + Press({17}, 'C', 0) + Press({17}, 'V', 61), nullptr, "copy-paste"},
    };
    for (const auto& c : scans) {
        MacroProfile p;
        std::string text = "Scan\n";
        if (c.settings) text += std::string("SETTINGS:") + c.settings + "\n";
        text += c.events;
        bool found = false;
        if (ParseFixture(path, text, p)) {
            for (const MacroScanMatch& m : ScanMacroProfile(p).matches) found = found || m.id == c.id;
        }
        check(found, c.label);
    }
    return all;
}
