// What playback of a macro would type with the tools of its profile: a macro's tool toggles start and stop
// the Key Spammer, whose keys land among the macro's own (Win down, Key Spammer on, Win up, with targets
// R, C, M, D and Enter, is the Run box and a command). The scan judges both together.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "macro/MacroScan.h"

namespace MacroScan {

// The Key Spammer's setup as a profile's settings text gives it.
struct KeySpamSetup {
    double intervalSec = 0.005;
    bool untilStopped = true;  // repeat mode other than 0; else `rounds` rounds
    int64_t rounds = 10;
    std::vector<int32_t> targets{32};
    bool chord = false;
};

// Reads fields 11 to 19 of a profile settings text as a switch to the profile would. An empty text (a
// macro that brought no setup) or one whose Key Spammer fields don't read gives the setup an import then
// installs: the defaults.
KeySpamSetup KeySpamSetupFromProfileSettings(const std::string& settings);

// Bounds on following the Key Spammer. Between two of the macro's own key events (or toggles) its keys
// repeat with the list, so the first and the last rounds of that stretch are enough: in chord mode
// kToolEdgeRounds of each, in sequence mode three passes over the list more. No more than kMaxToolPresses
// presses are followed in all.
constexpr int64_t kToolEdgeRounds = 8;
constexpr size_t kMaxToolPresses = 50000;

struct PlayedKeys {
    std::vector<UnifiedEvent> toolPresses;  // the Key Spammer's presses; `keys` points into it
    std::vector<KeyEv> keys;
    bool truncated = false;  // more Key Spammer presses than kMaxToolPresses
    double truncatedAt = 0;  // the moment of the first press not followed
};

// The presses that playback of `events` would make, in the order they happen, each with the modifiers held
// before it (the macro's and the Key Spammer's share one keyboard) and its moment. A Key Spammer round due
// at the same moment as a macro event comes after it: the tool's thread is woken, playback fires at once.
// The Key Spammer starts at the first target of its list and runs on after the macro's end, as it does
// unless the importer stops the tools with the macro. `out` must stay in place while its keys are used.
void BuildPlayedKeys(const std::vector<UnifiedEvent>& events, const KeySpamSetup& setup, PlayedKeys& out);

}  // namespace MacroScan

// The scan of a macro as playback of the imported profile would run it: its events and the Key Spammer
// that its tool toggles start, with the profile's setup. When the Key Spammer makes more presses than are
// followed, a "CAUTION" finding says so instead of a silent gap.
MacroScanResult ScanMacroProfile(const MacroProfile& profile);
