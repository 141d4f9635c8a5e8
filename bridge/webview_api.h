// Declarations of the webview 0.12 C API, as exported by
// libwebview.so.0.12 (webview-bun@2.4.0, build/libwebview-x64.so).
// The library ships no header of its own; these match its exports.
#pragma once
#ifdef __cplusplus
extern "C" {
#endif

typedef void* webview_t;

typedef enum {
    WEBVIEW_HINT_NONE = 0,  // width/height are the default size
    WEBVIEW_HINT_MIN = 1,   // minimum bounds
    WEBVIEW_HINT_MAX = 2,   // maximum bounds
    WEBVIEW_HINT_FIXED = 3  // not resizable by the user
} webview_hint_t;

typedef enum {
    WEBVIEW_NATIVE_HANDLE_KIND_UI_WINDOW = 0,          // GtkWindow*
    WEBVIEW_NATIVE_HANDLE_KIND_UI_WIDGET = 1,          // GtkWidget*
    WEBVIEW_NATIVE_HANDLE_KIND_BROWSER_CONTROLLER = 2  // WebKitWebView*
} webview_native_handle_kind_t;

typedef enum {
    WEBVIEW_ERROR_MISSING_DEPENDENCY = -5,
    WEBVIEW_ERROR_CANCELED = -4,
    WEBVIEW_ERROR_INVALID_STATE = -3,
    WEBVIEW_ERROR_INVALID_ARGUMENT = -2,
    WEBVIEW_ERROR_UNSPECIFIED = -1,
    WEBVIEW_ERROR_OK = 0,
    WEBVIEW_ERROR_DUPLICATE = 1,
    WEBVIEW_ERROR_NOT_FOUND = 2
} webview_error_t;

typedef struct {
    unsigned int major;
    unsigned int minor;
    unsigned int patch;
} webview_version_t;

typedef struct {
    webview_version_t version;
    char version_number[32];
    char pre_release[48];
    char build_metadata[48];
} webview_version_info_t;

typedef void (*webview_dispatch_fn)(webview_t w, void* arg);
typedef void (*webview_bind_fn)(const char* id, const char* req, void* arg);

webview_t webview_create(int debug, void* window);
webview_error_t webview_destroy(webview_t w);
webview_error_t webview_run(webview_t w);
webview_error_t webview_terminate(webview_t w);
webview_error_t webview_dispatch(webview_t w, webview_dispatch_fn fn, void* arg);
void* webview_get_window(webview_t w);
void* webview_get_native_handle(webview_t w, webview_native_handle_kind_t kind);
webview_error_t webview_set_title(webview_t w, const char* title);
webview_error_t webview_set_size(webview_t w, int width, int height, webview_hint_t hints);
webview_error_t webview_navigate(webview_t w, const char* url);
webview_error_t webview_set_html(webview_t w, const char* html);
webview_error_t webview_init(webview_t w, const char* js);
webview_error_t webview_eval(webview_t w, const char* js);
webview_error_t webview_bind(webview_t w, const char* name, webview_bind_fn fn, void* arg);
webview_error_t webview_unbind(webview_t w, const char* name);
webview_error_t webview_return(webview_t w, const char* id, int status, const char* result);
const webview_version_info_t* webview_version(void);

#ifdef __cplusplus
}
#endif
