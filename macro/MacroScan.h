// The static safety check of a macro's key presses: which harmful patterns of Windows and Linux desktop
// shortcuts it holds, where, and how bad. It runs nothing and looks at key events only.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "core/AppState.h"

struct MacroScanMatch {
    std::string id;
    std::string severity;  // "DANGER" or "CAUTION"
    std::string message;
    std::string title;
    double atSec = 0;
};

struct MacroScanResult {
    std::string level = "none";  // "none", "caution" or "danger"
    std::vector<MacroScanMatch> matches;
};

// Scans the key presses as playback fires them: in list order, each at the moment playback reaches it (an
// event whose time is earlier than one before it fires at once, behind it). Pure: no shared state but two
// constant tables, so scans may run on any thread at once. The events must stay unchanged during the scan.
// The keys that a tool toggle would make the Key Spammer press are ScanMacroProfile's (MacroScanTools.h).
MacroScanResult ScanMacroEvents(const std::vector<UnifiedEvent>& events);

// {"level":"...","matches":[{"id":"...","severity":"...","atSec":1.5},...]}
std::string MacroScanResultToJson(const MacroScanResult& result);

namespace MacroScan {

// Which modifier families were down just before a press.
struct HeldMods {
    bool ctrl = false;
    bool alt = false;
    bool shift = false;
    bool win = false;
};

struct KeyEv {
    const UnifiedEvent* event;
    HeldMods held;
    double at = 0;   // when playback fires it, in seconds; never less than the key before it
    int32_t vk = 0;  // the event's, kept here so that a step needn't reach into the event
};

enum class ModFamily { Ctrl, Alt, Shift, Win };

bool TypingOnce(const UnifiedEvent& event, const HeldMods& held);
bool WinTap(const UnifiedEvent& event, const HeldMods& held);

// A predicate over a press and the modifiers held before it, held by value. A plain struct rather than a
// type-erased function: the scan calls steps for every key of every scenario, so the common ones are
// tested here on the key's own copy of the number and the flags.
class Step {
public:
    using Fn = bool (*)(const UnifiedEvent&, const HeldMods&);
    Step(Fn fn)  // NOLINT(google-explicit-constructor)
        : kind_(fn == &TypingOnce ? Kind::Typing
                : fn == &WinTap   ? Kind::WinTap
                                  : Kind::Function),
          fn_(fn) {}
    static Step Combo(HeldMods want, int vk);
    static Step AnyOf(std::vector<Step> steps);

    bool operator()(const UnifiedEvent& e, const HeldMods& h) const { return Test(e.vk, h, e); }
    bool operator()(const KeyEv& k) const { return Test(k.vk, k.held, *k.event); }

    static bool IsTypingKey(int vk) {
        return vk == 32 || (vk >= 48 && vk <= 57) || (vk >= 65 && vk <= 90) || (vk >= 96 && vk <= 105) ||
               (vk >= 186 && vk <= 192) || (vk >= 219 && vk <= 223);
    }

private:
    enum class Kind { Combo, AnyOf, Typing, WinTap, Function };
    Step() = default;

    static uint32_t Bits(const HeldMods& h) {
        static_assert(sizeof(HeldMods) == 4);
        return uint32_t{h.ctrl} | uint32_t{h.alt} << 1 | uint32_t{h.shift} << 2 | uint32_t{h.win} << 3;
    }

    bool Test(int vk, const HeldMods& h, const UnifiedEvent& e) const {
        switch (kind_) {
            case Kind::Combo: return vk == vk_ && Bits(h) == want_;
            case Kind::AnyOf:
                for (const Step& s : any_) {
                    if (s.Test(vk, h, e)) return true;
                }
                return false;
            case Kind::Typing: return !h.ctrl && !h.alt && !h.win && IsTypingKey(vk);
            case Kind::WinTap: return (vk == 91 || vk == 92) && !h.ctrl && !h.alt && !h.shift;
            case Kind::Function: return fn_(e, h);
        }
        return false;
    }

    Kind kind_ = Kind::Function;
    Fn fn_ = nullptr;
    uint32_t want_ = 0;
    int vk_ = 0;
    std::vector<Step> any_;
};

struct SeqResult {
    bool matched = false;
    double atSec = 0;
};

struct Scenario {
    std::string id;
    std::string severity;
    std::string title;
    std::string message;
    std::function<SeqResult(const std::vector<KeyEv>&)> match;
};

// The presses of the list, each with the modifiers held before it and the moment playback fires it.
std::vector<KeyEv> BuildKeyList(const std::vector<UnifiedEvent>& events);

// A key's press or release applied to the modifier families it belongs to.
void TrackModifier(HeldMods& held, int vk, bool down);

// When playback fires an event of time `time` that comes after one fired at `previous` (0 before the
// first): at its time, or at once when that has passed. A time that isn't a finite number holds playback
// up there; the scan lets it pass at once, so that what follows it is still judged.
double FireTime(double previous, double time);

// The steps in order as a subsequence; with `bounded`, all within windowSec of the first step. Gives up
// after 500 failed attempts. The keys' `at` must not decrease, as BuildKeyList makes them.
SeqResult MatchSequence(const std::vector<KeyEv>& keys, const std::vector<Step>& steps, bool bounded, double windowSec);

// `count` keys passing the step within windowSec of the first of them.
SeqResult MatchRepeat(const std::vector<KeyEv>& keys, const Step& step, int count, double windowSec);

// Exactly these modifier families held, and this key.
Step Combo(std::vector<ModFamily> mods, int vk);
Step AnyOf(std::vector<Step> steps);

// The scenarios, in the order they are tried: the Windows desktop's sixteen, then this desktop's. Built once.
const std::vector<Scenario>& Scenarios();

// All scenarios over a key list, with the hidden ones dropped and the rest ranked: the whole scan but for
// building the list.
MacroScanResult ScanKeyList(const std::vector<KeyEv>& keys);

// Dangers first, then by time; sets the level from what is there.
void RankFindings(MacroScanResult& result);

// Scenario id -> the ids its finding hides.
const std::map<std::string, std::set<std::string>>& Suppresses();

}  // namespace MacroScan
