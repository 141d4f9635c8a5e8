// Any text as a theme file: the validator never crashes, what it admits holds only the admitted shapes,
// and every failure says why.
#include <cstddef>
#include <cstdint>
#include <string>

#include "core/BindArgs.h"
#include "themes/ThemeFile.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    CustomThemeDef def;
    std::string error;
    int pieces = -1;
    bool hasFont = false;
    if (ValidateQvnThemeData(text, def, &error, &pieces, &hasFont)) {
        if (!error.empty() || !IsValidThemeName(def.name) || !IsValidThemeFont(def.font)) __builtin_trap();
        for (const std::string* colour :
             {&def.bgMain, &def.bgPanel, &def.bgHeader, &def.accent, &def.accentHover, &def.text}) {
            if (!IsValidThemeColor(*colour)) __builtin_trap();
        }
        if (def.hasSkin != (pieces > 0 || hasFont)) __builtin_trap();
    } else if (error.empty()) {
        __builtin_trap();
    }

    // Strict base64 decodes to three bytes per four characters, less the padding.
    if (IsStrictBase64(text)) {
        const size_t padding = text.size() - text.find_last_not_of('=') - 1;
        if (Base64Decode(text).size() != text.size() / 4 * 3 - padding) __builtin_trap();
    }
    EnumerateJsonObjectKeys(text);
    const JsonObjectView object = JsonReadObject(text);
    if (!object.ok && !object.members.empty()) __builtin_trap();
    return 0;
}
