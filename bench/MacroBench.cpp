// The macro scanner and reader at size: 1,000,000 key events.
//   bench_macro              timings
//   bench_macro --report F   the scan of macro file F as JSON (a diagnostic): the scan an import makes, of its
//                            events and the Key Spammer their tool toggles start
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <functional>
#include <string>

#include "macro/MacroFile.h"
#include "macro/MacroScan.h"
#include "macro/MacroScanTools.h"

namespace {

// Processor time of this thread: on a shared machine, wall time mostly measures the other processes.
double CpuNow() {
    timespec ts{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
    return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) * 1e-9;
}

double Seconds(const std::function<void()>& fn) {
    const double t = CpuNow();
    fn();
    return CpuNow() - t;
}

// The best of three runs: the machine is shared, and the figure asked for is the scan's own.
double Best(const std::function<void()>& fn) {
    double best = Seconds(fn);
    for (int i = 0; i < 2; ++i) best = std::min(best, Seconds(fn));
    return best;
}

UnifiedEvent Key(int vk, bool down, double t) { return UnifiedEvent{EventKey, t, 0, 0, 0, vk, down, 0}; }

// Typing with a shortcut now and then: text, spaces, Enter, Ctrl+C / Ctrl+V, Alt+Tab.
std::vector<UnifiedEvent> Typing(size_t presses) {
    std::vector<UnifiedEvent> ev;
    ev.reserve(presses * 2 + presses / 10);
    double t = 0;
    for (size_t i = 0; i < presses; ++i) {
        t += 0.08;
        int vk = 'A' + static_cast<int>(i * 7 % 26);
        if (i % 9 == 0) vk = 32;
        if (i % 97 == 0) vk = 13;
        const int mod = i % 211 == 0 ? 17 : i % 503 == 0 ? 18 : 0;
        if (mod) ev.push_back(Key(mod, true, t));
        ev.push_back(Key(mod == 18 ? 9 : vk, true, t));
        ev.push_back(Key(mod == 18 ? 9 : vk, false, t));
        if (mod) ev.push_back(Key(mod, false, t));
    }
    return ev;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 3 && std::strcmp(argv[1], "--report") == 0) {
        MacroProfile p;
        const std::string message = ParseMacroFile(argv[2], p);
        if (!message.empty()) {
            std::fprintf(stderr, "%s\n", message.c_str());
            return 1;
        }
        std::printf("%s\n", MacroScanResultToJson(ScanMacroProfile(p)).c_str());
        return 0;
    }

    const std::vector<UnifiedEvent> typing = Typing(500000);  // a press and a release each
    MacroScanResult result;
    const double scan = Best([&] { result = ScanMacroEvents(typing); });

    // Windowed patterns whose every attempt would see the whole list: Ctrl held, then C (a copy waiting
    // for its paste) and L (an address bar waiting for typing and Enter) pressed over and over at time 0.
    std::vector<UnifiedEvent> windowed = {Key(17, true, 0)};
    for (int i = 1; i < 1000000; ++i) windowed.push_back(Key(i % 2 ? 'C' : 'L', true, 0));
    MacroScanResult windowedResult;
    const double scanWindowed = Best([&] { windowedResult = ScanMacroEvents(windowed); });

    // The Key Spammer at its busiest: a chord of 256 keys every millisecond, kept going by a macro key every
    // 10 ms, until the followed presses run out; the rest of the million events are presses of Ctrl+C.
    std::string list = "67";
    for (int i = 1; i < 256; ++i) list += "|67";
    MacroProfile tools{"Tools", "0,0,0,5,0,0,1,10,0,0,0,0,0,0,1,1,0,32," + list + ",1", {}};
    tools.events.push_back(UnifiedEvent{EventToolToggle, 0, 0, 0, 0, 2, true, 0});
    tools.events.push_back(Key(17, true, 0));
    for (int i = 0; static_cast<int>(tools.events.size()) < 1000000; ++i) {
        tools.events.push_back(Key('C', true, i < 100000 ? i * 0.01 : 1000));
    }
    MacroScanResult toolsResult;
    const double scanTools = Best([&] { toolsResult = ScanMacroProfile(tools); });

    // A stop lets go of every target: 1,000,000 toggles, on and off at one moment, of a 256-key list of
    // modifiers (each run starts and stops without a round, so nothing is pressed and nothing truncated).
    std::string modifiers = "160";
    for (int i = 1; i < 256; ++i) modifiers += "|" + std::to_string(160 + i % 6);
    MacroProfile toggles{"Toggles", "0,0,0,5,0,0,1,10,0,0,0,0,0,0,1,1,0,32," + modifiers + ",0", {}};
    for (int i = 0; i < 1000000; ++i)
        toggles.events.push_back(UnifiedEvent{EventToolToggle, 0, 0, 0, 0, 2, i % 2 == 0, 0});
    MacroScanResult togglesResult;
    const double scanToggles = Best([&] { togglesResult = ScanMacroProfile(toggles); });

    MacroProfile profile{"Big", "", typing};
    const std::string text = MacroFileText(profile);
    MacroProfile back;
    const double parse = Seconds([&] { ParseMacroText(text, back); });

    std::printf("ScanMacroEvents, 1,000,000 key events of typing with shortcuts: %.3f s (level %s, %zu findings)\n",
                scan, result.level.c_str(), result.matches.size());
    std::printf(
        "ScanMacroEvents, 1,000,000 presses of Ctrl+C / Ctrl+L at one moment (windowed worst case): %.3f s "
        "(level %s)\n",
        scanWindowed, windowedResult.level.c_str());
    std::printf(
        "ScanMacroProfile, 1,000,000 events with the Key Spammer at its busiest: %.3f s (level %s, %zu "
        "findings)\n",
        scanTools, toolsResult.level.c_str(), toolsResult.matches.size());
    std::printf("ScanMacroProfile, 1,000,000 starts and stops of a 256-key Key Spammer list: %.3f s (level %s)\n",
                scanToggles, togglesResult.level.c_str());
    std::printf("ParseMacroText, %zu events (%.1f MB): %.3f s\n", back.events.size(),
                static_cast<double>(text.size()) / 1e6, parse);
    return 0;
}
