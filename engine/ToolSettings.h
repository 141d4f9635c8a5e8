// What the Spammer and the Key Spammer share: the interval rule and the reading of the page's settings text.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

// The wait after a round, in whole milliseconds: hours, minutes, seconds and milliseconds summed in double
// precision, raised to 1 when below, rounded up. Never less than 1 ms, whatever the fields hold.
double ToolIntervalMs(int32_t hours, int32_t mins, int32_t secs, int32_t ms);

// Reads the first `count` comma-separated decimal fields of `text` into `out`. Each field is what a
// stream's integer reader accepts: leading blanks, a sign, digits, and anything after the digits ignored.
// False, with `out` untouched, when there are fewer fields or one of them isn't such a number in range.
bool ParseDecimalFields(const std::string& text, int count, int32_t* out);

// Checks a tool's interval parts (hours, minutes, seconds, milliseconds) and its repeat count against their
// ranges. Empty when they hold; otherwise the refusal, "<name>: the hours must be ...".
std::string IntervalRefusal(const char* name, const int32_t* parts, int32_t repeatTimes);

// What a tool really did in its present run, or in its last one once it has stopped: the presses it made
// (clicks for the Spammer, a double click being two; keys for the Key Spammer, a chord of three being three)
// and the rate they came at, measured over the last half second or more. The tool's thread writes it, the
// status document reads it.
struct ToolMeter {
    std::atomic<int64_t> presses{0};
    std::atomic<double> perSecond{0.0};
    // The tool thread's own.
    int64_t windowStartNs = 0;
    int64_t windowPresses = 0;
    int64_t firstNs = 0;
    int64_t lastNs = 0;
};
extern ToolMeter g_SpammerMeter, g_KeySpamMeter;

// The steady clock in nanoseconds, for MeterCount.
int64_t ToolClockNs();

// A run begins: the count starts from 0.
void MeterRunStarts(ToolMeter& m);
// A round made `presses` presses at `nowNs` (steady clock). Updates the rate once half a second has passed
// since the last update; until then (a short run) the rate is the average since the first round.
void MeterCount(ToolMeter& m, int presses, int64_t nowNs);
