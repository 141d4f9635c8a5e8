#include "platform/FileOpen.h"

#include <cctype>

#include "core/Numbers.h"

std::vector<std::string> g_EarlyOpenedPaths;
OpenedFilesHandler g_OnFiles;

void DeliverOpenedFiles(const std::vector<std::string>& paths) {
    if (paths.empty()) return;
    if (g_OnFiles) {
        g_OnFiles(paths);
    } else {
        g_EarlyOpenedPaths.insert(g_EarlyOpenedPaths.end(), paths.begin(), paths.end());
    }
}

void InstallFileOpenHandler(OpenedFilesHandler handler) {
    if (g_OnFiles || !handler) return;
    g_OnFiles = std::move(handler);
    if (g_EarlyOpenedPaths.empty()) return;
    std::vector<std::string> early;
    early.swap(g_EarlyOpenedPaths);
    PlatformRunOnUiThread([early = std::move(early)] { g_OnFiles(early); });
}

void OpenFilesLater(std::vector<std::string> paths) {
    if (paths.empty()) return;
    PlatformRunOnUiThread([paths = std::move(paths)] { DeliverOpenedFiles(paths); });
}

namespace {

bool EndsWithLower(const std::string& path, const std::string& suffix) {
    if (path.size() < suffix.size()) return false;
    for (size_t i = 0; i < suffix.size(); ++i) {
        const unsigned char c = static_cast<unsigned char>(path[path.size() - suffix.size() + i]);
        if (std::tolower(c) != suffix[i]) return false;
    }
    return true;
}

}  // namespace

bool HasOpenableExtension(const std::string& path) {
    return EndsWithLower(path, ".qvnmacro") || EndsWithLower(path, ".qvntheme");
}

std::string OpenedPathFromArgument(const std::string& arg, const std::string& cwd) {
    if (arg.empty() || arg.find('\0') != std::string::npos) return "";
    const std::string scheme = "file://";
    if (arg.compare(0, scheme.size(), scheme) == 0) {
        std::string rest = arg.substr(scheme.size());
        if (rest.compare(0, 9, "localhost") == 0) rest.erase(0, 9);
        if (rest.empty() || rest[0] != '/') return "";  // another host's file
        std::string path;
        for (size_t i = 0; i < rest.size(); ++i) {
            if (rest[i] != '%') {
                path += rest[i];
                continue;
            }
            const int hi = i + 2 < rest.size() ? HexDigitValue(rest[i + 1]) : -1;
            const int lo = i + 2 < rest.size() ? HexDigitValue(rest[i + 2]) : -1;
            if (hi < 0 || lo < 0 || (hi == 0 && lo == 0)) return "";
            path += static_cast<char>(hi * 16 + lo);
            i += 2;
        }
        return path;
    }
    // Any other scheme ("http://...") is no local file.
    const size_t colon = arg.find("://");
    if (colon != std::string::npos && arg.find('/') > colon) return "";
    if (arg[0] == '/') return arg;
    if (cwd.empty()) return "";
    return cwd.back() == '/' ? cwd + arg : cwd + "/" + arg;
}
