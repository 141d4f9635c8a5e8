// The documents that tell every page what the engine is doing, built key by key so the order is exact.
#pragma once

#include <string>

// The tools' settings: {"sh":0,"sm":0,...,"holdKeySpam":false}. Takes no lock.
std::string BuildSettingsJson();
