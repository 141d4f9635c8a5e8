// Any text as a session file: the reader never crashes, no number outside its range gets in (a speed of
// "nan" would write a settings document that isn't JSON), and after one save and load (which gives the
// current profile its settings) what is saved reloads unchanged.
#include <cstddef>
#include <cstdint>
#include <string>

#include "core/AppState.h"
#include "core/Limits.h"
#include "persist/SessionFile.h"
#include "persist/Settings.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    profiles.assign(1, MacroProfile{kDefaultProfileName, "", {}});
    currentProfileIdx = 0;
    ResetSpammerKeySpamDefaults();
    LoadSessionStateFromText(std::string(reinterpret_cast<const char*>(data), size));
    if (!IsValidPlaybackSpeed(fPlaybackSpeed) || !IsValidLoopIntervalMs(iLoopIntervalMs)) __builtin_trap();
    const int32_t parts[] = {autoClickIntervalHours, autoClickIntervalMins, autoClickIntervalSecs, autoClickIntervalMs,
                             keySpamIntervalHours,   keySpamIntervalMins,   keySpamIntervalSecs,   keySpamIntervalMs};
    for (int32_t v : parts) {
        if (!IsValidIntervalPart(v)) __builtin_trap();
    }
    if (!IsValidRepeatTimes(autoClickRepeatTimes) || !IsValidRepeatTimes(keySpamRepeatTimes)) __builtin_trap();
    for (const MacroProfile& p : profiles) {
        for (const UnifiedEvent& e : p.events) {
            if (!IsValidEventTime(e.time)) __builtin_trap();
        }
    }
    LoadSessionStateFromText(BuildSessionText());
    const std::string settled = BuildSessionText();
    LoadSessionStateFromText(settled);
    if (BuildSessionText() != settled) __builtin_trap();
    return 0;
}
