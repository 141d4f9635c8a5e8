// Random key lists through the scanner, alone and with the Key Spammer that their tool toggles start: it
// ends, ranks dangers first and reports each scenario once.
#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "macro/MacroScan.h"
#include "macro/MacroScanTools.h"

namespace {

void CheckResult(const MacroScanResult& r) {
    std::set<std::string> ids;
    bool seenCaution = false;
    for (const auto& m : r.matches) {
        if (!ids.insert(m.id).second) __builtin_trap();
        if (m.severity == "CAUTION") seenCaution = true;
        if (m.severity == "DANGER" && seenCaution) __builtin_trap();
    }
    if ((r.level == "none") != r.matches.empty()) __builtin_trap();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // Three bytes an event: the key (a small alphabet of the keys the patterns use), the kind and down,
    // and a time step; a step of 255 is a time that isn't a number, which playback would wait on forever.
    static const int kKeys[] = {16,  17,  18,  91,  92,  160, 161, 162, 163, 164, 165, 13,  8,
                                9,   27,  44,  46,  115, 117, 'A', 'C', 'G', 'I', 'L', 'R', 'S',
                                'T', 'V', 'W', 'X', 'Y', 32,  48,  37,  112, 113, 114, 123, 124};
    // Key Spammer setups: none (the defaults), a list in sequence, a chord with Win, a counted run.
    static const char* const kSetups[] = {
        "",
        "0,0,0,5,0,0,1,10,0,0,0,0,0,0,250,1,0,82,82|67|13,0",
        "0,0,0,5,0,0,1,10,0,0,0,0,0,0,1,1,0,91,91|82|88,1",
        "0,0,0,5,0,0,1,10,0,0,0,0,0,1,0,0,3,65,65|13,0",
    };
    if (size == 0) return 0;
    MacroProfile profile;
    profile.settings = kSetups[data[0] % 4];
    double t = 0;
    for (size_t i = 1; i + 2 < size; i += 3) {
        UnifiedEvent e;
        const uint8_t kind = data[i + 1];
        e.type = kind & 0x80 ? EventMouseClick : kind & 0x40 ? EventToolToggle : EventKey;
        e.vk = e.type == EventToolToggle ? (kind & 0x20 ? 1 : 2) : kKeys[data[i] % (sizeof kKeys / sizeof kKeys[0])];
        e.down = kind & 1;
        if (data[i + 2] == 255) {
            e.time = __builtin_nan("");
        } else {
            t += data[i + 2] * 0.25;
            e.time = t;
        }
        profile.events.push_back(e);
    }
    CheckResult(ScanMacroEvents(profile.events));
    CheckResult(ScanMacroProfile(profile));
    return 0;
}
