#include "bridge/BindArgs.h"

#include <cstdint>

std::string ParseJSString(const std::string& raw) {
    std::string out;
    out.reserve(raw.size());
    for (char c : raw) {
        if (c != '[' && c != ']' && c != '"') out += c;
    }
    return out;
}

std::string JsonEscapeForBind(const std::string& text) {
    static constexpr char kHex[] = "0123456789abcdef";
    std::string out;
    out.reserve(text.size() + 2);
    out += '"';
    for (size_t i = 0; i < text.size();) {
        // Skin data reach the page through here: plain runs are copied whole.
        const size_t run = JsonPlainRun(text.data() + i, text.size() - i);
        out.append(text, i, run);
        i += run;
        if (i == text.size()) break;
        const char c = text[i++];
        switch (c) {
            case '"': out += "\\\""; break;
            case '\\': out += "\\\\"; break;
            case '\b': out += "\\b"; break;
            case '\f': out += "\\f"; break;
            case '\n': out += "\\n"; break;
            case '\r': out += "\\r"; break;
            case '\t': out += "\\t"; break;
            default:
                out += "\\u00";
                out += kHex[(c >> 4) & 0xF];
                out += kHex[c & 0xF];
        }
    }
    out += '"';
    return out;
}

std::string BindMessage(const std::string& message) { return message.empty() ? "" : JsonEscapeForBind(message); }
namespace {

void AppendUtf8(std::string& out, uint32_t cp) {
    if (cp < 0x80) {
        out += static_cast<char>(cp);
    } else if (cp < 0x800) {
        out += static_cast<char>(0xC0 | (cp >> 6));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    } else if (cp < 0x10000) {
        out += static_cast<char>(0xE0 | (cp >> 12));
        out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (cp >> 18));
        out += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    }
}

bool Hex4(const std::string& s, size_t at, uint32_t& v) {
    if (at + 4 > s.size()) return false;
    v = 0;
    for (size_t i = at; i < at + 4; ++i) {
        const char c = s[i];
        v <<= 4;
        if (c >= '0' && c <= '9') {
            v |= static_cast<uint32_t>(c - '0');
        } else if (c >= 'a' && c <= 'f') {
            v |= static_cast<uint32_t>(c - 'a' + 10);
        } else if (c >= 'A' && c <= 'F') {
            v |= static_cast<uint32_t>(c - 'A' + 10);
        } else {
            return false;
        }
    }
    return true;
}

}  // namespace

bool JsonFirstStringArg(const std::string& args, std::string& out) {
    size_t i = 0;
    const auto skipSpace = [&] {
        while (i < args.size() && (args[i] == ' ' || args[i] == '\t' || args[i] == '\n' || args[i] == '\r')) ++i;
    };
    skipSpace();
    if (i >= args.size() || args[i] != '[') return false;
    ++i;
    skipSpace();
    if (i >= args.size() || args[i] != '"') return false;
    ++i;
    std::string text;
    while (i < args.size()) {
        const char c = args[i++];
        if (c == '"') {
            out = std::move(text);
            return true;
        }
        if (c != '\\') {
            text += c;
            continue;
        }
        if (i >= args.size()) return false;
        const char e = args[i++];
        switch (e) {
            case '"': text += '"'; break;
            case '\\': text += '\\'; break;
            case '/': text += '/'; break;
            case 'b': text += '\b'; break;
            case 'f': text += '\f'; break;
            case 'n': text += '\n'; break;
            case 'r': text += '\r'; break;
            case 't': text += '\t'; break;
            case 'u': {
                uint32_t cp = 0;
                if (!Hex4(args, i, cp)) return false;
                i += 4;
                if (cp >= 0xD800 && cp < 0xDC00) {  // a surrogate pair makes one code point
                    uint32_t low = 0;
                    if (i + 6 <= args.size() && args[i] == '\\' && args[i + 1] == 'u' && Hex4(args, i + 2, low) &&
                        low >= 0xDC00 && low < 0xE000) {
                        cp = 0x10000 + ((cp - 0xD800) << 10) + (low - 0xDC00);
                        i += 6;
                    } else {
                        cp = 0xFFFD;
                    }
                } else if (cp >= 0xDC00 && cp < 0xE000) {
                    cp = 0xFFFD;
                }
                AppendUtf8(text, cp);
                break;
            }
            default: return false;
        }
    }
    return false;
}
