#include "bridge/WebView.h"

#include "bridge/DirectCalls.h"
#include "bridge/webview_api.h"
#include "core/BindArgs.h"
#include "platform/Window.h"

struct WebView::Binding {
    WebView* owner;
    SyncFn sync;
    AsyncFn async;
};

namespace {

// No exception may cross the library's C frames: a failing binding rejects the page's promise. 0 with the
// result's JSON, 1 with the failure's sentence.
int RunSync(const WebView::SyncFn& fn, const std::string& args, std::string& result) {
    try {
        result = fn(args);
        return 0;
    } catch (const std::exception& e) {
        result = e.what();
    } catch (...) {
        result = "internal error";
    }
    return 1;
}

void OnBoundCall(const char* id, const char* req, void* arg) {
    auto* b = static_cast<WebView::Binding*>(arg);
    const std::string callId = id ? id : "";
    const std::string args = req ? req : "[]";
    if (b->async) {
        b->async(callId, args);
        return;
    }
    std::string result;
    const int status = RunSync(b->sync, args, result);
    b->owner->resolve(callId, status, status == 0 ? result : JsonEscapeForBind(result));
}

void OnDispatch(webview_t, void* arg) {
    std::unique_ptr<std::function<void()>> fn(static_cast<std::function<void()>*>(arg));
    (*fn)();
}

}  // namespace

WebView::WebView(bool debug) : handle_(webview_create(debug ? 1 : 0, nullptr)) {
    if (handle_) {
        PlatformSetWindowBackdrop(window());
        direct_ = OpenDirectCalls(browser(), [this](const std::string& name, const std::string& args,
                                                    std::string& result) { return answer(name, args, result); });
    }
}

WebView::~WebView() {
    CloseDirectCalls(direct_);
    if (handle_) webview_destroy(handle_);
}

void* WebView::window() const { return handle_ ? webview_get_window(handle_) : nullptr; }

void* WebView::widget() const {
    return handle_ ? webview_get_native_handle(handle_, WEBVIEW_NATIVE_HANDLE_KIND_UI_WIDGET) : nullptr;
}

void* WebView::browser() const {
    return handle_ ? webview_get_native_handle(handle_, WEBVIEW_NATIVE_HANDLE_KIND_BROWSER_CONTROLLER) : nullptr;
}

void WebView::set_title(const std::string& title) {
    if (handle_) webview_set_title(handle_, title.c_str());
}

void WebView::set_size(int width, int height, SizeHint hint) {
    if (handle_) webview_set_size(handle_, width, height, static_cast<webview_hint_t>(hint));
}

void WebView::init(const std::string& script) {
    if (handle_) webview_init(handle_, script.c_str());
}

void WebView::navigate(const std::string& url) {
    if (handle_) webview_navigate(handle_, url.c_str());
}

void WebView::set_html(const std::string& html) {
    if (handle_) webview_set_html(handle_, html.c_str());
}

void WebView::eval(const std::string& script) {
    if (handle_) webview_eval(handle_, script.c_str());
}

void WebView::bind(const std::string& name, SyncFn fn) {
    if (!handle_) return;
    auto b = std::make_unique<Binding>(Binding{this, std::move(fn), nullptr});
    if (webview_bind(handle_, name.c_str(), OnBoundCall, b.get()) == WEBVIEW_ERROR_OK) bindings_[name] = std::move(b);
}

void WebView::bind_async(const std::string& name, AsyncFn fn) {
    if (!handle_) return;
    auto b = std::make_unique<Binding>(Binding{this, nullptr, std::move(fn)});
    if (webview_bind(handle_, name.c_str(), OnBoundCall, b.get()) == WEBVIEW_ERROR_OK) bindings_[name] = std::move(b);
}

void WebView::resolve(const std::string& id, int status, const std::string& result) {
    // The library must never be given a null result; "" resolves with undefined.
    if (handle_) webview_return(handle_, id.c_str(), status, result.c_str());
}

int WebView::answer(const std::string& name, const std::string& args, std::string& result) {
    const auto it = bindings_.find(name);
    if (it == bindings_.end() || !it->second->sync) return -1;
    return RunSync(it->second->sync, args, result);
}

void WebView::dispatch(std::function<void()> fn) {
    if (!handle_) return;
    auto* heap = new std::function<void()>(std::move(fn));
    if (webview_dispatch(handle_, OnDispatch, heap) != WEBVIEW_ERROR_OK) delete heap;
}

void WebView::run() {
    if (handle_) webview_run(handle_);
}

void WebView::terminate() {
    if (handle_) webview_terminate(handle_);
}
