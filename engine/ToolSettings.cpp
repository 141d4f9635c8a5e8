#include "engine/ToolSettings.h"

#include <chrono>
#include <cmath>
#include <vector>

#include "core/Limits.h"
#include "core/Numbers.h"
#include "persist/Settings.h"

double ToolIntervalMs(int32_t hours, int32_t mins, int32_t secs, int32_t ms) {
    double total = hours * 3600000.0 + mins * 60000.0 + secs * 1000.0 + ms;
    if (total < 1.0) total = 1.0;
    return std::ceil(total);
}

std::string IntervalRefusal(const char* name, const int32_t* parts, int32_t repeatTimes) {
    static const char* const kParts[] = {"hours", "minutes", "seconds", "milliseconds"};
    for (int i = 0; i < 4; ++i) {
        if (!IsValidIntervalPart(parts[i])) {
            return std::string(name) + ": the " + kParts[i] + " must be a whole number from 0 to " +
                   std::to_string(kMaxIntervalPart) + ", not " + std::to_string(parts[i]);
        }
    }
    if (!IsValidRepeatTimes(repeatTimes)) {
        return std::string(name) + ": the repeat count must be a whole number from 0 to " +
               std::to_string(kMaxRepeatTimes) + ", not " + std::to_string(repeatTimes);
    }
    return "";
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

ToolMeter g_SpammerMeter, g_KeySpamMeter;

namespace {
constexpr int64_t kMeterWindowNs = 500'000'000;
}

int64_t ToolClockNs() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

void MeterRunStarts(ToolMeter& m) {
    m.presses = 0;
    m.perSecond = 0.0;
    m.windowStartNs = 0;
    m.windowPresses = 0;
    m.firstNs = 0;
    m.lastNs = 0;
}

void MeterCount(ToolMeter& m, int presses, int64_t nowNs) {
    const int64_t total = m.presses.load() + presses;
    m.presses = total;
    m.lastNs = nowNs;
    if (m.firstNs == 0) {
        // The first round's presses open the window: the rate counts what comes after them.
        m.firstNs = m.windowStartNs = nowNs;
        m.windowPresses = total;
        return;
    }
    const int64_t sinceWindow = nowNs - m.windowStartNs;
    if (sinceWindow >= kMeterWindowNs) {
        m.perSecond = static_cast<double>(total - m.windowPresses) * 1e9 / static_cast<double>(sinceWindow);
        m.windowStartNs = nowNs;
        m.windowPresses = total;
    } else if (m.windowStartNs == m.firstNs && sinceWindow > 0) {
        m.perSecond = static_cast<double>(total - m.windowPresses) * 1e9 / static_cast<double>(sinceWindow);
    }
}
