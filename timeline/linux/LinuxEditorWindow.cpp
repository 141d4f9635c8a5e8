// The editor's GTK 4 window on X11: size, place, close guard.
#include <X11/Xlib.h>
#include <gdk/x11/gdkx.h>
#include <gtk/gtk.h>

#include <algorithm>
#include <functional>

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

struct Centre {
    int x, y;
};

// Once mapped, the window goes to the middle of the work area (GTK 4 has no call for a position).
void OnMapCentre(GtkWidget* widget, gpointer data) {
    const auto* at = static_cast<Centre*>(data);
    GdkSurface* surface = gtk_native_get_surface(GTK_NATIVE(widget));
    if (surface && GDK_IS_X11_SURFACE(surface)) {
        Display* dpy = gdk_x11_display_get_xdisplay(gdk_surface_get_display(surface));
        XMoveWindow(dpy, gdk_x11_surface_get_xid(surface), at->x, at->y);
        XFlush(dpy);
    }
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
    if (area.width > 0) {
        auto* at = new Centre{area.x + (area.width - width) / 2,
                              area.y + std::max(0, (area.height - height - kTitleBarHeight) / 2)};
        g_signal_connect_data(
            widget, "map", G_CALLBACK(OnMapCentre), at,
            [](gpointer data, GClosure*) { delete static_cast<Centre*>(data); }, G_CONNECT_AFTER);
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
