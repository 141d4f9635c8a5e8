// The safety scanner: each scenario with its nearest miss, the matchers' rules, and the ranking.
#include <gtest/gtest.h>

#include "macro/MacroScan.h"

namespace {

using namespace MacroScan;

constexpr int kCtrl = 17, kAlt = 18, kShift = 16, kWin = 91;
constexpr int kEnter = 13, kDelete = 46, kTab = 9, kEsc = 27, kF4 = 115, kF6 = 117, kPrint = 44, kLeft = 37;

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

}  // namespace
