// Reading and writing the numbers of the text files, independent of the process locale (the window
// toolkit switches the C locale to the user's, which would turn "1.5" into "1,5").
#pragma once

#include <cstdint>
#include <string>

// Each reads a leading number and ignores what follows it, after optional leading white space and an
// optional sign, like the standard string-to-number functions in the "C" locale. False when no number
// starts the text or it doesn't fit the type.
bool ParseInt(const std::string& text, int32_t& out);
bool ParseLong(const std::string& text, int64_t& out);
bool ParseULong(const std::string& text, uint64_t& out);  // a leading minus wraps, as strtoul does
bool ParseDouble(const std::string& text, double& out);
bool ParseFloat(const std::string& text, float& out);

// Appends a number: integers in decimal, floating point in the shortest of fixed or exponent form with
// six significant digits (the default of a C++ output stream).
void AppendInt(std::string& out, int64_t v);
void AppendUInt(std::string& out, uint64_t v);
void AppendFloat(std::string& out, double v);
