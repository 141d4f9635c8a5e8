// The session file: profiles, macros and tool settings that outlive a run.
#pragma once

#include <chrono>
#include <string>

// Writes the settings, the current index and every profile to g_SessionStateFilePath, through a temporary
// file renamed into place. Skipped when another thread holds profileMutex (the next autosave comes in five
// seconds), when the text is the one last written, and when the file on disk could not be read at start
// and could not be set aside.
void SaveSessionState();

// The save at exit: waits up to `patience` for profileMutex instead of giving up at once, and says so on
// stderr when it gives up. True when the session is on disk.
bool SaveSessionStateAtExit(std::chrono::milliseconds patience);

// The file's text as SaveSessionState writes it; empty when profileMutex is held elsewhere.
std::string BuildSessionText();

// Reads g_SessionStateFilePath: the settings line is applied at once; true when at least one profile
// was read, and then the profiles are replaced. Runs before the workers start. A file that can't be read
// whole (unreadable, not a session, no profile, a line that doesn't read) is renamed aside with
// PlatformSetFileAside, and the page is told once where it went; what could be read is kept.
bool LoadSessionState();

// The reading itself; `readWhole`, when given, tells whether every line was taken (an empty text counts).
bool LoadSessionStateFromText(const std::string& text, bool* readWhole = nullptr);

// Makes sure a profile named kDefaultProfileName exists, keeping the same profile current.
void EnsureDefaultProfileExists();

// Stores the per-profile settings text in the active profile.
void SnapshotActiveProfileSettings();

// Thread body: a save every five seconds while the app runs, none after it stops. WakeSessionAutosave,
// after g_AppRunning was cleared, ends its wait at once.
void SessionAutosaveThread();
void WakeSessionAutosave();
