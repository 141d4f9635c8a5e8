// Any text as the settings file: the reader never crashes, and what it keeps writes and rereads unchanged.
#include <cstddef>
#include <cstdint>
#include <string>

#include "persist/AppSettings.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    LoadAppSettingsFromText(std::string(reinterpret_cast<const char*>(data), size));
    const std::string once = BuildAppSettingsText();
    LoadAppSettingsFromText(once);
    if (BuildAppSettingsText() != once) __builtin_trap();
    BindGetAppSettings();
    return 0;
}
