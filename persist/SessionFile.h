// The session file: profiles, macros and tool settings that outlive a run.
#pragma once

#include <string>

// Writes the settings, the current index and every profile to g_SessionStateFilePath, straight to the
// final name. Skipped silently when another thread holds profileMutex or the file can't be opened.
void SaveSessionState();

// The file's text as SaveSessionState writes it; empty when profileMutex is held elsewhere.
std::string BuildSessionText();

// Reads g_SessionStateFilePath: the settings line is applied at once; true when at least one profile
// was read, and then the profiles are replaced. Runs before the workers start.
bool LoadSessionState();
bool LoadSessionStateFromText(const std::string& text);

// Makes sure a profile named kDefaultProfileName exists, keeping the same profile current.
void EnsureDefaultProfileExists();

// Stores the per-profile settings text in the active profile.
void SnapshotActiveProfileSettings();

// Thread body: a save every five seconds while the app runs, none after it stops.
void SessionAutosaveThread();
