#include "platform/WindowPlacement.h"

#include <algorithm>

std::optional<WindowRect> PlaceRestoredWindow(const WindowRect& saved, const std::vector<ScreenArea>& screens) {
    if (saved.w < 1 || saved.h < 1) return std::nullopt;
    for (const ScreenArea& s : screens) {
        // The corner is tested against the screen grown by a point on every side, so that a window saved
        // flush against an edge still counts as on it.
        const WindowRect& f = s.frame;
        const bool holds =
            saved.x >= f.x - 1 && saved.x < f.x + f.w + 1 && saved.y >= f.y - 1 && saved.y < f.y + f.h + 1;
        if (!holds) continue;
        WindowRect r;
        r.w = std::min(saved.w, s.visible.w);
        r.h = std::min(saved.h, s.visible.h);
        r.x = saved.x;
        r.y = std::min(saved.y, s.visible.y + s.visible.h - r.h);
        return r;
    }
    return std::nullopt;
}

std::optional<WindowRect> ClampContentResize(const WindowRect& frame, int decorationWidth, int decorationHeight,
                                             const WindowRect& visible, int w, int h) {
    if (w < 1 || h < 1) return std::nullopt;
    const int largest = visible.h - 20 - decorationHeight;
    if (largest <= 0) return std::nullopt;
    WindowRect r;
    r.x = frame.x;
    r.w = w + decorationWidth;
    r.h = std::min(h, largest) + decorationHeight;
    r.y = frame.y;
    if (r.y + r.h > visible.y + visible.h) r.y = visible.y + visible.h - r.h;
    return r;
}
