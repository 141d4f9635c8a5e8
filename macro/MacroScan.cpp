#include "macro/MacroScan.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <utility>

#include "core/Numbers.h"

namespace MacroScan {

double FireTime(double previous, double time) {
    if (!std::isfinite(time)) return previous;
    return time > previous ? time : previous;
}

void TrackModifier(HeldMods& held, int vk, bool down) {
    // Left and right share a family: releasing either clears it.
    switch (vk) {
        case 16:
        case 160:
        case 161: held.shift = down; break;
        case 17:
        case 162:
        case 163: held.ctrl = down; break;
        case 18:
        case 164:
        case 165: held.alt = down; break;
        case 91:
        case 92: held.win = down; break;
        default: break;
    }
}

std::vector<KeyEv> BuildKeyList(const std::vector<UnifiedEvent>& events) {
    std::vector<KeyEv> keys;
    keys.reserve(events.size());
    HeldMods held;
    double at = 0;
    for (const UnifiedEvent& e : events) {
        at = FireTime(at, e.time);  // every event, keys or not, holds playback up until its time
        if (e.type != EventKey) continue;
        if (e.down) keys.push_back(KeyEv{&e, at, e.vk, held});
        TrackModifier(held, e.vk, e.down);
    }
    return keys;
}

KeyCodes::KeyCodes(const std::vector<KeyEv>& keys) : keys_(&keys) {
    codes_.reserve(keys.size());
    for (const KeyEv& k : keys) codes_.push_back(Code(k.vk, Step::Bits(k.held)));
}

namespace {

// The matchers walk either list alike: the plain one of the tests and the codes of the scan.
struct PlainKeys {
    const std::vector<KeyEv>& keys;
    size_t size() const { return keys.size(); }
    bool Pass(const Step& step, size_t i) const { return step(keys[i]); }
    double At(size_t i) const { return keys[i].at; }
};

struct CodedKeys {
    const KeyCodes& keys;
    size_t size() const { return keys.size(); }
    bool Pass(const Step& step, size_t i) const { return step(keys, i); }
    double At(size_t i) const { return keys.at(i); }
};

template <class Keys>
SeqResult MatchSequenceIn(const Keys& keys, const std::vector<Step>& steps, bool bounded, double windowSec) {
    const size_t n = keys.size();
    if (n == 0 || steps.empty()) return {};
    if (!bounded) {
        // Matching the later steps greedily finds a subsequence whenever one exists, and the keys after any
        // later anchor are a part of the keys searched from the first: only the first attempt can succeed.
        size_t i = 0;
        while (i < n && !keys.Pass(steps[0], i)) ++i;
        if (i == n) return {};
        size_t k = 1;
        for (size_t j = i + 1; j < n && k < steps.size(); ++j) {
            if (keys.Pass(steps[k], j)) ++k;
        }
        if (k == steps.size()) return {true, keys.At(i)};
        return {};
    }

    // Attempts overlap (each failed one resumes just after its anchor), and on a macro whose keys all fall in
    // one window each would walk the rest of the list. But the times never decrease, so the greedy match of
    // the later steps from an anchor ends on the same key whether the window cuts the walk or not; the
    // window only decides whether that key is near enough. And each step's greedy place only moves on as
    // the anchor does, so one cursor per step, never going back, serves every attempt.
    const size_t later = steps.size() - 1;
    std::vector<size_t> place(steps.size(), 0);  // place[s]: where step s was last found, or n
    std::vector<bool> known(steps.size(), false);
    const auto next = [&](size_t s, size_t from) {
        if (known[s] && place[s] >= from) return place[s];
        size_t j = from;
        while (j < n && !keys.Pass(steps[s], j)) ++j;
        known[s] = true;
        place[s] = j;
        return j;
    };
    int failed = 0;
    for (size_t i = 0; i < n && failed < 500; ++i) {
        if (!keys.Pass(steps[0], i)) continue;
        const double anchor = keys.At(i);
        size_t end = i;
        for (size_t s = 1; s <= later && end < n; ++s) end = next(s, end + 1);
        if (end >= n) return {};  // no later anchor can complete either
        if (!(keys.At(end) - anchor > windowSec)) return {true, anchor};
        ++failed;
    }
    return {};
}

template <class Keys>
SeqResult MatchRepeatIn(const Keys& keys, const Step& step, int count, double windowSec) {
    if (keys.size() == 0 || count <= 0) return {};
    // The last `count` times that passed, as a ring: the first run of them within the window is the match.
    const size_t c = static_cast<size_t>(count);
    std::vector<double> ring(c);
    size_t seen = 0;
    for (size_t i = 0; i < keys.size(); ++i) {
        if (!keys.Pass(step, i)) continue;
        const double at = keys.At(i);
        ring[seen % c] = at;
        ++seen;
        if (seen < c) continue;
        const double first = ring[seen % c];
        if (at - first <= windowSec) return {true, first};
    }
    return {};
}

}  // namespace

SeqResult MatchSequence(const std::vector<KeyEv>& keys, const std::vector<Step>& steps, bool bounded,
                        double windowSec) {
    return MatchSequenceIn(PlainKeys{keys}, steps, bounded, windowSec);
}

SeqResult MatchSequence(const KeyCodes& keys, const std::vector<Step>& steps, bool bounded, double windowSec) {
    return MatchSequenceIn(CodedKeys{keys}, steps, bounded, windowSec);
}

SeqResult MatchRepeat(const std::vector<KeyEv>& keys, const Step& step, int count, double windowSec) {
    return MatchRepeatIn(PlainKeys{keys}, step, count, windowSec);
}

SeqResult MatchRepeat(const KeyCodes& keys, const Step& step, int count, double windowSec) {
    return MatchRepeatIn(CodedKeys{keys}, step, count, windowSec);
}

Step::Step(Fn fn) : kind_(fn == &TypingOnce ? Kind::Typing : fn == &WinTap ? Kind::WinTap : Kind::Function), fn_(fn) {
    FillTable();
}

Step Step::Keys(HeldMods want, int first, int last) {
    Step s;
    s.kind_ = Kind::Keys;
    s.want_ = Bits(want);
    s.first_ = first;
    s.last_ = last;
    s.FillTable();
    return s;
}

Step Step::AnyOf(std::vector<Step> steps) {
    Step s;
    s.kind_ = Kind::AnyOf;
    s.any_ = std::move(steps);
    s.FillTable();
    return s;
}

bool Step::MayPassOther(uint32_t mods) const {
    switch (kind_) {
        case Kind::Keys: return mods == want_ && (first_ < 0 || last_ >= KeyCodes::kOtherKey) && first_ <= last_;
        case Kind::AnyOf:
            return std::any_of(any_.begin(), any_.end(), [mods](const Step& s) { return s.MayPassOther(mods); });
        case Kind::Typing:
        case Kind::WinTap: return false;  // their keys are all below 255
        case Kind::Function: return true;
    }
    return true;
}

void Step::FillTable() {
    const UnifiedEvent none{};
    for (uint32_t code = 0; code < KeyCodes::kCodes; ++code) {
        const uint32_t mods = code >> 8;
        const int vk = static_cast<int>(code & 0xFF);
        const HeldMods held{(mods & 1) != 0, (mods & 2) != 0, (mods & 4) != 0, (mods & 8) != 0};
        bool pass = false;
        if (kind_ == Kind::Function) {
            pass = true;  // only the function knows
        } else if (vk == KeyCodes::kOtherKey) {
            pass = MayPassOther(mods) || Test(vk, held, none);
        } else {
            pass = Test(vk, held, none);
        }
        if (pass) table_[code >> 6] |= uint64_t{1} << (code & 63);
    }
}

Step Combo(std::vector<ModFamily> mods, int vk) { return Combo(std::move(mods), vk, vk); }

Step Combo(std::vector<ModFamily> mods, int vk, int lastVk) {
    HeldMods want;
    for (ModFamily m : mods) {
        switch (m) {
            case ModFamily::Ctrl: want.ctrl = true; break;
            case ModFamily::Alt: want.alt = true; break;
            case ModFamily::Shift: want.shift = true; break;
            case ModFamily::Win: want.win = true; break;
        }
    }
    return Step::Keys(want, vk, lastVk);
}

Step AnyOf(std::vector<Step> steps) { return Step::AnyOf(std::move(steps)); }

bool TypingOnce(const UnifiedEvent& event, const HeldMods& held) {
    return !held.ctrl && !held.alt && !held.win && Step::IsTypingKey(event.vk);
}

bool WinTap(const UnifiedEvent& event, const HeldMods& held) {
    return (event.vk == 91 || event.vk == 92) && !held.ctrl && !held.alt && !held.shift;
}

const std::map<std::string, std::set<std::string>>& Suppresses() {
    static const std::map<std::string, std::set<std::string>> kSuppresses = {
        {"console-command", {"console-typing"}}, {"copy-paste-send", {"copy-paste"}},
        {"run-command", {"system-keys"}},        {"run-dialog", {"command-box"}},
        {"start-launch", {"system-keys"}},       {"terminal-command", {"command-box"}},
    };
    return kSuppresses;
}

}  // namespace MacroScan

namespace MacroScan {

MacroScanResult ScanKeyList(const std::vector<KeyEv>& keys) {
    const KeyCodes codes(keys);
    std::map<std::string, MacroScanMatch> found;  // one per scenario: its earliest place
    for (const Scenario& s : Scenarios()) {
        const SeqResult r = s.match(codes);
        if (r.matched) found[s.id] = MacroScanMatch{s.id, s.severity, s.message, s.title, r.atSec};
    }
    for (const auto& [id, hidden] : Suppresses()) {
        if (!found.count(id)) continue;
        for (const std::string& h : hidden) found.erase(h);
    }

    MacroScanResult result;
    for (auto& [id, m] : found) result.matches.push_back(std::move(m));
    RankFindings(result);
    return result;
}

void RankFindings(MacroScanResult& result) {
    std::stable_sort(result.matches.begin(), result.matches.end(),
                     [](const MacroScanMatch& a, const MacroScanMatch& b) {
                         const bool aDanger = a.severity == "DANGER";
                         const bool bDanger = b.severity == "DANGER";
                         if (aDanger != bDanger) return aDanger;
                         return a.atSec < b.atSec;
                     });
    if (result.matches.empty()) {
        result.level = "none";
    } else {
        const bool danger = std::any_of(result.matches.begin(), result.matches.end(),
                                        [](const MacroScanMatch& m) { return m.severity == "DANGER"; });
        result.level = danger ? "danger" : "caution";
    }
}

}  // namespace MacroScan

MacroScanResult ScanMacroEvents(const std::vector<UnifiedEvent>& events) {
    return MacroScan::ScanKeyList(MacroScan::BuildKeyList(events));
}

std::string MacroScanResultToJson(const MacroScanResult& result) {
    std::string out = "{\"level\":\"" + result.level + "\",\"matches\":[";
    bool first = true;
    for (const MacroScanMatch& m : result.matches) {
        if (!first) out += ',';
        first = false;
        out += "{\"id\":\"" + m.id + "\",\"severity\":\"" + m.severity + "\",\"atSec\":";
        AppendFloat(out, m.atSec);
        out += '}';
    }
    out += "]}";
    return out;
}
