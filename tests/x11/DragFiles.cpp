// A drag source for the window tests: a small window titled "qvn drag source" whose label, dragged, offers
// the files named on the command line as a file list (GTK also offers it as text/uri-list to X drop
// targets). The files to offer are re-read from the file given as the first argument at each drag, one path
// per line, so one window serves a test's several drags.
#include <gtk/gtk.h>

#include <fstream>
#include <string>

namespace {

const char* g_ListFile = nullptr;

GdkContentProvider* OnPrepare(GtkDragSource*, double, double, gpointer) {
    GSList* files = nullptr;
    std::ifstream in(g_ListFile);
    for (std::string line; std::getline(in, line);) {
        if (!line.empty()) files = g_slist_append(files, g_file_new_for_path(line.c_str()));
    }
    GdkFileList* list = gdk_file_list_new_from_list(files);
    g_slist_free_full(files, g_object_unref);
    GdkContentProvider* provider = gdk_content_provider_new_typed(GDK_TYPE_FILE_LIST, list);
    g_boxed_free(GDK_TYPE_FILE_LIST, list);
    return provider;
}

void OnDragEnd(GtkDragSource*, GdkDrag*, gboolean, gpointer) { g_print("drag-end\n"); }

void OnActivate(GtkApplication* app, gpointer) {
    GtkWidget* window = gtk_application_window_new(app);
    gtk_window_set_title(GTK_WINDOW(window), "qvn drag source");
    gtk_window_set_default_size(GTK_WINDOW(window), 200, 120);
    GtkWidget* label = gtk_label_new("drag me");
    GtkDragSource* source = gtk_drag_source_new();
    gtk_drag_source_set_actions(source, GDK_ACTION_COPY);
    g_signal_connect(source, "prepare", G_CALLBACK(OnPrepare), nullptr);
    g_signal_connect(source, "drag-end", G_CALLBACK(OnDragEnd), nullptr);
    gtk_widget_add_controller(label, GTK_EVENT_CONTROLLER(source));
    gtk_window_set_child(GTK_WINDOW(window), label);
    gtk_window_present(GTK_WINDOW(window));
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) return 2;
    g_ListFile = argv[1];
    GtkApplication* app = gtk_application_new(nullptr, G_APPLICATION_NON_UNIQUE);
    g_signal_connect(app, "activate", G_CALLBACK(OnActivate), nullptr);
    char* args[] = {argv[0], nullptr};
    const int rc = g_application_run(G_APPLICATION(app), 1, args);
    g_object_unref(app);
    return rc;
}
