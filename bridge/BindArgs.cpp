#include "bridge/BindArgs.h"

std::string ParseJSString(const std::string& raw) {
    std::string out;
    out.reserve(raw.size());
    for (char c : raw) {
        if (c != '[' && c != ']' && c != '"') out += c;
    }
    return out;
}
