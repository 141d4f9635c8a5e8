#include "app/Master.h"
#include "bridge/InlineVendorScripts.h"
#include "platform/Platform.h"

namespace {

constexpr const char* kMissingPage = "<h2>Error loading UI</h2><p>ui/index.html is missing from the app bundle.</p>";

}  // namespace

std::string MainUiDocument(const std::string& resourceDir) {
    if (resourceDir.empty()) return kMissingPage;
    const std::string folder = resourceDir + "/ui";
    const std::string page = ReadFile(folder + "/index.html");
    if (page.empty()) return kMissingPage;
    return InlineVendorScripts(page, folder);
}
