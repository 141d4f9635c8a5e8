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

std::string WrittenFileKey(const std::string& path, const std::string& text) {
    std::string key;
    key.reserve(path.size() + 1 + text.size());
    key += path;
    key += '\0';  // no path holds one
    key += text;
    return key;
}

bool WriteFileIfChanged(const std::string& path, const std::string& text, std::string& lastWritten) {
    const bool same = lastWritten.size() == path.size() + 1 + text.size() &&
                      lastWritten.compare(0, path.size(), path) == 0 && lastWritten[path.size()] == '\0' &&
                      lastWritten.compare(path.size() + 1, std::string::npos, text) == 0;
    if (same && PlatformFileExists(path)) return true;
    if (!WriteWholeFile(path, text)) return false;
    lastWritten = WrittenFileKey(path, text);
    return true;
}

std::string GetAppSettingsFilePath() { return PlatformDataDir() + "/appsettings.txt"; }
std::string GetTrackerStatusFilePath() { return PlatformDataDir() + "/status.txt"; }
std::string GetThemeFilePath() { return PlatformDataDir() + "/theme.txt"; }
std::string GetMacroEventsFilePath() { return PlatformDataDir() + "/macroevents.txt"; }
std::string GetPanelSettingsFilePath() { return PlatformDataDir() + "/panelsettings.txt"; }
std::string GetSessionStateFilePath() { return g_SessionStateFilePath; }
