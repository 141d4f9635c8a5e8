#include "macro/MacroScan.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

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
        if (e.down) keys.push_back(KeyEv{&e, held, at});
        TrackModifier(held, e.vk, e.down);
    }
    return keys;
}

SeqResult MatchSequence(const std::vector<KeyEv>& keys, const std::vector<Step>& steps, bool bounded,
                        double windowSec) {
    const size_t n = keys.size();
    if (n == 0 || steps.empty()) return {};
    if (!bounded) {
        // Matching the later steps greedily finds a subsequence whenever one exists, and the keys after any
        // later anchor are a part of the keys searched from the first: only the first attempt can succeed.
        size_t i = 0;
        while (i < n && !steps[0](*keys[i].event, keys[i].held)) ++i;
        if (i == n) return {};
        size_t k = 1;
        for (size_t j = i + 1; j < n && k < steps.size(); ++j) {
            if (steps[k](*keys[j].event, keys[j].held)) ++k;
        }
        if (k == steps.size()) return {true, keys[i].at};
        return {};
    }

    // Attempts overlap (each failed one resumes just after its anchor), and on a macro whose keys all fall in
    // one window each would walk the rest of the list. Since the times never decrease, the greedy match
    // of the later steps from an anchor ends on the same key whether the window cuts the walk or not; the
    // window only decides whether that key is close enough. So the end of the greedy match of steps s..
    // from each key is worked out once, from the back: finish[s - 1][j] is where steps s.. complete when
    // looked for from key j on, or n.
    const size_t later = steps.size() - 1;
    std::vector<std::vector<uint32_t>> finish(later, std::vector<uint32_t>(n + 1, static_cast<uint32_t>(n)));
    for (size_t j = n; j-- > 0;) {
        for (size_t s = later; s >= 1; --s) {
            std::vector<uint32_t>& f = finish[s - 1];
            if (!steps[s](*keys[j].event, keys[j].held)) {
                f[j] = f[j + 1];
            } else {
                f[j] = s == later ? static_cast<uint32_t>(j) : finish[s][j + 1];
            }
        }
    }
    int failed = 0;
    for (size_t i = 0; i < n && failed < 500; ++i) {
        if (!steps[0](*keys[i].event, keys[i].held)) continue;
        const double anchor = keys[i].at;
        if (later == 0) return {true, anchor};
        const size_t end = finish[0][i + 1];
        if (end < n && !(keys[end].at - anchor > windowSec)) return {true, anchor};
        ++failed;
    }
    return {};
}

SeqResult MatchRepeat(const std::vector<KeyEv>& keys, const Step& step, int count, double windowSec) {
    if (keys.empty() || count <= 0) return {};
    std::vector<double> times;
    for (const KeyEv& k : keys) {
        if (step(*k.event, k.held)) times.push_back(k.at);
    }
    const size_t c = static_cast<size_t>(count);
    if (times.size() < c) return {};
    for (size_t s = 0; s + c - 1 < times.size(); ++s) {
        if (times[s + c - 1] - times[s] <= windowSec) return {true, times[s]};
    }
    return {};
}

Step Step::Combo(HeldMods want, int vk) {
    Step s;
    s.kind_ = Kind::Combo;
    s.want_ = want;
    s.vk_ = vk;
    return s;
}

Step Step::AnyOf(std::vector<Step> steps) {
    Step s;
    s.kind_ = Kind::AnyOf;
    s.any_ = std::move(steps);
    return s;
}

Step Combo(std::vector<ModFamily> mods, int vk) {
    HeldMods want;
    for (ModFamily m : mods) {
        switch (m) {
            case ModFamily::Ctrl: want.ctrl = true; break;
            case ModFamily::Alt: want.alt = true; break;
            case ModFamily::Shift: want.shift = true; break;
            case ModFamily::Win: want.win = true; break;
        }
    }
    return Step::Combo(want, vk);
}

Step AnyOf(std::vector<Step> steps) { return Step::AnyOf(std::move(steps)); }

bool TypingOnce(const UnifiedEvent& event, const HeldMods& held) {
    if (held.ctrl || held.alt || held.win) return false;
    const int vk = event.vk;
    return vk == 32 || (vk >= 48 && vk <= 57) || (vk >= 65 && vk <= 90) || (vk >= 96 && vk <= 105) ||
           (vk >= 186 && vk <= 192) || (vk >= 219 && vk <= 223);
}

bool WinTap(const UnifiedEvent& event, const HeldMods& held) {
    return (event.vk == 91 || event.vk == 92) && !held.ctrl && !held.alt && !held.shift;
}

const std::map<std::string, std::set<std::string>>& Suppresses() {
    static const std::map<std::string, std::set<std::string>> kSuppresses = {
        {"console-command", {"console-typing"}},
        {"copy-paste-send", {"copy-paste"}},
        {"run-command", {"system-keys"}},
        {"run-dialog", {"command-box"}},
        {"start-launch", {"system-keys"}},
        {"terminal-command", {"command-box"}},
    };
    return kSuppresses;
}

}  // namespace MacroScan

namespace MacroScan {

MacroScanResult ScanKeyList(const std::vector<KeyEv>& keys) {
    std::map<std::string, MacroScanMatch> found;  // one per scenario: its earliest place
    for (const Scenario& s : Scenarios()) {
        const SeqResult r = s.match(keys);
        if (r.matched) found[s.id] = MacroScanMatch{s.id, s.severity, s.message, s.title, r.atSec};
    }
    for (const auto& [id, hidden] : Suppresses()) {
        if (!found.count(id)) continue;
        for (const std::string& h : hidden) found.erase(h);
    }

    MacroScanResult result;
    for (auto& [id, m] : found) result.matches.push_back(std::move(m));
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
    return result;
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
