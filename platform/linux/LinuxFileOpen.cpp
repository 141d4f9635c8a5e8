#include <gtk/gtk.h>
#include <limits.h>
#include <unistd.h>
#include <webkit/webkit.h>

#include "platform/FileOpen.h"
#include "platform/Window.h"

namespace {

gboolean RunQueued(gpointer data) {
    auto* fn = static_cast<std::function<void()>*>(data);
    (*fn)();
    return G_SOURCE_REMOVE;
}

void DeleteQueued(gpointer data) { delete static_cast<std::function<void()>*>(data); }

gboolean OnDrop(GtkDropTarget*, const GValue* value, double, double, gpointer data) {
    if (!G_VALUE_HOLDS(value, GDK_TYPE_FILE_LIST)) return FALSE;
    std::vector<std::string> paths;
    GSList* files = gdk_file_list_get_files(static_cast<GdkFileList*>(g_value_get_boxed(value)));
    for (GSList* l = files; l; l = l->next) {
        char* path = g_file_get_path(G_FILE(l->data));  // null for a file that isn't local
        if (path) paths.emplace_back(path);
        g_free(path);
    }
    g_slist_free(files);
    // Answered as taken in every case: a refused file drop would fall through to the web view, which loads it.
    if (!paths.empty()) (*static_cast<OpenedFilesHandler*>(data))(paths);
    return TRUE;
}

// The document the program loads has no address of its own ("about:blank"): every navigation is refused
// but that one, and web addresses go to the browser instead. New windows are refused too.
gboolean OnDecidePolicy(WebKitWebView*, WebKitPolicyDecision* decision, WebKitPolicyDecisionType type, gpointer) {
    if (type == WEBKIT_POLICY_DECISION_TYPE_RESPONSE) return FALSE;
    auto* navigation = WEBKIT_NAVIGATION_POLICY_DECISION(decision);
    WebKitNavigationAction* action = webkit_navigation_policy_decision_get_navigation_action(navigation);
    const char* uri = webkit_uri_request_get_uri(webkit_navigation_action_get_request(action));
    const std::string address = uri ? uri : "";
    if (type == WEBKIT_POLICY_DECISION_TYPE_NAVIGATION_ACTION && address == "about:blank" &&
        webkit_navigation_action_get_navigation_type(action) != WEBKIT_NAVIGATION_TYPE_RELOAD) {
        return FALSE;
    }
    if (webkit_navigation_action_is_user_gesture(action) &&
        (address.rfind("https://", 0) == 0 || address.rfind("http://", 0) == 0)) {
        PlatformOpenUrl(address);
    }
    webkit_policy_decision_ignore(decision);
    return TRUE;
}

}  // namespace

void PlatformRunOnUiThread(std::function<void()> fn) {
    g_idle_add_full(G_PRIORITY_DEFAULT, RunQueued, new std::function<void()>(std::move(fn)), DeleteQueued);
}

std::string PlatformCurrentDirectory() {
    char buf[PATH_MAX];
    return getcwd(buf, sizeof buf) ? std::string(buf) : std::string();
}

void PlatformInstallFileDrop(void* window, OpenedFilesHandler onDrop) {
    if (!window) return;
    GtkDropTarget* target = gtk_drop_target_new(GDK_TYPE_FILE_LIST, GDK_ACTION_COPY);
    g_signal_connect_data(
        target, "drop", G_CALLBACK(OnDrop), new OpenedFilesHandler(std::move(onDrop)),
        [](gpointer data, GClosure*) { delete static_cast<OpenedFilesHandler*>(data); }, GConnectFlags(0));
    // On the window in the capture phase: the target sees a file drag before the web view's own handling,
    // and takes it from there.
    gtk_event_controller_set_propagation_phase(GTK_EVENT_CONTROLLER(target), GTK_PHASE_CAPTURE);
    gtk_widget_add_controller(GTK_WIDGET(window), GTK_EVENT_CONTROLLER(target));
}

void PlatformKeepPageInView(void* webview) {
    if (!webview || !WEBKIT_IS_WEB_VIEW(webview)) return;
    g_signal_connect(webview, "decide-policy", G_CALLBACK(OnDecidePolicy), nullptr);
}
