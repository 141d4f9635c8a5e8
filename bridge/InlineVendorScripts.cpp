#include "bridge/InlineVendorScripts.h"

#include "platform/Platform.h"

namespace {

constexpr const char* kFiles[] = {"vendor/Sortable.min.js", "timeline.js"};
constexpr size_t kMaxPageBytes = 2097152;

}  // namespace

std::string InlineVendorScripts(const std::string& html, const std::string& uiFolder) {
    std::string page = html;
    for (const char* file : kFiles) {
        const std::string tag = std::string("<script src=\"") + file + "\"></script>";
        const auto at = page.find(tag);
        if (at == std::string::npos) continue;
        const std::string content = ReadFile(uiFolder + "/" + file);
        if (content.empty()) continue;
        if (content.find("</script>") != std::string::npos) continue;
        const std::string block = "<script>" + content + "</script>";
        if (page.size() - tag.size() + block.size() > kMaxPageBytes) continue;
        page.replace(at, tag.size(), block);
    }
    return page;
}
