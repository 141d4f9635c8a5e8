#include <cstdio>

#include "core/AppState.h"
#include "platform/Platform.h"

std::string ReadFile(const std::string& path) {
    // stdio rather than a stream: a read error (a folder, a vanished mount) must end in "", not a throw.
    std::FILE* f = std::fopen(path.c_str(), "rb");
    if (!f) return "";
    std::string text;
    char buf[65536];
    size_t n;
    while ((n = std::fread(buf, 1, sizeof buf, f)) > 0) text.append(buf, n);
    const bool failed = std::ferror(f) != 0;
    std::fclose(f);
    return failed ? "" : text;
}

std::string GetAppSettingsFilePath() { return PlatformDataDir() + "/appsettings.txt"; }
std::string GetTrackerStatusFilePath() { return PlatformDataDir() + "/status.txt"; }
std::string GetThemeFilePath() { return PlatformDataDir() + "/theme.txt"; }
std::string GetMacroEventsFilePath() { return PlatformDataDir() + "/macroevents.txt"; }
std::string GetPanelSettingsFilePath() { return PlatformDataDir() + "/panelsettings.txt"; }
std::string GetSessionStateFilePath() { return g_SessionStateFilePath; }
