#include "platform/Dialogs.h"
#include "platform/Window.h"

bool PlatformGetWindowPlacement(void*, int&, int&, int&, int&, bool&) { return false; }
void PlatformBringToFront(void*) {}
void PlatformInstallQuitHandler(std::function<void()>) {}
void PlatformApplyAlwaysOnTop(bool) {}

std::string g_FakeChosenPath;
std::string PlatformChooseFileToOpen(const std::string&) { return g_FakeChosenPath; }
std::string PlatformChooseSaveFile(const std::string&, const std::string&) { return g_FakeChosenPath; }
