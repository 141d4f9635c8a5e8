#include "persist/SessionFile.h"

#include <chrono>
#include <cstdio>
#include <string_view>
#include <thread>
#include <vector>

#include "core/AppState.h"
#include "core/Numbers.h"
#include "persist/EventLine.h"
#include "persist/Settings.h"
#include "platform/Platform.h"

namespace {

bool StartsWith(std::string_view s, std::string_view prefix) { return s.substr(0, prefix.size()) == prefix; }

// Walks the lines as a stream's getline gives them: cut at LF, a CR kept, no empty line after a final LF.
class LineReader {
public:
    explicit LineReader(std::string_view text) : text_(text) {}
    bool Next(std::string_view& line) {
        if (pos_ >= text_.size()) return false;
        const size_t lf = text_.find('\n', pos_);
        const size_t end = lf == std::string_view::npos ? text_.size() : lf;
        line = text_.substr(pos_, end - pos_);
        pos_ = end + 1;
        return true;
    }

private:
    std::string_view text_;
    size_t pos_ = 0;
};

}  // namespace

std::string BuildSessionText() {
    std::string text = "SETTINGS:" + SerializeSettings() + "\n";
    std::unique_lock<std::mutex> lock(profileMutex, std::try_to_lock);
    if (!lock.owns_lock()) return "";
    size_t events = 0;
    for (const MacroProfile& p : profiles) events += p.events.size();
    text.reserve(text.size() + events * 32 + profiles.size() * 160);
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
    WriteWholeFile(GetSessionStateFilePath(), text);
}

bool LoadSessionState() {
    const std::string path = GetSessionStateFilePath();
    if (!PlatformFileExists(path)) return false;
    return LoadSessionStateFromText(ReadFile(path));
}

bool LoadSessionStateFromText(const std::string& text) {
    LineReader lines(text);
    std::string_view line;
    if (!lines.Next(line) || !StartsWith(line, "SETTINGS:")) return false;
    DeserializeSettings(std::string(line.substr(9)));

    int32_t current = 0;
    if (lines.Next(line)) {  // the second line is consumed whatever it holds
        if (!StartsWith(line, "CURRENT:") || !ParseInt(line.substr(8), current)) current = 0;
    }

    std::vector<MacroProfile> read;
    while (lines.Next(line)) {
        if (line.empty()) continue;
        if (StartsWith(line, "PROFILE:")) {
            read.push_back(MacroProfile{std::string(line.substr(8)), "", {}});
        } else if (read.empty()) {
            continue;
        } else if (StartsWith(line, "PROFILESETTINGS:")) {
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
