// What the master needs of its window and of the desktop around it.
#pragma once

#include <functional>

// The window's place in screen points (top-left origin) and whether it is maximised; false when unknown.
bool PlatformGetWindowPlacement(void* window, int& x, int& y, int& width, int& height, bool& maximized);

// Raises the window and gives it the focus.
void PlatformBringToFront(void* window);

// Calls onQuit on the UI thread when the process is asked to end (SIGTERM, SIGINT, SIGHUP).
void PlatformInstallQuitHandler(std::function<void()> onQuit);

// Keeps the main window above others, or lets it go.
void PlatformApplyAlwaysOnTop(bool on);

// Starts the program when the user logs in, or stops doing so.
void PlatformApplyLaunchOnStartup(bool on);
