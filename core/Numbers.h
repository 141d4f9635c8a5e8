// Reading and writing the numbers of the text files, independent of the process locale (the window
// toolkit switches the C locale to the user's, which would turn "1.5" into "1,5").
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

// Each reads a leading number and ignores what follows it, after optional leading white space and an
// optional sign, like the standard string-to-number functions in the "C" locale. False when no number
// starts the text or it doesn't fit the type.
bool ParseInt(std::string_view text, int32_t& out);
bool ParseLong(std::string_view text, int64_t& out);
bool ParseULong(std::string_view text, uint64_t& out);  // a leading minus wraps, as strtoul does
bool ParseDouble(std::string_view text, double& out);
bool ParseFloat(std::string_view text, float& out);

// As ParseInt, but the number must run to the end of the text (leading white space and a sign allowed).
bool ParseIntWhole(std::string_view text, int32_t& out);

// The value of one hexadecimal digit (either case), or -1 for any other character.
inline int HexDigitValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

// Appends a number: integers in decimal, floating point in the shortest of fixed or exponent form with
// six significant digits (the default of a C++ output stream).
void AppendInt(std::string& out, int64_t v);
void AppendUInt(std::string& out, uint64_t v);
void AppendFloat(std::string& out, double v);

// Writes a number into buf (room for 32 characters) and returns the end; the forms are those above.
char* WriteInt(char* buf, int64_t v);
char* WriteUInt(char* buf, uint64_t v);
char* WriteFloat(char* buf, double v);
