#include "persist/SessionFile.h"

#include <chrono>
#include <cstdio>
#include <mutex>
#include <string_view>
#include <thread>
#include <vector>

#include "core/AppState.h"
#include "core/Notices.h"
#include "core/Numbers.h"
#include "core/Wake.h"
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

namespace {

// The "CURRENT:" line and every profile; the caller holds profileMutex.
void AppendProfilesText(std::string& text) {
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
}

}  // namespace

std::string BuildSessionText() {
    std::string text = "SETTINGS:" + SerializeSettings() + "\n";
    std::unique_lock<std::mutex> lock(profileMutex, std::try_to_lock);
    if (!lock.owns_lock()) return "";
    AppendProfilesText(text);
    return text;
}

namespace {

// Guards the two below, and makes the autosave and the final save write one at a time.
std::mutex g_SaveMutex;
// What the last save that reached the disk wrote, so that an unchanged session isn't written again.
std::string g_LastSavedText;
// A file that could not be read whole and could not be set aside either: it is never written over.
std::string g_HeldBackPath;

bool WriteSessionText(const std::string& text) {
    std::lock_guard<std::mutex> lock(g_SaveMutex);
    const std::string path = GetSessionStateFilePath();
    if (path == g_HeldBackPath) return false;
    return WriteFileIfChanged(path, text, g_LastSavedText);
}

}  // namespace

void SaveSessionState() {
    const std::string text = BuildSessionText();
    if (text.empty()) return;  // the recorder, the player or the tap holds the profiles: next time
    WriteSessionText(text);
}

bool SaveSessionStateAtExit(std::chrono::milliseconds patience) {
    std::string text = "SETTINGS:" + SerializeSettings() + "\n";
    // profileMutex is a plain mutex (the tap and the recorder hold it only briefly): retried every
    // millisecond rather than waited on without an end.
    const auto deadline = std::chrono::steady_clock::now() + patience;
    std::unique_lock<std::mutex> lock(profileMutex, std::try_to_lock);
    while (!lock.owns_lock()) {
        if (std::chrono::steady_clock::now() >= deadline) {
            std::fprintf(stderr, "Quorvane: the profiles stayed busy for %lld ms at exit; the last save was skipped\n",
                         static_cast<long long>(patience.count()));
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        lock.try_lock();
    }
    AppendProfilesText(text);
    lock.unlock();
    return WriteSessionText(text);
}

bool LoadSessionState() {
    const std::string path = GetSessionStateFilePath();
    if (!PlatformFileExists(path)) return false;
    std::string text;
    bool whole = false;
    const bool loaded = ReadWholeFile(path, text) && LoadSessionStateFromText(text, &whole);
    std::lock_guard<std::mutex> lock(g_SaveMutex);
    if (whole) {
        g_LastSavedText = WrittenFileKey(path, text);
        return loaded;
    }
    const std::string aside = PlatformSetFileAside(path);
    if (aside.empty()) {
        g_HeldBackPath = path;
        PostUserNotice("The session file " + path +
                       " could not be read whole and could not be moved aside either. Quorvane leaves it "
                       "untouched and will not save this session until it is moved or repaired.");
    } else {
        PostUserNotice(
            std::string(loaded ? "Part of the session file could not be read" : "The session file could not be read") +
            ", so Quorvane started from " + (loaded ? "the parts it could read" : "the defaults") +
            ". The old file is kept unchanged as " + aside + ".");
    }
    std::fprintf(stderr, "Quorvane: the session file could not be read whole; %s\n",
                 aside.empty() ? "it is left as it is and not saved over" : ("kept as " + aside).c_str());
    return loaded;
}

bool LoadSessionStateFromText(const std::string& text, bool* readWhole) {
    // Nothing is lost by an empty file; anything else must come through line by line.
    bool whole = text.empty();
    if (readWhole) *readWhole = whole;
    LineReader lines(text);
    std::string_view line;
    if (!lines.Next(line) || !StartsWith(line, "SETTINGS:")) return false;
    DeserializeSettings(std::string(line.substr(9)));

    int32_t current = 0;
    if (lines.Next(line)) {  // the second line is consumed whatever it holds
        if (!StartsWith(line, "CURRENT:") || !ParseInt(line.substr(8), current)) current = 0;
    }

    std::vector<MacroProfile> read;
    bool dropped = false;
    while (lines.Next(line)) {
        if (line.empty()) continue;
        if (StartsWith(line, "PROFILE:")) {
            read.push_back(MacroProfile{std::string(line.substr(8)), "", {}});
        } else if (read.empty()) {
            dropped = true;
        } else if (StartsWith(line, "PROFILESETTINGS:")) {
            read.back().settings = line.substr(16);
        } else {
            UnifiedEvent e;
            if (ParseEventLine(line, e, MissingScrollDelta::RepeatLastField)) {
                read.back().events.push_back(e);
            } else {
                dropped = true;
            }
        }
    }
    // Every save writes at least one profile: a file without one was cut short or isn't ours.
    if (readWhole) *readWhole = !dropped && !read.empty();
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

namespace {

WakeEvent g_AutosaveWake;

}  // namespace

void SessionAutosaveThread() {
    // One wake-up per save, not a look every tenth of a second: the app's end wakes it at once.
    while (g_AppRunning) {
        WaitForWakeAtMost(g_AutosaveWake, 5000);
        if (g_AppRunning) SaveSessionState();
    }
}

void WakeSessionAutosave() { Wake(g_AutosaveWake); }
