#include <cstdio>

#include "core/AppState.h"
#include "platform/Platform.h"

bool ReadWholeFile(const std::string& path, std::string& out) {
    // stdio rather than a stream: a read error (a folder, a vanished mount) must end in false, not a throw.
    std::FILE* f = std::fopen(path.c_str(), "rb");
    if (!f) return false;
    std::string text;
    char buf[65536];
    size_t n;
    while ((n = std::fread(buf, 1, sizeof buf, f)) > 0) text.append(buf, n);
    const bool failed = std::ferror(f) != 0;
    std::fclose(f);
    if (failed) return false;
    out = std::move(text);
    return true;
}

std::string ReadFile(const std::string& path) {
    std::string text;
    return ReadWholeFile(path, text) ? text : "";
}

void WriteWholeFile(const std::string& path, const std::string& text) {
    std::FILE* f = std::fopen(path.c_str(), "wb");
    if (!f) return;
    std::fwrite(text.data(), 1, text.size(), f);
    std::fclose(f);
}

std::string GetAppSettingsFilePath() { return PlatformDataDir() + "/appsettings.txt"; }
std::string GetTrackerStatusFilePath() { return PlatformDataDir() + "/status.txt"; }
std::string GetThemeFilePath() { return PlatformDataDir() + "/theme.txt"; }
std::string GetMacroEventsFilePath() { return PlatformDataDir() + "/macroevents.txt"; }
std::string GetPanelSettingsFilePath() { return PlatformDataDir() + "/panelsettings.txt"; }
std::string GetSessionStateFilePath() { return g_SessionStateFilePath; }
