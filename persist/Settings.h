// The two settings strings: the whole global setup (36 fields) and a profile's Spammer and Key Spammer
// setup (20 fields). Readers go by field count, so every older shape still reads.
#pragma once

#include <string>
#include <vector>

std::string SerializeSettings();
std::string SerializeProfileSettings();
std::string SerializeKeySpamTargetList();  // "32|65"; empty for an empty list

// Assign the live variables from such strings. Numbers read in groups: a field that doesn't parse ends
// its group, keeping what the group assigned before it.
void DeserializeSettings(const std::string& text);
void DeserializeProfileSettings(const std::string& text);
void DeserializeKeySpamTargetList(const std::string& text);

// The default Spammer and Key Spammer setup; leaves targets 1 and up as they are.
void ResetSpammerKeySpamDefaults();

// Cuts at each separator like a stream's line reader: "" gives nothing, a trailing separator adds no empty
// piece, an empty piece between two separators stays.
std::vector<std::string> SplitString(const std::string& text, char separator);
