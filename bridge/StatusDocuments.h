// The documents that tell every page what the engine is doing, built key by key so the order is exact.
#pragma once

#include <string>

// The tools' settings: {"sh":0,"sm":0,...,"holdKeySpam":false}. Takes no lock.
std::string BuildSettingsJson();

// What the engine is doing, for every page. The caller holds profileMutex (the macro's length is read).
// `restore` is inserted as it stands: the JSON array of panels that have come home.
std::string BuildTrackerStatusJson(const std::string& restore);

// The main page's poll: collects the panels whose processes have ended (the "restore" list), builds the
// status document, and rewrites the status and event list files that companion processes read.
std::string BindGetTrackerStatus();
