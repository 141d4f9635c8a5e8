#include "engine/ToolSettings.h"

#include <cmath>
#include <vector>

#include "core/Numbers.h"
#include "persist/Settings.h"

double ToolIntervalMs(int32_t hours, int32_t mins, int32_t secs, int32_t ms) {
    double total = hours * 3600000.0 + mins * 60000.0 + secs * 1000.0 + ms;
    if (total < 1.0) total = 1.0;
    return std::ceil(total);
}

bool ParseDecimalFields(const std::string& text, int count, int32_t* out) {
    // Cut as the settings files' line reader cuts: a trailing comma adds no empty field.
    const std::vector<std::string> fields = SplitString(text, ',');
    if (static_cast<int>(fields.size()) < count) return false;
    std::vector<int32_t> values(static_cast<size_t>(count));
    for (int i = 0; i < count; ++i) {
        if (!ParseInt(fields[static_cast<size_t>(i)], values[static_cast<size_t>(i)])) return false;
    }
    for (int i = 0; i < count; ++i) out[i] = values[static_cast<size_t>(i)];
    return true;
}
