// The macro scanner and reader at size: 1,000,000 key events.
//   bench_macro              timings
//   bench_macro --report F   the scan of macro file F as JSON (a diagnostic)
#include <chrono>
#include <cstdio>
#include <cstring>
#include <functional>
#include <string>

#include "macro/MacroFile.h"
#include "macro/MacroScan.h"

namespace {

double Seconds(const std::function<void()>& fn) {
    const auto t = std::chrono::steady_clock::now();
    fn();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - t).count();
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
        std::printf("%s\n", MacroScanResultToJson(ScanMacroEvents(p.events)).c_str());
        return 0;
    }

    const std::vector<UnifiedEvent> typing = Typing(500000);  // a press and a release each
    MacroScanResult result;
    const double scan = Seconds([&] { result = ScanMacroEvents(typing); });

    // The worst case the attempt bound allows: every key starts a pattern that never completes.
    std::vector<UnifiedEvent> worst;
    for (int i = 0; i < 1000000; ++i) worst.push_back(Key('A', true, i));
    worst.insert(worst.begin(), Key(17, true, 0));
    const double scanWorst = Seconds([&] { ScanMacroEvents(worst); });

    MacroProfile profile{"Big", "", typing};
    const std::string text = MacroFileText(profile);
    MacroProfile back;
    const double parse = Seconds([&] { ParseMacroText(text, back); });

    std::printf("ScanMacroEvents, 1,000,000 key events of typing with shortcuts: %.3f s (level %s, %zu findings)\n",
                scan, result.level.c_str(), result.matches.size());
    std::printf("ScanMacroEvents, 1,000,000 Ctrl+A that never complete (worst case): %.3f s\n", scanWorst);
    std::printf("ParseMacroText, %zu events (%.1f MB): %.3f s\n", back.events.size(),
                static_cast<double>(text.size()) / 1e6, parse);
    return 0;
}
