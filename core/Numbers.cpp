#include "core/Numbers.h"

#include <charconv>

namespace {

bool IsSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r'; }

// Start of the number: past white space and a plus sign (from_chars takes a minus but no plus).
const char* NumberStart(std::string_view text, bool& negative) {
    const char* p = text.data();
    const char* end = p + text.size();
    while (p < end && IsSpace(*p)) ++p;
    negative = p < end && *p == '-';
    if (p < end && *p == '+' && p + 1 < end && *(p + 1) != '-' && *(p + 1) != '+') ++p;
    return p;
}

template <class T>
bool ParseInteger(std::string_view text, T& out) {
    bool negative = false;
    const char* p = NumberStart(text, negative);
    T v{};
    const auto r = std::from_chars(p, text.data() + text.size(), v, 10);
    if (r.ec != std::errc()) return false;
    out = v;
    return true;
}

template <class T>
bool ParseFloating(std::string_view text, T& out) {
    bool negative = false;
    const char* p = NumberStart(text, negative);
    T v{};
    const auto r = std::from_chars(p, text.data() + text.size(), v, std::chars_format::general);
    if (r.ec != std::errc()) return false;
    out = v;
    return true;
}

}  // namespace

bool ParseInt(std::string_view text, int32_t& out) { return ParseInteger(text, out); }

bool ParseIntWhole(std::string_view text, int32_t& out) {
    bool negative = false;
    const char* p = NumberStart(text, negative);
    const char* end = text.data() + text.size();
    int32_t v = 0;
    const auto r = std::from_chars(p, end, v, 10);
    if (r.ec != std::errc() || r.ptr != end) return false;
    out = v;
    return true;
}
bool ParseLong(std::string_view text, int64_t& out) { return ParseInteger(text, out); }

bool ParseULong(std::string_view text, uint64_t& out) {
    bool negative = false;
    const char* p = NumberStart(text, negative);
    if (negative) ++p;
    uint64_t v = 0;
    const auto r = std::from_chars(p, text.data() + text.size(), v, 10);
    if (r.ec != std::errc()) return false;
    out = negative ? 0 - v : v;
    return true;
}

bool ParseDouble(std::string_view text, double& out) { return ParseFloating(text, out); }
bool ParseFloat(std::string_view text, float& out) { return ParseFloating(text, out); }

char* WriteInt(char* buf, int64_t v) { return std::to_chars(buf, buf + 32, v).ptr; }
char* WriteUInt(char* buf, uint64_t v) { return std::to_chars(buf, buf + 32, v).ptr; }
char* WriteFloat(char* buf, double v) { return std::to_chars(buf, buf + 32, v, std::chars_format::general, 6).ptr; }

void AppendInt(std::string& out, int64_t v) {
    char buf[32];
    out.append(buf, WriteInt(buf, v));
}

void AppendUInt(std::string& out, uint64_t v) {
    char buf[32];
    out.append(buf, WriteUInt(buf, v));
}

void AppendFloat(std::string& out, double v) {
    char buf[32];
    out.append(buf, WriteFloat(buf, v));
}
