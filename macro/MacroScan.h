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
    double at = 0;   // when playback fires it, in seconds; never less than the key before it
    int32_t vk = 0;  // the event's, kept here so that a step needn't reach into the event
    HeldMods held;
};

// The key list as the scenarios walk it: two bytes a press, the key's number (0 to 254; 255 stands for any
// other number) and the modifier families held, beside the list they were taken from. The scan walks the
// list once per scenario, and a million presses of 24 bytes don't stay in the cache; their codes do.
class KeyCodes {
public:
    explicit KeyCodes(const std::vector<KeyEv>& keys);
    explicit KeyCodes(std::vector<KeyEv>&&) = delete;  // the list must outlive its codes

    static constexpr uint16_t kOtherKey = 0xFF;
    static constexpr size_t kCodes = 1 << 12;  // eight bits of key, four of modifier families
    static constexpr uint16_t Code(int vk, uint32_t modBits) {
        return static_cast<uint16_t>((vk >= 0 && vk < kOtherKey ? vk : kOtherKey) | modBits << 8);
    }

    size_t size() const { return codes_.size(); }
    uint16_t code(size_t i) const { return codes_[i]; }
    double at(size_t i) const { return (*keys_)[i].at; }
    const KeyEv& key(size_t i) const { return (*keys_)[i]; }

private:
    const std::vector<KeyEv>* keys_;
    std::vector<uint16_t> codes_;
};

enum class ModFamily { Ctrl, Alt, Shift, Win };

bool TypingOnce(const UnifiedEvent& event, const HeldMods& held);
bool WinTap(const UnifiedEvent& event, const HeldMods& held);

// A predicate over a press and the modifiers held before it, held by value. A plain struct rather than a
// type-erased function: the scan calls steps for every key of every scenario. Each step answers for every
// key code at once in a table made when it is built, so that a test on a code is one bit; only a code
// whose key number could be one the step wants, but which the code doesn't hold (or a step of an arbitrary
// function), is looked at again in the key list.
class Step {
public:
    using Fn = bool (*)(const UnifiedEvent&, const HeldMods&);
    Step(Fn fn);  // NOLINT(google-explicit-constructor)
    static Step Combo(HeldMods want, int vk) { return Keys(want, vk, vk); }
    // Exactly these modifier families, and a key from `first` to `last`.
    static Step Keys(HeldMods want, int first, int last);
    static Step AnyOf(std::vector<Step> steps);

    bool operator()(const UnifiedEvent& e, const HeldMods& h) const { return Test(e.vk, h, e); }
    bool operator()(const KeyEv& k) const { return Test(k.vk, k.held, *k.event); }
    bool operator()(const KeyCodes& keys, size_t i) const {
        const uint16_t code = keys.code(i);
        if (!(table_[code >> 6] >> (code & 63) & 1)) return false;
        if ((code & KeyCodes::kOtherKey) != KeyCodes::kOtherKey && kind_ != Kind::Function) return true;
        return (*this)(keys.key(i));
    }

    static bool IsTypingKey(int vk) {
        return vk == 32 || (vk >= 48 && vk <= 57) || (vk >= 65 && vk <= 90) || (vk >= 96 && vk <= 105) ||
               (vk >= 186 && vk <= 192) || (vk >= 219 && vk <= 223);
    }

    static constexpr uint32_t kWinBit = 8;  // in Bits()

    static uint32_t Bits(const HeldMods& h) {
        static_assert(sizeof(HeldMods) == 4);
        return uint32_t{h.ctrl} | uint32_t{h.alt} << 1 | uint32_t{h.shift} << 2 | uint32_t{h.win} << 3;
    }

private:
    enum class Kind { Keys, AnyOf, Typing, WinTap, Function };
    Step() = default;

    bool Test(int vk, const HeldMods& h, const UnifiedEvent& e) const {
        switch (kind_) {
            case Kind::Keys: return vk >= first_ && vk <= last_ && Bits(h) == want_;
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

    // Whether some key number that a code can't hold passes with the modifiers `mods`.
    bool MayPassOther(uint32_t mods) const;
    void FillTable();

    Kind kind_ = Kind::Function;
    Fn fn_ = nullptr;
    uint32_t want_ = 0;
    int first_ = 0;
    int last_ = 0;
    std::vector<Step> any_;
    uint64_t table_[KeyCodes::kCodes / 64] = {};  // bit `code`: the code passes (or must be looked at again)
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
    std::function<SeqResult(const KeyCodes&)> match;
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

// The same on the codes: the scan's way, with the same answers.
SeqResult MatchSequence(const KeyCodes& keys, const std::vector<Step>& steps, bool bounded, double windowSec);

// `count` keys passing the step within windowSec of the first of them.
SeqResult MatchRepeat(const std::vector<KeyEv>& keys, const Step& step, int count, double windowSec);
SeqResult MatchRepeat(const KeyCodes& keys, const Step& step, int count, double windowSec);

// Exactly these modifier families held, and this key (or one of the keys from `vk` to `lastVk`).
Step Combo(std::vector<ModFamily> mods, int vk);
Step Combo(std::vector<ModFamily> mods, int vk, int lastVk);
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
