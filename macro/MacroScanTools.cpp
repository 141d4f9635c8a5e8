#include "macro/MacroScanTools.h"

#include <algorithm>
#include <cmath>
#include <string_view>

#include "core/Numbers.h"
#include "persist/Settings.h"

namespace MacroScan {

KeySpamSetup KeySpamSetupFromProfileSettings(const std::string& settings) {
    KeySpamSetup setup;
    const std::vector<std::string> f = SplitString(settings, ',');
    if (f.size() < 18) return setup;
    int32_t v[7];  // hours, minutes, seconds, milliseconds, repeat mode, repeat times, single target
    for (size_t i = 0; i < 7; ++i) {
        if (!ParseInt(f[11 + i], v[i])) return setup;
    }
    // The Key Spammer's own arithmetic: at least 1 ms, whole milliseconds rounded up.
    const double ms = v[0] * 3600000.0 + v[1] * 60000.0 + v[2] * 1000.0 + v[3];
    setup.intervalSec = std::ceil(std::max(ms, 1.0)) / 1000.0;
    setup.untilStopped = v[4] != 0;
    setup.rounds = v[5];
    setup.targets.clear();
    setup.chord = false;
    if (f.size() >= 20) {
        // The list's pieces up to its 256th key, without splitting the rest: a file's list may be long.
        const std::string_view list = f[18];
        for (size_t from = 0; from <= list.size() && setup.targets.size() < 256;) {
            size_t bar = list.find('|', from);
            if (bar == std::string_view::npos) bar = list.size();
            int32_t vk = 0;
            if (ParseInt(list.substr(from, bar - from), vk)) setup.targets.push_back(vk);
            from = bar + 1;
        }
        setup.chord = f[19] == "1";
    } else {
        setup.targets.push_back(v[6]);
    }
    return setup;
}

namespace {

constexpr int64_t kForever = int64_t{1} << 53;  // rounds of a run that only a stop ends

// Walks the macro as playback fires it and lays the Key Spammer's rounds in between.
class PlayedKeysBuilder {
public:
    PlayedKeysBuilder(const KeySpamSetup& setup, PlayedKeys& out)
        : setup_(setup),
          out_(out),
          count_(static_cast<int64_t>(setup.targets.size())),
          edge_(setup.chord ? kToolEdgeRounds : 3 * count_ + kToolEdgeRounds) {
        // Which modifier families letting go of every target clears: a stop needn't walk the list.
        kept_ = HeldMods{true, true, true, true};
        for (int32_t vk : setup.targets) TrackModifier(kept_, vk, false);
    }

    void Walk(const std::vector<UnifiedEvent>& events) {
        double at = 0;
        for (const UnifiedEvent& e : events) {
            at = FireTime(at, e.time);
            const bool toggle = e.type == EventToolToggle && e.vk == 2;
            if (e.type != EventKey && !toggle) continue;  // nothing else changes what keys do
            RoundsBefore(at);
            if (toggle) {
                if (e.down) {
                    Start(at);
                } else if (running_) {
                    Stop();
                }
                continue;
            }
            if (e.down) out_.keys.push_back(KeyEv{&e, at, e.vk, held_});
            TrackModifier(held_, e.vk, e.down);
        }
        // Unless the importer has the tools stop with the macro, the Key Spammer runs on after it.
        if (running_) Emit(next_, std::min(limit_, next_ + edge_));
    }

private:
    void Start(double at) {
        // A start while it runs changes nothing; with no target it doesn't start.
        if (running_ || count_ == 0) return;
        running_ = true;
        start_ = at;
        next_ = 0;
        limit_ = setup_.untilStopped ? kForever : std::max<int64_t>(setup_.rounds, 0);
        runPos_ = listPos_;
    }

    // A stop lets go of every target, also those this round didn't press: a modifier the macro holds
    // is released with them.
    void Stop() {
        ReleaseTargets();
        listPos_ = count_ > 0 ? (runPos_ + next_) % count_ : 0;
        running_ = false;
    }

    double RoundTime(int64_t r) const { return start_ + static_cast<double>(r) * setup_.intervalSec; }

    // The rounds due before `until`: the first and the last edge_ of them are made, the rest only counted.
    void RoundsBefore(double until) {
        if (!running_) return;
        int64_t hi = limit_;
        const double estimate = std::ceil((until - start_) / setup_.intervalSec);
        if (estimate < static_cast<double>(limit_)) hi = std::max(next_, static_cast<int64_t>(std::max(estimate, 0.0)));
        // The estimate can be a round off either way.
        for (int i = 0; i < 4 && hi > next_ && RoundTime(hi - 1) >= until; ++i) --hi;
        for (int i = 0; i < 4 && hi < limit_ && RoundTime(hi) < until; ++i) ++hi;
        if (hi - next_ > 2 * edge_) {
            Emit(next_, next_ + edge_);
            Emit(hi - edge_, hi);
        } else {
            Emit(next_, hi);
        }
        next_ = hi;
        // A run that has its count stops when its next round falls due.
        if (next_ == limit_ && RoundTime(limit_) < until) Stop();
    }

    void Emit(int64_t from, int64_t to) {
        for (int64_t r = from; r < to && !out_.truncated; ++r) {
            const double at = RoundTime(r);
            if (setup_.chord) {
                for (int32_t vk : setup_.targets) Press(vk, at);
                ReleaseTargets();
            } else {
                const int32_t vk = setup_.targets[static_cast<size_t>((runPos_ + r) % count_)];
                Press(vk, at);
                TrackModifier(held_, vk, false);
            }
        }
    }

    void ReleaseTargets() {
        held_.ctrl = held_.ctrl && kept_.ctrl;
        held_.alt = held_.alt && kept_.alt;
        held_.shift = held_.shift && kept_.shift;
        held_.win = held_.win && kept_.win;
    }

    void Press(int32_t vk, double at) {
        if (out_.toolPresses.size() >= kMaxToolPresses) {
            if (!out_.truncated) out_.truncatedAt = at;
            out_.truncated = true;
            return;
        }
        out_.toolPresses.push_back(UnifiedEvent{EventKey, at, 0, 0, 0, vk, true, 0});
        out_.keys.push_back(KeyEv{&out_.toolPresses.back(), at, vk, held_});
        TrackModifier(held_, vk, true);
    }

    const KeySpamSetup& setup_;
    PlayedKeys& out_;
    const int64_t count_;
    const int64_t edge_;
    HeldMods kept_;  // the families that a release of every target leaves as they were
    HeldMods held_;
    bool running_ = false;
    double start_ = 0;
    int64_t next_ = 0;     // the run's next round not yet made or passed over
    int64_t limit_ = 0;    // the run's rounds
    int64_t runPos_ = 0;   // the list position of the run's first round
    int64_t listPos_ = 0;  // where the next run begins: the Key Spammer keeps its place over a stop
};

}  // namespace

void BuildPlayedKeys(const std::vector<UnifiedEvent>& events, const KeySpamSetup& setup, PlayedKeys& out) {
    out = PlayedKeys{};
    const bool starts = std::any_of(events.begin(), events.end(), [](const UnifiedEvent& e) {
        return e.type == EventToolToggle && e.vk == 2 && e.down;
    });
    // Fixed room, so that the keys' pointers into it stay valid.
    const bool runs = starts && !setup.targets.empty();
    if (runs) out.toolPresses.reserve(kMaxToolPresses);
    out.keys.reserve(events.size() + (runs ? kMaxToolPresses : 0));
    PlayedKeysBuilder(setup, out).Walk(events);
}

}  // namespace MacroScan

MacroScanResult ScanMacroProfile(const MacroProfile& profile) {
    using namespace MacroScan;
    PlayedKeys played;
    BuildPlayedKeys(profile.events, KeySpamSetupFromProfileSettings(profile.settings), played);
    MacroScanResult result = ScanKeyList(played.keys);
    if (played.truncated) {
        result.matches.push_back(MacroScanMatch{
            "tool-keys-unchecked", "CAUTION",
            "Runs the Key Spammer for longer than the check can follow, so some of the keys it would press were "
            "not looked at.",
            "Types more than was checked", played.truncatedAt});
        RankFindings(result);
    }
    return result;
}
