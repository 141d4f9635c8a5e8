#include "platform/WindowPlacement.h"

#include <algorithm>
#include <climits>

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

WindowRect PlaceChildWindow(int x, int y, int w, int h, const std::vector<ScreenArea>& screens) {
    if (screens.empty()) return {x == INT_MIN ? 0 : x, y == INT_MIN ? 0 : y, w, h};
    if (x == INT_MIN || y == INT_MIN) {
        const WindowRect& v = screens[0].visible;
        return {v.x + (v.w - w) / 2, v.y + (v.h - h) / 2, w, h};
    }
    // How far the corner is from an area, as a squared distance (0 inside it).
    const auto distance = [x, y](const WindowRect& r) {
        const long long dx = x < r.x ? r.x - x : (x >= r.x + r.w ? x - (r.x + r.w - 1) : 0);
        const long long dy = y < r.y ? r.y - y : (y >= r.y + r.h ? y - (r.y + r.h - 1) : 0);
        return dx * dx + dy * dy;
    };
    const ScreenArea* best = &screens[0];
    for (const ScreenArea& s : screens) {
        if (distance(s.frame) < distance(best->frame)) best = &s;
    }
    const WindowRect& v = best->visible;
    const int left = std::max(v.x, std::min(x, v.x + v.w - w));
    const int top = std::max(v.y, std::min(y, v.y + v.h - h));
    return {left, top, w, h};
}
