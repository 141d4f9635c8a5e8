// Any bytes as a macro file: the reader never crashes, never touches a live setting, the Key Spammer
// setup the scan takes from it stays in bounds, and what it reads writes back to a file that reads the same.
#include <cstddef>
#include <cstdint>
#include <string>

#include "core/AppState.h"
#include "macro/MacroFile.h"
#include "macro/MacroScanTools.h"
#include "persist/Settings.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const std::string live = SerializeSettings();
    MacroProfile p;
    if (!ParseMacroText(std::string(reinterpret_cast<const char*>(data), size), p).empty()) return 0;
    if (SerializeSettings() != live) __builtin_trap();
    // The Key Spammer that the scan follows: at most 256 keys, at least a millisecond apart.
    const MacroScan::KeySpamSetup tool = MacroScan::KeySpamSetupFromProfileSettings(p.settings);
    if (tool.targets.size() > 256 || !(tool.intervalSec >= 0.001)) __builtin_trap();
    // Written back with this machine's settings line, the events and the name survive.
    MacroProfile back;
    if (p.name.find('\r') != std::string::npos || !ParseMacroText(MacroFileText(p), back).empty()) return 0;
    if (back.name != p.name || back.events.size() != p.events.size()) __builtin_trap();
    return 0;
}
