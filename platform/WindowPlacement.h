// Where the main window goes: the rules, in top-left global coordinates, apart from any window system.
#pragma once

#include <optional>
#include <vector>

struct WindowRect {
    int x = 0, y = 0, w = 0, h = 0;
    friend bool operator==(const WindowRect&, const WindowRect&) = default;
};

struct ScreenArea {
    WindowRect frame;    // the whole screen
    WindowRect visible;  // less panels and docks
};

// A saved outer frame put back: on the first screen that holds its top-left corner, shrunk to that
// screen's visible area and raised so its bottom stays inside it; x is kept. None when no screen holds
// the corner (a display that has gone): the window stays where it is.
std::optional<WindowRect> PlaceRestoredWindow(const WindowRect& saved, const std::vector<ScreenArea>& screens);

// The page asks for a content size of w x h. The content height is capped so that the whole frame stays
// 20 points short of the visible height; the top edge stays unless the bottom would leave the visible
// area, in which case the bottom is pinned and the top moves up. Width is not capped. None when nothing
// should change.
std::optional<WindowRect> ClampContentResize(const WindowRect& frame, int decorationWidth, int decorationHeight,
                                             const WindowRect& visible, int w, int h);

// A pop-out panel's client area of w x h, asked with its corner at (x, y): centred in the visible area of
// the first screen when x or y is INT_MIN; otherwise moved as little as needed to lie within the visible
// area of the screen nearest to that corner (a window larger than the area keeps its top-left inside).
WindowRect PlaceChildWindow(int x, int y, int w, int h, const std::vector<ScreenArea>& screens);
