// The static safety check of a macro's key presses: which harmful patterns of Windows and Linux desktop
// shortcuts it holds, where, and how bad. It runs nothing and looks at key events only.
#pragma once

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
    double at = 0;  // when playback fires it, in seconds; never less than the key before it
};

enum class ModFamily { Ctrl, Alt, Shift, Win };

// A predicate over a press and the modifiers held before it, held by value. A plain struct rather than a
// type-erased function: the scan calls steps for every key of every scenario.
class Step {
public:
    using Fn = bool (*)(const UnifiedEvent&, const HeldMods&);
    Step(Fn fn) : kind_(Kind::Function), fn_(fn) {}  // NOLINT(google-explicit-constructor)
    static Step Combo(HeldMods want, int vk);
    static Step AnyOf(std::vector<Step> steps);

    bool operator()(const UnifiedEvent& e, const HeldMods& h) const {
        switch (kind_) {
            case Kind::Combo:
                return e.vk == vk_ && h.ctrl == want_.ctrl && h.alt == want_.alt && h.shift == want_.shift &&
                       h.win == want_.win;
            case Kind::AnyOf:
                for (const Step& s : any_) {
                    if (s(e, h)) return true;
                }
                return false;
            case Kind::Function: return fn_(e, h);
        }
        return false;
    }

private:
    enum class Kind { Combo, AnyOf, Function };
    Step() = default;
    Kind kind_ = Kind::Function;
    Fn fn_ = nullptr;
    HeldMods want_;
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
bool TypingOnce(const UnifiedEvent& event, const HeldMods& held);
bool WinTap(const UnifiedEvent& event, const HeldMods& held);

// The scenarios, in the order they are tried: the Windows desktop's sixteen, then this desktop's. Built once.
const std::vector<Scenario>& Scenarios();

// All scenarios over a key list, with the hidden ones dropped and the rest ranked: the whole scan but for
// building the list.
MacroScanResult ScanKeyList(const std::vector<KeyEv>& keys);

// Scenario id -> the ids its finding hides.
const std::map<std::string, std::set<std::string>>& Suppresses();

}  // namespace MacroScan
