// Where the program keeps its files, where its pages are, one master per user, and the small file
// operations that the rest of the system uses.
#pragma once

#include <string>

// The private data folder, created on first use with mode 0700 (an existing looser one is tightened).
// Computed once; safe from any thread.
const std::string& PlatformDataDir();

// The folder that holds the pages ("ui/", "boot/"), beside the executable; empty when there is none (the
// working folder is never tried).
std::string PlatformResourceDir();

// The folder for temporary files, ending in the path separator.
std::string PlatformTempDir();

bool PlatformFileExists(const std::string& path);
// Copies the data only, through a temporary file renamed over `to`: a copy that fails part-way leaves the
// old `to` as it was.
bool PlatformCopyFile(const std::string& from, const std::string& to);
bool PlatformDeleteFile(const std::string& path);
const char* PlatformPathSeparator();

// The whole file, bytes as they are; empty when it can't be opened.
std::string ReadFile(const std::string& path);

// The same, telling a file that can't be read (false) from an empty one.
bool ReadWholeFile(const std::string& path, std::string& out);

// Writes the text to a temporary file in the same folder, flushes it to disk and renames it over `path`:
// whatever happens meanwhile (a kill, a full disk), `path` holds either its old text or the new one, never a
// part. False when the new text could not be put in place; the old file is then untouched.
bool WriteWholeFile(const std::string& path, const std::string& text);

// WriteWholeFile, skipped when this path was last given this text and the file is still there.
// `lastWritten` is the caller's memory of it (WrittenFileKey of the last write that succeeded).
bool WriteFileIfChanged(const std::string& path, const std::string& text, std::string& lastWritten);
std::string WrittenFileKey(const std::string& path, const std::string& text);

// Renames `path` aside to "<path>.unreadable-<UTC time>", with a number added if that name is taken, and
// returns the new path; empty when the rename failed.
std::string PlatformSetFileAside(const std::string& path);

// Removes the temporary files that a write cut short by a kill left in `dir`.
void PlatformRemoveStaleTempFiles(const std::string& dir);

// Fixed files of the data folder.
std::string GetAppSettingsFilePath();
std::string GetTrackerStatusFilePath();
std::string GetThemeFilePath();
std::string GetMacroEventsFilePath();
std::string GetPanelSettingsFilePath();
std::string GetThemesDirPath();  // creates the folder (0700) on each call
std::string GetSessionStateFilePath();

// Takes dir + "/instance.lock" for the life of the process. False only when another process holds it; a
// lock file that can't be opened lets the program start.
bool LockInstanceFile(const std::string& dir);

// Once per process: true when this is the user's only master. Called before any thread starts.
bool PlatformAcquireSingleInstanceLock();

// Brings the running master's window forward.
void PlatformActivateOtherInstance();

// Brings the window of process `pid` forward (the Timeline Editor's, for one).
void PlatformActivateProcess(int pid);

// True when pid is a live process running this same executable.
bool PlatformProcessIsThisApp(int pid);

int PlatformProcessId();
// The process that started this one (for a companion process, its master).
int PlatformParentProcessId();

// Starts this executable again as a pop-out panel: argv is the executable, "--child", arg, with this
// environment. The themes-changed signal stays blocked in the new process until it can take it. The pid,
// or 0 on failure.
int PlatformSpawnChild(const std::string& arg);

// Sends signal `sig` to a companion process.
void PlatformSignalChild(int pid, int sig);

// True once a companion process started by this one has ended (it is reaped then); also for a pid that
// isn't our child.
bool PlatformChildHasExited(int pid);
