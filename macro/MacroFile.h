// The ".qvnmacro" exchange format: a profile's name, an optional settings line and its event lines.
#pragma once

#include <string>

#include "core/AppState.h"

// Reads a macro file. Returns "" and fills out on success, else the message for the user (out untouched).
// Never writes a live setting: the file's setup goes into out.settings.
std::string ParseMacroFile(const std::string& path, MacroProfile& out);
std::string ParseMacroText(const std::string& text, MacroProfile& out);  // the same, from the bytes

// Writes the profile with the live global settings line; a file that can't be opened is skipped.
void WriteMacroFile(const std::string& path, const MacroProfile& profile);
std::string MacroFileText(const MacroProfile& profile);

// The profile settings string that a macro's "SETTINGS:" text (behind the prefix) gives this machine:
// the file's Spammer and Key Spammer setup where its fields are whole integers, the importer's otherwise.
std::string ProfileSettingsFromMacroSettingsLine(const std::string& line);

bool HasQvnMacroExtension(const std::string& path);
bool HasMcrExtension(const std::string& path);
