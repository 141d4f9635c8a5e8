// Any text as a session file: the reader never crashes, and after one save and load (which gives the
// current profile its settings) what is saved reloads unchanged.
#include <cstddef>
#include <cstdint>
#include <string>

#include "core/AppState.h"
#include "persist/SessionFile.h"
#include "persist/Settings.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    profiles.assign(1, MacroProfile{kDefaultProfileName, "", {}});
    currentProfileIdx = 0;
    ResetSpammerKeySpamDefaults();
    LoadSessionStateFromText(std::string(reinterpret_cast<const char*>(data), size));
    LoadSessionStateFromText(BuildSessionText());
    const std::string settled = BuildSessionText();
    LoadSessionStateFromText(settled);
    if (BuildSessionText() != settled) __builtin_trap();
    return 0;
}
