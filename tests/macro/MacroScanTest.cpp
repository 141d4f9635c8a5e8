// The safety scanner: each scenario with its nearest miss, the matchers' rules, and the ranking.
#include <gtest/gtest.h>

#include <cmath>
#include <iterator>
#include <random>

#include "macro/MacroScan.h"

namespace {

using namespace MacroScan;

constexpr int kCtrl = 17, kAlt = 18, kShift = 16, kWin = 91;
constexpr int kEnter = 13, kDelete = 46, kTab = 9, kEsc = 27, kF4 = 115, kF6 = 117, kPrint = 44, kLeft = 37;
constexpr int kF1 = 112, kF2 = 113, kF3 = 114, kF12 = 123, kF13 = 124, kSpace = 32, kBackspace = 8;

struct Press {
    std::vector<int> mods;
    int vk;
    double t;
};

// Each press as modifier downs, key down, key up, modifier ups, all at its time.
std::vector<UnifiedEvent> Macro(const std::vector<Press>& presses) {
    std::vector<UnifiedEvent> ev;
    const auto key = [&ev](int vk, bool down, double t) {
        ev.push_back(UnifiedEvent{EventKey, t, 0, 0, 0, vk, down, 0});
    };
    for (const Press& p : presses) {
        for (int m : p.mods) key(m, true, p.t);
        key(p.vk, true, p.t);
        key(p.vk, false, p.t);
        for (auto m = p.mods.rbegin(); m != p.mods.rend(); ++m) key(*m, false, p.t);
    }
    return ev;
}

std::vector<Press> Typed(const std::string& letters, double start, double step) {
    std::vector<Press> out;
    for (size_t i = 0; i < letters.size(); ++i) out.push_back({{}, letters[i], start + step * static_cast<double>(i)});
    return out;
}

std::vector<Press> Join(std::initializer_list<std::vector<Press>> parts) {
    std::vector<Press> out;
    for (const auto& p : parts) out.insert(out.end(), p.begin(), p.end());
    return out;
}

std::vector<std::string> Ids(const MacroScanResult& r) {
    std::vector<std::string> ids;
    for (const auto& m : r.matches) ids.push_back(m.id);
    return ids;
}

TEST(MacroScanTest, Scenarios) {
    using V = std::vector<std::string>;
    const struct {
        const char* name;
        std::vector<Press> presses;
        V ids;
    } cases[] = {
        {"Win+R, a letter, Enter an hour later; the Win press also taps Start",
         {{{kWin}, 'R', 0}, {{}, 'N', 1}, {{}, kEnter, 3600}},
         {"run-command", "start-launch"}},
        {"Win+R with nothing typed, then Ctrl+Shift+Enter",
         {{{kWin}, 'R', 0}, {{kCtrl, kShift}, kEnter, 1}},
         {"admin-approve", "system-keys"}},
        {"Win tap, typing, Alt+Y", {{{}, kWin, 0}, {{}, 'C', 1}, {{kAlt}, 'Y', 2}}, {"admin-approve"}},
        {"Win+X then I", {{{kWin}, 'X', 0}, {{}, 'I', 1}}, {"power-menu", "system-keys"}},
        {"Win+X then Shift+I", {{{kWin}, 'X', 0}, {{kShift}, 'I', 1}}, {"system-keys"}},
        {"Win, a word, Enter", Join({{{{}, kWin, 0}}, Typed("NOTE", 1, 0.1), {{{}, kEnter, 2}}}), {"start-launch"}},
        {"Win tapped with Shift held", Join({{{{kShift}, kWin, 0}}, Typed("NO", 1, 0.1), {{{}, kEnter, 2}}}), {}},
        {"copy, paste, send", {{{kCtrl}, 'C', 0}, {{kCtrl}, 'V', 1}, {{}, kEnter, 2}}, {"copy-paste-send"}},
        {"cut, paste after 61 s", {{{kCtrl}, 'X', 0}, {{kCtrl}, 'V', 61}}, {}},
        {"cut, paste after 61 s, Enter later",
         {{{kCtrl}, 'X', 0}, {{kCtrl}, 'V', 61}, {{}, kEnter, 500}},
         {"copy-paste-send"}},
        {"cut, paste after 60 s", {{{kCtrl}, 'X', 0}, {{kCtrl}, 'V', 60}}, {"copy-paste"}},
        {"Ctrl+Shift+C is no copy", {{{kCtrl, kShift}, 'C', 0}, {{kCtrl}, 'V', 1}}, {}},
        {"Print Screen, paste", {{{}, kPrint, 0}, {{kCtrl}, 'V', 1}}, {"screenshot-paste"}},
        {"Shift+Win+S, paste", {{{kShift, kWin}, 'S', 0}, {{kCtrl}, 'V', 1}}, {"screenshot-paste", "system-keys"}},
        {"select all, Delete", {{{kCtrl}, 'A', 0}, {{}, kDelete, 1}}, {"select-all-delete"}},
        {"select all, a letter, save", {{{kCtrl}, 'A', 0}, {{}, 'X', 1}, {{kCtrl}, 'S', 2}}, {"wipe-and-save"}},
        {"Shift+Delete", {{{kShift}, kDelete, 0}}, {"permanent-delete"}},
        {"Delete alone", {{{}, kDelete, 0}}, {}},
        {"F6, a letter, Enter at 30 s", {{{}, kF6, 0}, {{}, 'A', 1}, {{}, kEnter, 30}}, {"open-address"}},
        {"F6, a letter, Enter at 31 s", {{{}, kF6, 0}, {{}, 'A', 1}, {{}, kEnter, 31}}, {}},
        {"eight typed in a second, Enter", Join({Typed("ABCDEFGH", 0, 0.1), {{{}, kEnter, 2}}}), {"type-and-send"}},
        {"seven typed, Enter", Join({Typed("ABCDEFG", 0, 0.1), {{{}, kEnter, 2}}}), {}},
        {"eight over six seconds", Join({Typed("ABCDEFGH", 0, 6.0 / 7), {{{}, kEnter, 6.5}}}), {}},
        {"first burst's Enter too late, second burst ignored",
         Join({Typed("ABCDEFGH", 0, 0.1), {{{}, kEnter, 11}}, Typed("ABCDEFGH", 20, 0.1), {{{}, kEnter, 21}}}),
         {}},
        {"one Alt+F4", {{{kAlt}, kF4, 0}}, {}},
        {"Alt+F4 and Ctrl+W 30 s apart", {{{kAlt}, kF4, 0}, {{kCtrl}, 'W', 30}}, {"close-windows"}},
        {"Ctrl+W 31 s apart", {{{kCtrl}, 'W', 0}, {{kCtrl}, 'W', 31}}, {}},
        {"Ctrl+Shift+Esc", {{{kCtrl, kShift}, kEsc, 0}}, {"task-manager"}},
        {"Ctrl+Alt+Delete", {{{kCtrl, kAlt}, kDelete, 0}}, {"task-manager"}},
        {"three Alt+Tab in 10 s", {{{kAlt}, kTab, 0}, {{kAlt}, kTab, 5}, {{kAlt}, kTab, 10}}, {"switch-windows"}},
        {"three Alt+Tab in 11 s", {{{kAlt}, kTab, 0}, {{kAlt}, kTab, 5}, {{kAlt}, kTab, 11}}, {}},
        {"Win+Left", {{{kWin}, kLeft, 0}}, {"system-keys"}},
        {"Win+Shift and nothing else", {{{kWin}, kShift, 0}}, {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(Ids(ScanMacroEvents(Macro(c.presses))), c.ids);
    }
}

TEST(MacroScanTest, DesktopScenarios) {
    using V = std::vector<std::string>;
    const struct {
        const char* name;
        std::vector<Press> presses;
        V ids;
        double atSec;  // of the first finding
    } cases[] = {
        {"Alt+F2, a command, Enter",
         {{{}, 'A', 1}, {{kAlt}, kF2, 5}, {{}, 'X', 6}, {{}, kEnter, 900}},
         {"run-dialog"},
         5},
        {"Alt+F2 and nothing typed", {{{kAlt}, kF2, 2}, {{}, kEnter, 3}}, {"command-box"}, 2},
        {"Alt+Shift+F2 is no run dialog", {{{kAlt, kShift}, kF2, 0}, {{}, 'X', 1}, {{}, kEnter, 2}}, {}, 0},
        {"Ctrl+Alt+T, a command, Enter",
         {{{kCtrl, kAlt}, 'T', 4}, {{}, 'L', 5}, {{}, kEnter, 6}},
         {"terminal-command"},
         4},
        {"a terminal opened, Enter without typing", {{{kCtrl, kAlt}, 'T', 1}, {{}, kEnter, 2}}, {"command-box"}, 1},
        {"Ctrl+Shift+T reopens a tab", {{{kCtrl, kShift}, 'T', 0}, {{}, 'L', 1}, {{}, kEnter, 2}}, {}, 0},
        {"Alt+Space, a word, Enter", {{{kAlt}, kSpace, 3}, {{}, 'F', 4}, {{}, kEnter, 5}}, {"launcher-run"}, 3},
        {"Alt+F1 and Alt+F3 open launchers too",
         {{{kAlt}, kF1, 1}, {{kAlt}, kF3, 2}, {{}, 'F', 4}, {{}, kEnter, 5}},
         {"launcher-run"},
         1},
        {"a launcher opened, typed into, never Enter", {{{kAlt}, kSpace, 0}, {{}, 'F', 1}}, {}, 0},
        {"Ctrl+Alt+F3, a word, Enter",
         {{{kCtrl, kAlt}, kF3, 7}, {{}, 'R', 8}, {{}, kEnter, 9}},
         {"console-command"},
         7},
        {"Ctrl+Alt+F12, typing only", {{{kCtrl, kAlt}, kF12, 1}, {{}, 'R', 2}}, {"console-typing"}, 1},
        {"Ctrl+Alt+F1 with nothing typed after", {{{}, 'R', 0}, {{kCtrl, kAlt}, kF1, 1}}, {}, 0},
        {"Ctrl+Alt+F13 and Ctrl+F3 switch nothing", {{{kCtrl, kAlt}, kF13, 0}, {{kCtrl}, kF3, 0}, {{}, 'R', 2}}, {}, 0},
        {"Ctrl+Alt+Backspace", {{{kCtrl, kAlt}, kBackspace, 8}}, {"end-session"}, 8},
        // The Super key alone opens the search of the Linux desktops: the same keys as the Start menu's.
        {"Super alone, a word, Enter",
         Join({{{{}, kWin, 2}}, Typed("FIREFOX", 3, 0.1), {{{}, kEnter, 4}}}),
         {"start-launch"},
         2},
        // A Linux and a Windows pattern in one macro: both found, the dangers by time.
        {"copy, paste, send, then the run dialog",
         {{{kCtrl}, 'C', 0}, {{kCtrl}, 'V', 1}, {{}, kEnter, 2}, {{kAlt}, kF2, 3}, {{}, 'X', 4}, {{}, kEnter, 5}},
         {"copy-paste-send", "run-dialog"},
         0},
        {"a console command and Win+R's",
         {{{kCtrl, kAlt}, kF2, 1}, {{kWin}, 'R', 2}, {{}, 'X', 4}, {{}, kEnter, 5}},
         {"console-command", "run-command", "start-launch"},
         1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const MacroScanResult r = ScanMacroEvents(Macro(c.presses));
        EXPECT_EQ(Ids(r), c.ids);
        if (!r.matches.empty()) {
            EXPECT_EQ(r.matches[0].atSec, c.atSec);
        }
    }
    // The texts the page shows.
    const MacroScanResult r = ScanMacroEvents(Macro({{{kAlt}, kF2, 0}, {{}, 'X', 1}, {{}, kEnter, 2}}));
    ASSERT_EQ(r.matches.size(), 1u);
    EXPECT_EQ(r.level, "danger");
    EXPECT_EQ(r.matches[0].severity, "DANGER");
    EXPECT_EQ(r.matches[0].message,
              "Opens the desktop's Run dialog (Alt+F2), types something and presses Enter. This can start programs or "
              "run commands on your computer.");
}

TEST(MacroScanTest, KeysAreJudgedWhenPlaybackFiresThem) {
    // A late event first holds playback up: Ctrl+C "at 0" and Ctrl+V at 61 s then fire together.
    std::vector<UnifiedEvent> ev = {UnifiedEvent{EventMoveAbs, 61, 5, 5, 0, 0, false, 0}};
    for (const UnifiedEvent& e : Macro({{{kCtrl}, 'C', 0}, {{kCtrl}, 'V', 61}})) ev.push_back(e);
    MacroScanResult r = ScanMacroEvents(ev);
    EXPECT_EQ(Ids(r), (std::vector<std::string>{"copy-paste"}));
    EXPECT_EQ(r.matches[0].atSec, 61);

    // A time that isn't a number, or is infinite, lets nothing after it escape the scan.
    for (double odd : {std::nan(""), HUGE_VAL, -HUGE_VAL}) {
        ev = Macro({{{kCtrl}, 'C', 0}, {{kCtrl}, 'V', odd}, {{kAlt}, kTab, 1}, {{kAlt}, kTab, 2}, {{kAlt}, kTab, 3}});
        r = ScanMacroEvents(ev);
        EXPECT_EQ(Ids(r), (std::vector<std::string>{"copy-paste", "switch-windows"})) << odd;
        EXPECT_EQ(r.matches[0].atSec, 0) << odd;
    }
}

TEST(MacroScanTest, RankingAndLevels) {
    // A danger late in the macro ranks ahead of a caution early in it.
    auto r = ScanMacroEvents(Macro({{{kCtrl}, 'W', 1}, {{kCtrl}, 'W', 2}, {{kShift}, kDelete, 100}}));
    EXPECT_EQ(Ids(r), (std::vector<std::string>{"permanent-delete", "close-windows"}));
    EXPECT_EQ(r.level, "danger");
    EXPECT_EQ(r.matches[1].atSec, 1);
    EXPECT_EQ(r.matches[0].message, "Permanently deletes the selection and skips the Recycle Bin.");
    EXPECT_EQ(r.matches[0].title, "Permanently deletes");

    // Cautions only: level caution, in order of time.
    r = ScanMacroEvents(Macro({{{kWin}, kLeft, 5},
                               {{kAlt}, kTab, 10},
                               {{kAlt}, kTab, 11},
                               {{kAlt}, kTab, 12},
                               {{kAlt}, kF4, 50},
                               {{kAlt}, kF4, 51}}));
    EXPECT_EQ(Ids(r), (std::vector<std::string>{"system-keys", "switch-windows", "close-windows"}));
    EXPECT_EQ(r.level, "caution");
    EXPECT_EQ(MacroScanResultToJson(r),
              "{\"level\":\"caution\",\"matches\":[{\"id\":\"system-keys\",\"severity\":\"CAUTION\",\"atSec\":5},"
              "{\"id\":\"switch-windows\",\"severity\":\"CAUTION\",\"atSec\":10},{\"id\":\"close-windows\","
              "\"severity\":\"CAUTION\",\"atSec\":50}]}");

    // Nothing to find: no keys, or mouse only.
    EXPECT_EQ(ScanMacroEvents({}).level, "none");
    EXPECT_EQ(ScanMacroEvents({UnifiedEvent{EventMouseClick, 0, 5, 5, 2, 0, false, 0}}).level, "none");
    EXPECT_EQ(MacroScanResultToJson(ScanMacroEvents({})), "{\"level\":\"none\",\"matches\":[]}");
}

TEST(MacroScanTest, KeyListFollowsEventOrder) {
    const auto key = [](int vk, bool down, double t) { return UnifiedEvent{EventKey, t, 0, 0, 0, vk, down, 0}; };
    // Ctrl's own press has no flag; C pressed while Ctrl is down has it.
    std::vector<UnifiedEvent> ev = {key(kCtrl, true, 0), key('C', true, 0), key('C', false, 0), key(kCtrl, false, 0)};
    auto keys = BuildKeyList(ev);
    ASSERT_EQ(keys.size(), 2u);
    EXPECT_FALSE(keys[0].held.ctrl);
    EXPECT_TRUE(keys[1].held.ctrl);

    // A modifier that goes down after the key doesn't make a combination, whatever the times say.
    ev = {key('C', true, 5), key(kCtrl, true, 1)};
    EXPECT_FALSE(BuildKeyList(ev)[0].held.ctrl);

    // Releasing left Shift while right Shift stays down clears the family.
    ev = {key(160, true, 0), key(161, true, 0), key(160, false, 0), key('A', true, 0)};
    EXPECT_FALSE(BuildKeyList(ev).back().held.shift);
}

TEST(MacroScanTest, SequenceAndRepeatMatchers) {
    const auto key = [](int vk, double t) { return UnifiedEvent{EventKey, t, 0, 0, 0, vk, true, 0}; };
    const auto is = [](int vk) { return Combo({}, vk); };
    std::vector<UnifiedEvent> ev = {key('A', 0), key('X', 1), key('B', 2), key('Y', 3), key('C', 4)};
    auto keys = BuildKeyList(ev);
    EXPECT_TRUE(MatchSequence(keys, {is('A'), is('B'), is('C')}, false, 0).matched);
    EXPECT_TRUE(MatchSequence(keys, {is('A'), is('C')}, true, 4).matched);  // exactly the window still counts
    EXPECT_FALSE(MatchSequence(keys, {is('A'), is('C')}, true, 3.9).matched);

    // When a window runs out the next attempt starts after the anchor, so a later first step can match.
    ev = {key('A', 0), key('A', 50), key('B', 60)};
    keys = BuildKeyList(ev);
    auto r = MatchSequence(keys, {is('A'), is('B')}, true, 30);
    EXPECT_TRUE(r.matched);
    EXPECT_EQ(r.atSec, 50);
    // Unbounded, the first A is the anchor; the second is skipped as an ordinary key.
    EXPECT_EQ(MatchSequence(keys, {is('A'), is('B')}, false, 0).atSec, 0);

    // After 500 failed attempts a later pattern isn't found; after 499 it is.
    for (int failures : {499, 500}) {
        ev.clear();
        for (int i = 0; i < failures; ++i) ev.push_back(key('A', i));
        ev.push_back(key('Z', 1000));
        ev.push_back(key('Q', 1001));
        ev.push_back(key('B', 1002));
        keys = BuildKeyList(ev);
        // Each A anchors an attempt that fails for want of a B within 1 s; then Q, B is the pattern.
        EXPECT_EQ(MatchSequence(keys, {AnyOf({is('A'), is('Q')}), is('B')}, true, 1).matched, failures == 499)
            << failures;
    }

    ev = {key('W', 0), key('W', 31), key('W', 60)};
    keys = BuildKeyList(ev);
    r = MatchRepeat(keys, is('W'), 2, 30);
    EXPECT_TRUE(r.matched);
    EXPECT_EQ(r.atSec, 31);
    EXPECT_FALSE(MatchRepeat(keys, is('W'), 4, 1000).matched);
    EXPECT_FALSE(MatchSequence({}, {is('A')}, false, 0).matched);
}

// The windowed matcher against the plain walk it replaces (each attempt walks on until its window closes),
// on random lists of few keys with many ties, so that attempts overlap, windows close and the 500 bound bites.
TEST(MacroScanTest, WindowedSequenceAgreesWithTheWalk) {
    const auto walk = [](const std::vector<KeyEv>& keys, const std::vector<Step>& steps, double window) {
        int failed = 0;
        for (size_t i = 0; i < keys.size() && failed < 500; ++i) {
            if (!steps[0](*keys[i].event, keys[i].held)) continue;
            size_t k = 1;
            for (size_t j = i + 1; j < keys.size() && k < steps.size(); ++j) {
                if (keys[j].at - keys[i].at > window) break;
                if (steps[k](*keys[j].event, keys[j].held)) ++k;
            }
            if (k == steps.size()) return SeqResult{true, keys[i].at};
            ++failed;
        }
        return SeqResult{};
    };
    std::mt19937 rng(7);
    const int alphabet[] = {'A', 'B', 'C', kCtrl};
    const std::vector<std::vector<Step>> patterns = {
        {Combo({}, 'A'), Combo({}, 'B')},
        {Combo({}, 'A'), Combo({}, 'B'), Combo({}, 'C')},
        {AnyOf({Combo({ModFamily::Ctrl}, 'A'), Combo({}, 'C')}), Combo({ModFamily::Ctrl}, 'B'), Combo({}, 'A')},
        {Combo({}, 'C')},
    };
    for (int round = 0; round < 400; ++round) {
        std::vector<UnifiedEvent> ev;
        double t = 0;
        const size_t n = round < 20 ? 1200 : rng() % 40;  // the long ones run into the 500 failed attempts
        for (size_t i = 0; i < n; ++i) {
            if (rng() % 3 == 0) t += rng() % 4;
            ev.push_back(UnifiedEvent{EventKey, t, 0, 0, 0, alphabet[rng() % 4], rng() % 4 != 0, 0});
        }
        const auto keys = BuildKeyList(ev);
        for (const auto& steps : patterns) {
            for (double window : {0.0, 2.0, 5.0}) {
                const SeqResult want = walk(keys, steps, window);
                const SeqResult got = MatchSequence(keys, steps, true, window);
                ASSERT_EQ(got.matched, want.matched) << round << " " << window;
                ASSERT_EQ(got.atSec, want.atSec) << round << " " << window;
            }
        }
    }
}

// The scan walks two-byte codes of the keys; every kind of step must answer on a code as on the key itself,
// also for key numbers a code can't hold (a file may carry any number) and steps that want one of those.
TEST(MacroScanTest, KeyCodesAnswerAsTheKeys) {
    const std::vector<Step> steps = {
        Combo({}, kEnter),
        Combo({ModFamily::Ctrl, ModFamily::Alt}, kF1, kF12),
        Combo({}, 250, 400),  // reaches past the numbers a code holds
        Combo({ModFamily::Shift}, -5, 0),
        Combo({}, 255),
        TypingOnce,
        WinTap,
        AnyOf({Combo({ModFamily::Win}, 'R'), Combo({ModFamily::Win}, 300)}),
        Step::Fn([](const UnifiedEvent& e, const HeldMods& h) { return e.time > 2 && !h.alt; }),
    };
    std::mt19937 rng(11);
    const int alphabet[] = {kEnter, 'A', 'R', kF1, kF12, kCtrl, kAlt, kShift, kWin, 92, 161, 163,
                            250,    254, 255, 256, 269,  300,   321,  401,    -1,   -5, 0,   65 + 256};
    std::vector<UnifiedEvent> ev;
    for (int i = 0; i < 4000; ++i) {
        ev.push_back(
            UnifiedEvent{EventKey, i * 0.001, 0, 0, 0, alphabet[rng() % std::size(alphabet)], rng() % 2 != 0, 0});
    }
    const auto keys = BuildKeyList(ev);
    const KeyCodes codes(keys);
    ASSERT_EQ(codes.size(), keys.size());
    for (size_t s = 0; s < steps.size(); ++s) {
        size_t passed = 0;
        for (size_t i = 0; i < keys.size(); ++i) {
            ASSERT_EQ(steps[s](codes, i), steps[s](keys[i])) << "step " << s << " key " << keys[i].vk;
            passed += steps[s](keys[i]) ? 1 : 0;
        }
        EXPECT_GT(passed, 0u) << "step " << s;  // each step is put to the test
    }

    // Through the whole scan: 13 + 256 is no Enter, 65 + 256 no typed letter.
    const auto key = [](int vk, bool down, double t) { return UnifiedEvent{EventKey, t, 0, 0, 0, vk, down, 0}; };
    const struct {
        int typed, enter;
        std::vector<std::string> ids;
    } cases[] = {
        {'X', kEnter, {"run-dialog"}}, {'X', kEnter + 256, {"command-box"}}, {'A' + 256, kEnter, {"command-box"}}};
    for (const auto& [typed, enter, ids] : cases) {
        ev = {key(kAlt, true, 0),  key(kF2, true, 0),    key(kF2, false, 0), key(kAlt, false, 0),
              key(typed, true, 1), key(typed, false, 1), key(enter, true, 2)};
        EXPECT_EQ(Ids(ScanMacroEvents(ev)), ids) << typed << " " << enter;
    }
}

}  // namespace
