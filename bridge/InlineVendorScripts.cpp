#include "bridge/InlineVendorScripts.h"

#include "platform/Platform.h"

namespace {

struct OwnFile {
    const char* name;
    bool style;  // a stylesheet link rather than a script
};

constexpr OwnFile kFiles[] = {
    {"vendor/Sortable.min.js", false},
    {"timeline.js", false},
    {"timeline.css", true},
    {"page.css", true},
    {"page/bridge.js", false},
    {"page/themes.js", false},
    {"page/panels.js", false},
    {"page/tools.js", false},
    {"page/tracker.js", false},
    {"page/profiles.js", false},
    {"page/settings.js", false},
    {"page/boot.js", false},
};
constexpr size_t kMaxPageBytes = 2097152;

}  // namespace

std::string InlineVendorScripts(const std::string& html, const std::string& uiFolder) {
    std::string page = html;
    for (const OwnFile& file : kFiles) {
        const std::string name = file.name;
        const std::string tag =
            file.style ? "<link rel=\"stylesheet\" href=\"" + name + "\">" : "<script src=\"" + name + "\"></script>";
        const std::string open = file.style ? "<style>" : "<script>";
        const std::string close = file.style ? "</style>" : "</script>";
        const auto at = page.find(tag);
        if (at == std::string::npos) continue;
        const std::string content = ReadFile(uiFolder + "/" + name);
        if (content.empty()) continue;
        if (content.find(close) != std::string::npos) continue;
        const std::string block = open + content + close;
        if (page.size() - tag.size() + block.size() > kMaxPageBytes) continue;
        page.replace(at, tag.size(), block);
    }
    return page;
}
