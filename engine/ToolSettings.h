// What the Spammer and the Key Spammer share: the interval rule and the reading of the page's settings text.
#pragma once

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
