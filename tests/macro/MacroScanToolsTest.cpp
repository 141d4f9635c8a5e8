// The scan of what playback would type with the Key Spammer that a macro's tool toggles start.
#include <gtest/gtest.h>

#include "macro/MacroScanTools.h"

namespace {

using namespace MacroScan;

constexpr int kWin = 91, kEnter = 13;

UnifiedEvent Key(int vk, bool down, double t) { return UnifiedEvent{EventKey, t, 0, 0, 0, vk, down, 0}; }
UnifiedEvent KeySpam(bool on, double t) { return UnifiedEvent{EventToolToggle, t, 0, 0, 0, 2, on, 0}; }

// A profile settings text: the Spammer's eleven fields, then the Key Spammer's interval in milliseconds,
// repeat mode and times, single target, list and chord flag.
std::string Settings(int ms, int mode, int times, const std::string& list, bool chord = false) {
    return "0,0,0,5,0,0,1,10,0,0,0,0,0,0," + std::to_string(ms) + "," + std::to_string(mode) + "," +
           std::to_string(times) + ",32," + list + "," + (chord ? "1" : "0");
}

std::vector<std::string> Ids(const MacroScanResult& r) {
    std::vector<std::string> ids;
    for (const auto& m : r.matches) ids.push_back(m.id);
    return ids;
}

MacroScanResult Scan(const std::string& settings, std::vector<UnifiedEvent> events) {
    return ScanMacroProfile(MacroProfile{"M", settings, std::move(events)});
}

TEST(MacroScanToolsTest, SetupFromProfileSettings) {
    KeySpamSetup s = KeySpamSetupFromProfileSettings(Settings(250, 0, 7, "82|x|67", true));
    EXPECT_EQ(s.intervalSec, 0.25);
    EXPECT_FALSE(s.untilStopped);
    EXPECT_EQ(s.rounds, 7);
    EXPECT_EQ(s.targets, (std::vector<int32_t>{82, 67}));  // a piece that isn't a number is skipped
    EXPECT_TRUE(s.chord);
    // Hours, minutes and seconds count; below a millisecond is a millisecond.
    s = KeySpamSetupFromProfileSettings("0,0,0,5,0,0,1,10,0,0,0,1,2,3,4,1,10,65");
    EXPECT_EQ(s.intervalSec, 3723.004);
    EXPECT_EQ(s.targets, (std::vector<int32_t>{65}));  // an 18-field text knows one target
    EXPECT_EQ(KeySpamSetupFromProfileSettings(Settings(0, 1, 0, "65")).intervalSec, 0.001);
    // No setup, or one that doesn't read: what the import installs, Space every 5 ms until stopped.
    for (const char* text : {"", "1,2,3", "0,0,0,5,0,0,1,10,0,0,0,0,0,0,x,1,10,65,65,0"}) {
        s = KeySpamSetupFromProfileSettings(text);
        EXPECT_EQ(s.targets, (std::vector<int32_t>{32})) << text;
        EXPECT_EQ(s.intervalSec, 0.005) << text;
        EXPECT_TRUE(s.untilStopped) << text;
    }
}

TEST(MacroScanToolsTest, ListReadsUpTo256Keys) {
    // Empty pieces and ones that aren't numbers are skipped; the 256th key ends the list, however long.
    std::string list = "|66||x|";
    for (int i = 0; i < 300; ++i) list += std::to_string(i) + "|";
    KeySpamSetup s = KeySpamSetupFromProfileSettings(Settings(5, 1, 0, list));
    ASSERT_EQ(s.targets.size(), 256u);
    EXPECT_EQ(s.targets.front(), 66);
    EXPECT_EQ(s.targets[1], 0);
    EXPECT_EQ(s.targets.back(), 254);
    EXPECT_EQ(KeySpamSetupFromProfileSettings(Settings(5, 1, 0, "65|")).targets, (std::vector<int32_t>{65}));
    EXPECT_TRUE(KeySpamSetupFromProfileSettings(Settings(5, 1, 0, "")).targets.empty());
}

TEST(MacroScanToolsTest, KeySpammerKeysJoinTheMacros) {
    const std::string runBox = Settings(5, 0, 5, "82|67|77|68|13");  // R, C, M, D, Enter, once
    // Win down, Key Spammer on, Win up: its first R comes while Win is held, the rest is the command.
    const std::vector<UnifiedEvent> macro = {Key(kWin, true, 0), KeySpam(true, 0), Key(kWin, false, 0.003)};
    MacroScanResult r = Scan(runBox, macro);
    EXPECT_EQ(Ids(r), (std::vector<std::string>{"run-command", "start-launch"}));
    EXPECT_EQ(r.matches[0].atSec, 0);
    EXPECT_EQ(ScanMacroEvents(macro).level, "none");  // the macro's own keys alone are harmless
    // Win let go before the Key Spammer's first round (a round due with a macro event comes after it): a
    // tap of Win and a typed command, but no Run box.
    r = Scan(runBox, {Key(kWin, true, 0), KeySpam(true, 0), Key(kWin, false, 0)});
    EXPECT_EQ(Ids(r), (std::vector<std::string>{"start-launch"}));

    // In chord mode the list presses together: Win and R, then the macro types and sends.
    r = Scan(Settings(1000, 0, 1, "91|82", true), {KeySpam(true, 1), Key('N', true, 2), Key(kEnter, true, 3)});
    EXPECT_EQ(Ids(r), (std::vector<std::string>{"run-command", "start-launch"}));
    EXPECT_EQ(r.matches[0].atSec, 1);

    // A stop, by its count or by the macro, lets go of every target, also those its rounds didn't press: a
    // Win that the macro holds is released with them, and the macro's R after it is no Win+R.
    for (const bool byToggle : {false, true}) {
        std::vector<UnifiedEvent> ev = {Key(kWin, true, 0), KeySpam(true, 0.1), Key('R', true, 0.3), Key('N', true, 1),
                                        Key(kEnter, true, 2)};
        if (byToggle) ev.insert(ev.begin() + 2, KeySpam(false, 0.2));
        r = Scan(byToggle ? Settings(1000, 1, 0, "65|91") : Settings(5, 0, 1, "65|91"), ev);
        EXPECT_EQ(Ids(r), (std::vector<std::string>{"start-launch"})) << byToggle;
    }
}

// Eight typed keys within 5 s and an Enter within 10 s are "type-and-send": the Key Spammer's Space every
// 100 ms makes them unless it stops first.
TEST(MacroScanToolsTest, RunsEndByStopCountOrNever) {
    const std::string space = Settings(100, 1, 0, "32");
    const std::vector<UnifiedEvent> noStop = {KeySpam(true, 0), Key(kEnter, true, 2)};
    EXPECT_EQ(Ids(Scan(space, noStop)), (std::vector<std::string>{"type-and-send"}));
    EXPECT_EQ(Scan(space, {KeySpam(true, 0), KeySpam(false, 0.5), Key(kEnter, true, 2)}).level, "none");
    EXPECT_EQ(Scan(Settings(100, 0, 7, "32"), noStop).level, "none");
    EXPECT_EQ(Scan(Settings(100, 0, 8, "32"), noStop).level, "caution");
    EXPECT_EQ(Scan(Settings(100, 1, 0, ""), noStop).level, "none");  // no target: it doesn't start
    // A macro without a setup gets the defaults on import, Space every 5 ms.
    EXPECT_EQ(Ids(Scan("", noStop)), (std::vector<std::string>{"type-and-send"}));
    // It runs on after the macro's last event: the Enter is its own.
    EXPECT_EQ(Scan(Settings(100, 1, 0, "65|66|67|68|69|70|71|72|13"), {KeySpam(true, 0)}).level, "caution");

    // A long stretch between the macro's keys is followed at both ends: R every millisecond for a minute,
    // then the macro holds Win over the next round.
    const MacroScanResult r =
        Scan(Settings(1, 1, 0, "82"), {KeySpam(true, 0), Key(kWin, true, 60), Key(kWin, false, 60.0005),
                                       KeySpam(false, 61.5), Key('N', true, 62), Key(kEnter, true, 63)});
    EXPECT_EQ(Ids(r), (std::vector<std::string>{"run-command", "start-launch"}));
    EXPECT_EQ(r.matches[0].atSec, 60);
}

TEST(MacroScanToolsTest, TooManyPressesAreSaidNotHidden) {
    // 256 keys a round in chord mode, every millisecond, and a macro key every second to keep it busy.
    std::string list = "65";
    for (int i = 1; i < 256; ++i) list += "|65";
    std::vector<UnifiedEvent> ev = {KeySpam(true, 0)};
    for (int s = 1; s <= 60; ++s) ev.push_back(Key(16, true, s));
    const MacroScanResult r = Scan(Settings(1, 1, 0, list, true), ev);
    ASSERT_FALSE(r.matches.empty());
    EXPECT_EQ(r.matches.back().id, "tool-keys-unchecked");
    EXPECT_EQ(r.matches.back().severity, "CAUTION");
    PlayedKeys played;
    BuildPlayedKeys(ev, KeySpamSetupFromProfileSettings(Settings(1, 1, 0, list, true)), played);
    EXPECT_EQ(played.toolPresses.size(), kMaxToolPresses);
    EXPECT_GT(played.truncatedAt, 10);
}

}  // namespace
