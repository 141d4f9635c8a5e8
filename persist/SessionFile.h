// The session file: profiles, macros and tool settings that outlive a run.
#pragma once

// Reads g_SessionStateFilePath into the profiles and settings; false when there was nothing to read.
bool LoadSessionState();

// Writes the profiles and settings to g_SessionStateFilePath.
void SaveSessionState();

// Makes sure a profile named kDefaultProfileName exists, keeping the same profile current.
void EnsureDefaultProfileExists();

// Stores the per-profile settings text in the active profile.
void SnapshotActiveProfileSettings();

// Thread body: a save every five seconds while the app runs, none after it stops.
void SessionAutosaveThread();
