#include "macro/MacroScan.h"

#include <algorithm>

#include "core/Numbers.h"

namespace MacroScan {

std::vector<KeyEv> BuildKeyList(const std::vector<UnifiedEvent>& events) {
    std::vector<KeyEv> keys;
    keys.reserve(events.size());
    HeldMods held;
    for (const UnifiedEvent& e : events) {
        if (e.type != EventKey) continue;
        if (e.down) keys.push_back(KeyEv{&e, held});
        // Left and right share a family: releasing either clears it.
        switch (e.vk) {
            case 16:
            case 160:
            case 161: held.shift = e.down; break;
            case 17:
            case 162:
            case 163: held.ctrl = e.down; break;
            case 18:
            case 164:
            case 165: held.alt = e.down; break;
            case 91:
            case 92: held.win = e.down; break;
            default: break;
        }
    }
    return keys;
}

SeqResult MatchSequence(const std::vector<KeyEv>& keys, const std::vector<Step>& steps, bool bounded,
                        double windowSec) {
    const size_t n = keys.size();
    if (n == 0 || steps.empty()) return {};
    size_t i = 0;
    int failed = 0;
    while (i < n && failed < 500) {
        if (!steps[0](*keys[i].event, keys[i].held)) {
            ++i;
            continue;
        }
        const double anchor = keys[i].event->time;
        ++i;
        size_t k = 1;
        for (size_t j = i; j < n && k < steps.size(); ++j) {
            if (bounded && keys[j].event->time - anchor > windowSec) break;
            if (steps[k](*keys[j].event, keys[j].held)) ++k;
        }
        if (k == steps.size()) return {true, anchor};
        // Matching the later steps greedily finds a subsequence whenever one exists. Without a window, the
        // keys after any later anchor are a part of the keys just searched, so no later attempt can succeed.
        if (!bounded) return {};
        ++failed;  // the next attempt starts just after this anchor, so attempts overlap
    }
    return {};
}

SeqResult MatchRepeat(const std::vector<KeyEv>& keys, const Step& step, int count, double windowSec) {
    if (keys.empty() || count <= 0) return {};
    std::vector<double> times;
    for (const KeyEv& k : keys) {
        if (step(*k.event, k.held)) times.push_back(k.event->time);
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
        {"copy-paste-send", {"copy-paste"}},
        {"run-command", {"system-keys"}},
        {"start-launch", {"system-keys"}},
    };
    return kSuppresses;
}

}  // namespace MacroScan

MacroScanResult ScanMacroEvents(const std::vector<UnifiedEvent>& events) {
    using namespace MacroScan;
    const std::vector<KeyEv> keys = BuildKeyList(events);

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
