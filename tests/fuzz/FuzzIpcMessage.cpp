// Any bytes as a message that reached the IPC server: the dispatcher never crashes, no message captures
// the unlock key, and no number outside its range gets into the tools or the event times.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "bridge/Ipc.h"
#include "core/AppState.h"
#include "core/Limits.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const bool once = [] {
        std::lock_guard<std::mutex> lock(profileMutex);
        profiles.assign(1, MacroProfile{kDefaultProfileName, "", {UnifiedEvent{}, UnifiedEvent{}}});
        currentProfileIdx = 0;
        return true;
    }();
    (void)once;
    HandleIpcMessage(std::string_view(reinterpret_cast<const char*>(data), size));
    if (currentReassign == 6) __builtin_trap();
    if (!IsValidPlaybackSpeed(fPlaybackSpeed) || !IsValidLoopIntervalMs(iLoopIntervalMs)) __builtin_trap();
    if (!IsValidRepeatTimes(autoClickRepeatTimes) || !IsValidRepeatTimes(keySpamRepeatTimes)) __builtin_trap();
    if (!IsValidIntervalPart(autoClickIntervalMs) || !IsValidIntervalPart(keySpamIntervalHours)) __builtin_trap();
    std::lock_guard<std::mutex> lock(profileMutex);
    for (const MacroProfile& p : profiles) {
        for (const UnifiedEvent& e : p.events) {
            if (!IsValidEventTime(e.time)) __builtin_trap();
        }
    }
    return 0;
}
