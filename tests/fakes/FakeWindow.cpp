#include "platform/Window.h"

bool PlatformGetWindowPlacement(void*, int&, int&, int&, int&, bool&) { return false; }
void PlatformBringToFront(void*) {}
void PlatformInstallQuitHandler(std::function<void()>) {}
void PlatformApplyAlwaysOnTop(bool) {}
void PlatformApplyLaunchOnStartup(bool) {}
