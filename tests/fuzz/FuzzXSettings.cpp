// The settings manager's blob comes from another client of the X server: any bytes at all.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "input/XSettings.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    int32_t value = 0;
    ReadXSettingsInteger(std::string_view(reinterpret_cast<const char*>(data), size), "Net/DoubleClickTime", value);
    return 0;
}
