// What the master needs of its window and of the desktop around it. Windows cross as opaque pointers;
// coordinates are top-left global points. All of it runs on the UI thread.
#pragma once

#include <functional>
#include <string>

// The window's outer frame and whether it is maximised; false when unknown.
bool PlatformGetWindowPlacement(void* window, int& x, int& y, int& width, int& height, bool& maximized);

// Puts a saved frame back on the screen that holds its corner (see PlaceRestoredWindow); nothing when no
// screen does.
void PlatformRestoreWindowPlacement(void* window, int x, int y, int width, int height, bool maximized);

// The page's request for a content size, capped to the screen (see ClampContentResize).
void PlatformResizeWindowClamped(void* window, int width, int height);

// Paints the window in the pages' background colour until its page draws, so that a new window never
// flashes the toolkit's light default first.
void PlatformSetWindowBackdrop(void* window);

void PlatformSetAlwaysOnTop(void* window, bool on);
void PlatformMinimize(void* window);

// Raises the window and gives it the focus.
void PlatformBringToFront(void* window);

// onGeometryChanged after the window moved or was resized (once it settles) and when it is about to close,
// while it still exists. onDestroyed once the toolkit destroys it (its close button, Ctrl+W): from then on
// nothing may use the window or its web view; the hooks themselves let go of it first.
void PlatformInstallLifecycleHooks(void* window, std::function<void()> onGeometryChanged,
                                   std::function<void()> onDestroyed = nullptr);

// onLocked when the screen locks or the session is switched away (the desktop's screen saver and the login
// manager say so over D-Bus). Callbacks come on the UI thread.
void PlatformInstallSessionLockHook(std::function<void()> onLocked);

// Ctrl+Q quits (onQuit), Ctrl+W closes the window, Ctrl+M minimises it.
void PlatformInstallWindowShortcuts(void* window, std::function<void()> onQuit);

// Calls onQuit on the UI thread when the process is asked to end (SIGTERM, SIGINT, SIGHUP).
void PlatformInstallQuitHandler(std::function<void()> onQuit);

// Keeps the main window above others, or lets it go.
void PlatformApplyAlwaysOnTop(bool on);

// Starts the program when the user logs in, or stops doing so.
void PlatformApplyLaunchOnStartup(bool on);

// Opens an address in the user's browser.
void PlatformOpenUrl(const std::string& url);

// A modal message box titled "Quorvane" with one OK button.
void PlatformShowAlert(const std::string& text);

// Closes an open message box or file chooser as if the user had cancelled it, so that a quit isn't held up
// by their wait for the user. Call on the UI thread.
void PlatformCloseOpenDialogs();
