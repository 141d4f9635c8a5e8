// The settings that an X desktop's settings manager publishes (the _XSETTINGS_SETTINGS property): byte
// order, serial, count, then one record per setting. Read here without any X call, so that the reader can
// be tested and fuzzed on its own.
#pragma once

#include <cstdint>
#include <string_view>

// The integer setting `name` in a settings blob. False when the blob has no such integer, or is cut short
// or malformed before it is found; a string or colour of that name doesn't count.
bool ReadXSettingsInteger(std::string_view blob, std::string_view name, int32_t& value);

// Platform: the desktop's double-click interval in seconds, 0.4 when no settings manager publishes one.
double PlatformDoubleClickSeconds();
