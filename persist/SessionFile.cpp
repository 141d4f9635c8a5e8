#include "persist/SessionFile.h"

#include <chrono>
#include <thread>

#include "core/AppState.h"

// The file's reader and writer are not part of this build yet: every start begins with the default
// profile, and saving writes nothing.
bool LoadSessionState() { return false; }
void SaveSessionState() {}
void SnapshotActiveProfileSettings() {}

void EnsureDefaultProfileExists() {
    std::lock_guard<std::mutex> lock(profileMutex);
    for (const auto& p : profiles) {
        if (p.name == kDefaultProfileName) return;
    }
    const bool hadProfiles = !profiles.empty();
    profiles.insert(profiles.begin(), MacroProfile{kDefaultProfileName, "", {}});
    if (hadProfiles) ++currentProfileIdx;
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
