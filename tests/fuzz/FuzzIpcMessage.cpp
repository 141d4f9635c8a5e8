// Any bytes as a message that reached the IPC server: the dispatcher never crashes, and no message
// captures the unlock key.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "bridge/Ipc.h"
#include "core/AppState.h"

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
    return 0;
}
