#include "input/Keys.h"

namespace {

const char* FixedKeyName(int vk) {
    switch (vk) {
        case 8: return "Delete";
        case 9: return "Tab";
        case 12:
        case 144: return "Clear";
        case 13: return "Return";
        case 16:
        case 160: return "Shift";
        case 161: return "Right Shift";
        case 17:
        case 162: return "Control";
        case 163: return "Right Control";
        case 18:
        case 164: return "Option";
        case 165: return "Right Option";
        case 20: return "Caps Lock";
        case 27: return "Esc";
        case 32: return "Space";
        case 33: return "Page Up";
        case 34: return "Page Down";
        case 35: return "End";
        case 36: return "Home";
        case 37: return "Left";
        case 38: return "Up";
        case 39: return "Right";
        case 40: return "Down";
        case 45:
        case 47: return "Help";
        case 46: return "Forward Delete";
        case 91: return "Command";
        case 92: return "Right Command";
        case 106: return "Num *";
        case 107: return "Num +";
        case 109: return "Num -";
        case 110: return "Num .";
        case 111: return "Num /";
        case 173: return "Mute";
        case 174: return "Volume Down";
        case 175: return "Volume Up";
        default: return nullptr;
    }
}

const char* PunctuationDefault(int vk) {
    switch (vk) {
        case 186: return ";";
        case 187: return "=";
        case 188: return ",";
        case 189: return "-";
        case 190: return ".";
        case 191: return "/";
        case 219: return "[";
        case 220: return "Backslash";
        case 221: return "]";
        case 222: return "'";
        case 226: return "Section";
        default: return nullptr;
    }
}

}  // namespace

void BuildKeyLookup(const KeyRow* rows, int count, KeyLookup& out) {
    for (auto& cell : out.forward) cell = -1;
    for (int i = 0; i < count; ++i) {
        const unsigned vk = static_cast<unsigned>(rows[i].vk);
        if (vk < 256 && out.forward[vk] == -1) out.forward[vk] = rows[i].code;
    }
}

int FirstVkForCode(const KeyRow* rows, int count, uint32_t code) {
    for (int i = 0; i < count; ++i) {
        if (rows[i].code == code) return rows[i].vk;
    }
    return 0;
}

std::string FilterLayoutChar(const std::string& text) {
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x21 || c == '"' || c == '\\') return "";
    }
    return text;
}

std::string GetKeyName(int vk) {
    switch (vk) {
        case 1: return "Left Mouse";
        case 2: return "Right Mouse";
        case 4: return "Middle Mouse";
        case 5: return "Mouse 4 (Side)";
        case 6: return "Mouse 5 (Side)";
        case 192: return "`";  // taken out of the layout step on purpose
        default: break;
    }
    if (vk >= 112 && vk <= 135) return "F" + std::to_string(vk - 111);
    if (vk >= 96 && vk <= 105) return "Num " + std::to_string(vk - 96);
    if (const char* fixed = FixedKeyName(vk)) return fixed;
    std::string printed = PlatformLayoutCharForVk(vk);
    if (!printed.empty()) return printed;
    if ((vk >= 65 && vk <= 90) || (vk >= 48 && vk <= 57)) return std::string(1, static_cast<char>(vk));
    if (const char* punctuation = PunctuationDefault(vk)) return punctuation;
    std::string unknown = "Key[";  // built in steps: GCC 12 warns falsely on the chained form
    unknown += std::to_string(vk);
    unknown += ']';
    return unknown;
}
