// The text line of one UnifiedEvent: eight comma-separated fields, shared by the session file and the
// macro files.
#pragma once

#include <string>
#include <string_view>

#include "core/AppState.h"

// Appends the event's line, without a line end.
void AppendEventLine(std::string& out, const UnifiedEvent& e);

// What the reader makes of a line that ends before its eighth field.
enum class MissingScrollDelta {
    RepeatLastField,  // the session file: the last field the line has stands for every missing one
    Zero,             // macro files: scrollDelta 0
};

// Reads a line into e. False, leaving e alone, when a field doesn't read as its number. A line that ends
// early repeats its last field for the missing ones (the field reader keeps its text when nothing is
// left), except that macro files read a missing eighth field as 0.
bool ParseEventLine(std::string_view line, UnifiedEvent& e, MissingScrollDelta missing);
