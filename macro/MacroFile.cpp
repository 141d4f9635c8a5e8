#include "macro/MacroFile.h"

#include <cstdio>
#include <string_view>
#include <vector>

#include "core/Numbers.h"
#include "persist/EventLine.h"
#include "persist/Settings.h"
#include "platform/Platform.h"

namespace {

bool EndsWithIgnoringCase(const std::string& path, std::string_view suffix) {
    if (path.size() < suffix.size()) return false;
    const size_t start = path.size() - suffix.size();
    for (size_t i = 0; i < suffix.size(); ++i) {
        char c = path[start + i];
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
        if (c != suffix[i]) return false;
    }
    return true;
}

bool AllWholeInts(const std::vector<std::string>& fields, std::initializer_list<size_t> indexes) {
    for (size_t i : indexes) {
        int32_t v = 0;
        if (!ParseIntWhole(fields[i], v)) return false;
    }
    return true;
}

}  // namespace

bool HasQvnMacroExtension(const std::string& path) { return EndsWithIgnoringCase(path, ".qvnmacro"); }
bool HasMcrExtension(const std::string& path) { return EndsWithIgnoringCase(path, ".mcr"); }

std::string ProfileSettingsFromMacroSettingsLine(const std::string& line) {
    const std::vector<std::string> file = SplitString(line, ',');
    std::vector<std::string> out = SplitString(SerializeProfileSettings(), ',');
    out.resize(20);

    if (file.size() >= 23 && AllWholeInts(file, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10})) {
        for (size_t i = 0; i <= 10; ++i) out[i] = file[i];
    }
    // The Key Spammer hotkey (field 29) never travels.
    if (file.size() >= 31 && AllWholeInts(file, {23, 24, 25, 26, 27, 28, 30})) {
        const size_t from[] = {23, 24, 25, 26, 27, 28, 30};
        for (size_t k = 0; k < 7; ++k) out[11 + k] = file[from[k]];
    }
    if (file.size() >= 33) {
        out[18] = file[31];
        out[19].assign(1, file[32] == "1" ? '1' : '0');
    } else {
        out[18] = out[17];
        out[19].assign(1, '0');
    }

    std::string joined;
    for (size_t i = 0; i < out.size(); ++i) {
        if (i > 0) joined += ',';
        joined += out[i];
    }
    return joined;
}

std::string ParseMacroText(const std::string& text, MacroProfile& out) {
    // Lines as a stream's getline gives them, each with one trailing CR cut off.
    size_t pos = 0;
    const auto nextLine = [&text, &pos](std::string_view& line) {
        if (pos >= text.size()) return false;
        const size_t lf = text.find('\n', pos);
        const size_t end = lf == std::string::npos ? text.size() : lf;
        line = std::string_view(text).substr(pos, end - pos);
        if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
        pos = end + 1;
        return true;
    };

    std::string_view line;
    if (!nextLine(line) || line.empty()) return "That macro file is missing its profile name.";
    MacroProfile read;
    read.name = line;
    bool first = true;
    while (nextLine(line)) {
        if (first && line.substr(0, 9) == "SETTINGS:") {
            read.settings = ProfileSettingsFromMacroSettingsLine(std::string(line.substr(9)));
            first = false;
            continue;
        }
        first = false;
        if (line.empty()) continue;
        UnifiedEvent e;
        if (ParseEventLine(line, e, MissingScrollDelta::Zero)) read.events.push_back(e);
    }
    out = std::move(read);
    return "";
}

std::string ParseMacroFile(const std::string& path, MacroProfile& out) {
    std::string text;
    if (!ReadWholeFile(path, text)) return "Couldn't open that macro file.";
    return ParseMacroText(text, out);
}

std::string MacroFileText(const MacroProfile& profile) {
    std::string text = profile.name + "\nSETTINGS:" + SerializeSettings() + "\n";
    text.reserve(text.size() + profile.events.size() * 32);
    for (const UnifiedEvent& e : profile.events) {
        AppendEventLine(text, e);
        text += '\n';
    }
    return text;
}

void WriteMacroFile(const std::string& path, const MacroProfile& profile) {
    WriteWholeFile(path, MacroFileText(profile));
}
