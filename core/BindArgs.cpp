#include "core/BindArgs.h"

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
