// The desktop's file choosers. Both run on the UI thread and return "" when the user cancels.
#pragma once

#include <string>

std::string PlatformChooseFileToOpen(const std::string& extension);
std::string PlatformChooseSaveFile(const std::string& suggestedName, const std::string& extension);
