#include "engine/ToolSettings.h"

#include <cctype>
#include <cmath>
#include <limits>
#include <vector>

double ToolIntervalMs(int32_t hours, int32_t mins, int32_t secs, int32_t ms) {
    double total = hours * 3600000.0 + mins * 60000.0 + secs * 1000.0 + ms;
    if (total < 1.0) total = 1.0;
    return std::ceil(total);
}

namespace {

bool ParseField(const std::string& field, int32_t& out) {
    size_t i = 0;
    while (i < field.size() && std::isspace(static_cast<unsigned char>(field[i]))) ++i;
    bool negative = false;
    if (i < field.size() && (field[i] == '+' || field[i] == '-')) negative = field[i++] == '-';
    int64_t value = 0;
    size_t digits = 0;
    for (; i < field.size() && std::isdigit(static_cast<unsigned char>(field[i])); ++i, ++digits) {
        value = value * 10 + (field[i] - '0');
        if (value > int64_t{std::numeric_limits<int32_t>::max()} + 1) return false;
    }
    if (digits == 0) return false;
    if (negative) value = -value;
    if (value < std::numeric_limits<int32_t>::min() || value > std::numeric_limits<int32_t>::max()) return false;
    out = static_cast<int32_t>(value);
    return true;
}

}  // namespace

bool ParseDecimalFields(const std::string& text, int count, int32_t* out) {
    std::vector<int32_t> values;
    size_t start = 0;
    while (static_cast<int>(values.size()) < count && start <= text.size()) {
        size_t comma = text.find(',', start);
        if (comma == std::string::npos) comma = text.size();
        // A trailing comma adds no empty field, as the line reader of the settings files doesn't either.
        if (comma == text.size() && start == text.size()) break;
        int32_t v = 0;
        if (!ParseField(text.substr(start, comma - start), v)) return false;
        values.push_back(v);
        start = comma + 1;
    }
    if (static_cast<int>(values.size()) < count) return false;
    for (int i = 0; i < count; ++i) out[i] = values[static_cast<size_t>(i)];
    return true;
}
