// Random key lists through the scanner: it ends, ranks dangers first and reports each scenario once.
#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "macro/MacroScan.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // Three bytes an event: the key (a small alphabet of the keys the patterns use), down, and a time step.
    static const int kKeys[] = {16,  17,  18,  91,  92,  160, 161, 162, 163, 164, 165, 13,  8,   9,   27, 44, 46,
                                115, 117, 'A', 'C', 'G', 'I', 'L', 'R', 'S', 'T', 'V', 'W', 'X', 'Y', 32, 48, 37};
    std::vector<UnifiedEvent> events;
    double t = 0;
    for (size_t i = 0; i + 2 < size; i += 3) {
        UnifiedEvent e;
        e.type = data[i + 1] & 0x80 ? EventMouseClick : EventKey;
        e.vk = kKeys[data[i] % (sizeof kKeys / sizeof kKeys[0])];
        e.down = data[i + 1] & 1;
        t += data[i + 2] * 0.25;
        e.time = t;
        events.push_back(e);
    }
    const MacroScanResult r = ScanMacroEvents(events);
    std::set<std::string> ids;
    bool seenCaution = false;
    for (const auto& m : r.matches) {
        if (!ids.insert(m.id).second) __builtin_trap();
        if (m.severity == "CAUTION") seenCaution = true;
        if (m.severity == "DANGER" && seenCaution) __builtin_trap();
    }
    if ((r.level == "none") != r.matches.empty()) __builtin_trap();
    return 0;
}
