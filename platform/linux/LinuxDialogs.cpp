#include "platform/Dialogs.h"

// The GTK choosers come with the window shell; until then every choice is a cancel.
std::string PlatformChooseFileToOpen(const std::string&) { return ""; }
std::string PlatformChooseSaveFile(const std::string&, const std::string&) { return ""; }
