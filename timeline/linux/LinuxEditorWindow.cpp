// The editor's GTK 4 window on X11: size, place, close guard.
#include <X11/Xlib.h>
#include <gdk/x11/gdkx.h>
#include <gtk/gtk.h>

#include <algorithm>
#include <functional>

#include "platform/linux/LinuxX11Window.h"
#include "timeline/EditorProcess.h"

namespace {

// Room for the window manager's title bar, which the content size doesn't include.
constexpr int kTitleBarHeight = 38;

// The first monitor's work area (less panels and docks where the desktop says so).
bool VisibleArea(GtkWidget* widget, GdkRectangle& area) {
    GdkDisplay* display = gtk_widget_get_display(widget);
    GListModel* monitors = gdk_display_get_monitors(display);
    if (g_list_model_get_n_items(monitors) == 0) return false;
    auto* monitor = GDK_MONITOR(g_list_model_get_item(monitors, 0));
    gdk_monitor_get_geometry(monitor, &area);
    if (GDK_IS_X11_MONITOR(monitor)) gdk_x11_monitor_get_workarea(monitor, &area);
    g_object_unref(monitor);
    return area.width > 0 && area.height > 0;
}

struct Centring {
    GtkWidget* window;  // a reference held until done
    int width, height;  // the content size asked for (the allocation may not have caught up yet)
    int tries = 0;
};

// Puts the window's outer frame in the middle of the work area. GTK 4 has no call for a position, and a
// window manager frames a window only after it maps, so this runs once the frame's decorations are known
// (checked every 100 ms, for up to 2 s) and asks the window manager to move the frame there, leaving
// its size alone.
gboolean CentreWhenFramed(gpointer data) {
    auto* c = static_cast<Centring*>(data);
    GtkWidget* widget = c->window;
    GdkRectangle area{0, 0, 0, 0};
    const XWin w = XWindowOf(widget);
    if (w.dpy && gtk_widget_get_mapped(widget) && !gtk_window_is_maximized(GTK_WINDOW(widget)) &&
        VisibleArea(widget, area)) {
        long e[4];
        FrameExtents(w, e);
        if (e[0] + e[1] + e[2] + e[3] == 0 && HasWindowManager(w.dpy) && ++c->tries < 20) return G_SOURCE_CONTINUE;
        const int frameW = c->width + static_cast<int>(e[0] + e[1]);
        const int frameH = c->height + static_cast<int>(e[2] + e[3]);
        MoveFrame(w, area.x + std::max(0, (area.width - frameW) / 2), area.y + std::max(0, (area.height - frameH) / 2),
                  HasWindowManager(w.dpy));
    }
    g_object_unref(widget);
    delete c;
    return G_SOURCE_REMOVE;
}

void OnMapCentre(GtkWidget* widget, gpointer data) {
    g_signal_handlers_disconnect_by_func(widget, reinterpret_cast<gpointer>(OnMapCentre), data);
    g_timeout_add(100, CentreWhenFramed, data);
}

gboolean OnCloseRequest(GtkWindow*, gpointer data) {
    const auto* allow = static_cast<std::function<bool()>*>(data);
    return (*allow)() ? FALSE : TRUE;  // TRUE keeps the window open
}

}  // namespace

void PlatformSetUpTimelineWindow(void* window, int width, int height, bool zoomed, int minWidth, int minHeight) {
    if (!window) return;
    GtkWidget* widget = GTK_WIDGET(window);
    GdkRectangle area{0, 0, 0, 0};
    if (VisibleArea(widget, area)) {
        width = std::min(width, area.width);
        height = std::min(height, area.height - kTitleBarHeight);
    }
    width = std::max(width, minWidth);
    height = std::max(height, minHeight);
    gtk_widget_set_size_request(widget, minWidth, minHeight);
    gtk_window_set_default_size(GTK_WINDOW(window), width, height);
    if (area.width > 0 && !zoomed) {
        // The web view may have shown the window already.
        auto* centring = new Centring{GTK_WIDGET(g_object_ref(widget)), width, height};
        if (gtk_widget_get_mapped(widget)) {
            OnMapCentre(widget, centring);
        } else {
            g_signal_connect_after(widget, "map", G_CALLBACK(OnMapCentre), centring);
        }
    }
    if (zoomed && !gtk_window_is_maximized(GTK_WINDOW(window))) gtk_window_maximize(GTK_WINDOW(window));
    gtk_window_present(GTK_WINDOW(window));
}

void PlatformInstallCloseGuard(void* window, std::function<bool()> allowClose) {
    if (!window) return;
    auto* allow = new std::function<bool()>(std::move(allowClose));  // lives as long as the window
    g_signal_connect(window, "close-request", G_CALLBACK(OnCloseRequest), allow);
}

bool PlatformGetWindowContentSize(void* window, int& width, int& height, bool& zoomed) {
    if (!window) return false;
    GtkWidget* widget = GTK_WIDGET(window);
    zoomed = gtk_window_is_maximized(GTK_WINDOW(window));
    width = gtk_widget_get_width(widget);
    height = gtk_widget_get_height(widget);
    if (zoomed) {
        // A maximised window keeps the size it had before, for when it is restored.
        int w = 0, h = 0;
        gtk_window_get_default_size(GTK_WINDOW(window), &w, &h);
        if (w > 0 && h > 0) {
            width = w;
            height = h;
        }
    }
    return width > 0 && height > 0;
}
