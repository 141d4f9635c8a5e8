// The X11 side of a GTK 4 window, shared by the main window's and the pop-out panel's code. GTK 4 has no
// API for a window's position, keep-above or moves; these go through Xlib on the window's X id. UI thread.
#pragma once

#include <X11/Xlib.h>

#include <vector>

#include "platform/WindowPlacement.h"

struct XWin {
    Display* dpy = nullptr;  // GDK's own connection
    Window xid = 0;
};

// The X id of a GtkWindow that is realized on X11; dpy is null otherwise.
XWin XWindowOf(void* window);

// Left, right, top, bottom decoration sizes from the window manager; zero without one.
void FrameExtents(const XWin& w, long e[4]);

bool HasWindowManager(Display* dpy);

// The screens (monitors) of the window's display, with their work areas.
std::vector<ScreenArea> Screens(void* window);

// Moves the outer frame's top-left corner to (x, y) and sets the client size.
void MoveResizeFrame(void* window, const XWin& w, int x, int y, int clientW, int clientH);

// Moves the outer frame's top-left corner to (x, y), keeping the size: through the window manager when
// there is one (the caller knows, from HasWindowManager), else the window itself.
void MoveFrame(const XWin& w, int x, int y, bool viaWindowManager);

// Adds or removes one _NET_WM_STATE atom through the window manager.
void SendWmState(const XWin& w, bool add, const char* state);
