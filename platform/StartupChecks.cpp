#include "platform/StartupChecks.h"

#include <cstdio>

#include "platform/Platform.h"

namespace {

constexpr const char* kRecordPrefix = "inputWorked=";
constexpr const char* kBootMarker = "__QVN_BOOT_MODE__";

const char* Bool(bool b) { return b ? "true" : "false"; }

}  // namespace

bool IsWebEngineTooOld(int major, int minor, int micro) {
    if (major <= 0 && minor <= 0 && micro <= 0) return false;
    const int version[3] = {major, minor, micro};
    for (int i = 0; i < 3; ++i) {
        if (version[i] != kWebEngineMinimum[i]) return version[i] < kWebEngineMinimum[i];
    }
    return false;
}

bool InputAccessUsable(const InputAccess& a) { return a.display && a.injection && a.events && !a.wayland; }

std::string DecideStartPage(bool engineTooOld, const std::function<bool()>& inputReady,
                            const std::function<bool()>& workedBefore) {
    if (engineTooOld) return "update";
    if (inputReady()) return "";
    return workedBefore() ? "reset" : "permissions";
}

bool InputWorkedBefore(const std::string& recordPath, const std::string& id) {
    if (id.empty()) return false;
    const std::string wanted = kRecordPrefix + id;
    const std::string text = ReadFile(recordPath);
    size_t start = 0;
    while (start < text.size()) {
        size_t end = text.find('\n', start);
        if (end == std::string::npos) end = text.size();
        if (text.compare(start, end - start, wanted) == 0) return true;
        start = end + 1;
    }
    return false;
}

bool CheckInputReady(const InputAccess& access, const std::string& recordPath, const std::string& id,
                     const std::function<bool()>& startTap) {
    if (!InputAccessUsable(access)) return false;
    // Written before the tap is tried and whatever it answers: a tap that fails now, in a session that
    // offers all it needs, is a change the next start should call by its name.
    if (!id.empty() && !InputWorkedBefore(recordPath, id)) {
        if (std::FILE* f = std::fopen(recordPath.c_str(), "ab")) {
            const std::string line = kRecordPrefix + id + "\n";
            std::fwrite(line.data(), 1, line.size(), f);
            std::fclose(f);
        }
    }
    return startTap();
}

std::string BootPageDocument(const std::string& text, const std::string& mode) {
    const size_t at = text.find(kBootMarker);
    if (at == std::string::npos) return "";
    std::string out = text;
    out.replace(at, std::char_traits<char>::length(kBootMarker), mode);
    return out;
}

std::string PermissionStatusJson(const InputAccess& a, bool ready) {
    const bool input = ready || (a.injection && a.events);
    std::string missing;
    const auto add = [&missing](bool absent, const char* word) {
        if (!absent) return;
        if (!missing.empty()) missing += ",";
        missing += std::string("\"") + word + "\"";
    };
    add(!a.display, "display");
    add(a.display && !a.injection, "xtest");
    add(a.display && !a.events, "xinput");
    add(a.wayland, "wayland");
    add(a.display && !a.repeats, "record");
    return std::string("{\"accessibility\":") + Bool(a.display) + ",\"input\":" + Bool(input) +
           ",\"ready\":" + Bool(ready) + ",\"missing\":[" + missing + "]}";
}

std::vector<DrawingSetting> DrawingSettings(bool directRendering, const std::function<bool(const char*)>& isSet) {
    std::vector<DrawingSetting> settings;
    if (directRendering) return settings;
    if (!isSet("WEBKIT_SKIA_ENABLE_CPU_RENDERING")) settings.push_back({"WEBKIT_SKIA_ENABLE_CPU_RENDERING", "1"});
    if (!isSet("WEBKIT_DISABLE_COMPOSITING_MODE") && !isSet("WEBKIT_FORCE_COMPOSITING_MODE")) {
        settings.push_back({"WEBKIT_DISABLE_COMPOSITING_MODE", "1"});
    }
    if (!isSet("GSK_RENDERER")) settings.push_back({"GSK_RENDERER", "cairo"});
    return settings;
}

std::string GetInputRecordFilePath() { return PlatformDataDir() + "/inputaccess.txt"; }
