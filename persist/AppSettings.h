// The application settings file, "key=value" lines, and the one-line files that companion processes read.
#pragma once

#include <string>
#include <vector>

void LoadAppSettings();
void LoadAppSettingsFromText(const std::string& text);
void SaveAppSettings();
std::string BuildAppSettingsText();

// The five panels of the main window.
bool IsKnownPanelId(const std::string& id);

// Known ids separated by commas, empty pieces skipped; false (out untouched) on an unknown or repeated id.
bool ParsePanelOrder(const std::string& text, std::vector<std::string>& out);

// Page bindings. Each takes the bridge's argument array text and returns the JSON result ("" for none).
std::string BindGetAppSettings();  // also marks the main page as ready
std::string BindSetAppSetting(const std::string& arg);
std::string BindMarkWarningSeen(const std::string& arg);
std::string BindSetPanelOrder(const std::string& arg);

// One-line files: each reader returns the file's first line, or the default when it is missing or empty.
void SaveTrackerStatusToFile(const std::string& text);
std::string LoadTrackerStatusFromFile();
void SaveThemeToFile(const std::string& key);
std::string LoadThemeFromFile();
void SaveMacroEventsToFile(const std::string& text);
std::string LoadMacroEventsFromFile();

extern const char* const kIdleTrackerStatus;
