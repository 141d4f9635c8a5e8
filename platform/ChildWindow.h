// The window of a pop-out panel process: frameless, kept above the others, dragged by its page's header
// and docked by dropping it on the main window. All of it runs on the panel's UI thread.
#pragma once

#include <climits>
#include <functional>

// First thing in a panel process: remembers the process that started it (the master), so that the
// panel can end when the master is gone.
void PlatformPrepareChildProcess();

// Makes `window` frameless and keeps it above other windows, with a client area of width x height whose
// top-left corner is at (x, y) in global points, kept on a screen; x or y INT_MIN centres it on the
// primary screen. Raises and focuses it once it shows.
void PlatformSetUpChildWindow(void* window, int x, int y, int width, int height);

// Moves `window` with the pointer while the left button stays down, as a move by its title bar would.
// overTarget(x, y) is asked at each motion with the pointer's global point; onHover is called whenever
// its answer changes. Returns true when the button was released over the target, after a last
// onHover(false); false when it was released elsewhere, when the button wasn't down to begin with, or
// when the master went away meanwhile. Runs its own loop: the window's event loop waits until it ends.
bool PlatformRunChildWindowDrag(void* window, const std::function<bool(int, int)>& overTarget,
                                const std::function<void(bool)>& onHover);

// Calls `callback` on the UI thread whenever the master says themes changed (SIGUSR1), also for a signal
// that arrived, and was held back, before this was called.
void PlatformOnThemesChangedSignal(std::function<void()> callback);

// Calls onGone on the UI thread, once, when the master that started this process has ended (checked
// every quarter of a second).
void PlatformWatchMaster(std::function<void()> onGone);
