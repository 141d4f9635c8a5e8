#include "persist/SessionFile.h"

#include <chrono>
#include <cstdio>
#include <thread>
#include <vector>

#include "core/AppState.h"
#include "persist/EventLine.h"
#include "persist/Numbers.h"
#include "persist/Settings.h"
#include "platform/Platform.h"

namespace {

bool StartsWith(const std::string& s, const char* prefix, size_t n) { return s.compare(0, n, prefix) == 0; }

// Lines as a stream's getline gives them: cut at LF, a CR kept, no empty line after a final LF.
std::vector<std::string> Lines(const std::string& text) { return SplitString(text, '\n'); }

}  // namespace

std::string BuildSessionText() {
    std::string text = "SETTINGS:" + SerializeSettings() + "\n";
    std::unique_lock<std::mutex> lock(profileMutex, std::try_to_lock);
    if (!lock.owns_lock()) return "";
    text += "CURRENT:";
    AppendInt(text, currentProfileIdx);
    text += '\n';
    for (const MacroProfile& p : profiles) {
        text += "PROFILE:" + p.name + "\n";
        if (!p.settings.empty()) text += "PROFILESETTINGS:" + p.settings + "\n";
        for (const UnifiedEvent& e : p.events) {
            AppendEventLine(text, e);
            text += '\n';
        }
    }
    return text;
}

void SaveSessionState() {
    const std::string text = BuildSessionText();
    if (text.empty()) return;  // the recorder, the player or the tap holds the profiles: next time
    std::FILE* f = std::fopen(GetSessionStateFilePath().c_str(), "wb");
    if (!f) return;
    std::fwrite(text.data(), 1, text.size(), f);
    std::fclose(f);
}

bool LoadSessionState() {
    const std::string path = GetSessionStateFilePath();
    if (!PlatformFileExists(path)) return false;
    return LoadSessionStateFromText(ReadFile(path));
}

bool LoadSessionStateFromText(const std::string& text) {
    const std::vector<std::string> lines = Lines(text);
    if (lines.empty() || !StartsWith(lines[0], "SETTINGS:", 9)) return false;
    DeserializeSettings(lines[0].substr(9));

    int32_t current = 0;
    size_t next = 1;
    if (lines.size() > 1) {
        if (!StartsWith(lines[1], "CURRENT:", 8) || !ParseInt(lines[1].substr(8), current)) current = 0;
        next = 2;  // the second line is consumed whatever it holds
    }

    std::vector<MacroProfile> read;
    for (size_t i = next; i < lines.size(); ++i) {
        const std::string& line = lines[i];
        if (line.empty()) continue;
        if (StartsWith(line, "PROFILE:", 8)) {
            read.push_back(MacroProfile{line.substr(8), "", {}});
        } else if (read.empty()) {
            continue;
        } else if (StartsWith(line, "PROFILESETTINGS:", 16)) {
            read.back().settings = line.substr(16);
        } else {
            UnifiedEvent e;
            if (ParseEventLine(line, e, MissingScrollDelta::RepeatLastField)) read.back().events.push_back(e);
        }
    }
    if (read.empty()) return false;

    std::lock_guard<std::mutex> lock(profileMutex);
    profiles = std::move(read);
    currentProfileIdx = current >= 0 && static_cast<size_t>(current) < profiles.size() ? current : 0;
    MacroProfile& active = profiles[static_cast<size_t>(currentProfileIdx)];
    if (active.settings.empty()) active.settings = SerializeProfileSettings();
    return true;
}

void EnsureDefaultProfileExists() {
    std::lock_guard<std::mutex> lock(profileMutex);
    for (const auto& p : profiles) {
        if (p.name == kDefaultProfileName) return;
    }
    const bool hadProfiles = !profiles.empty();
    profiles.insert(profiles.begin(), MacroProfile{kDefaultProfileName, "", {}});
    if (hadProfiles) ++currentProfileIdx;
}

void SnapshotActiveProfileSettings() {
    const std::string text = SerializeProfileSettings();
    std::lock_guard<std::mutex> lock(profileMutex);
    if (currentProfileIdx >= 0 && static_cast<size_t>(currentProfileIdx) < profiles.size()) {
        profiles[static_cast<size_t>(currentProfileIdx)].settings = text;
    }
}

void SessionAutosaveThread() {
    if (!g_AppRunning) return;
    int steps = 0;
    while (g_AppRunning) {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        if (!g_AppRunning) break;
        if (++steps >= 50) {
            steps = 0;
            SaveSessionState();
        }
    }
}
