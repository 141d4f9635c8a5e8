// A window with a web page in it: a small C++ face on the webview library's C API.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>

enum class SizeHint { None = 0, Min = 1, Max = 2, Fixed = 3 };

class WebView {
public:
    // Creates the window (no parent) on the calling thread, which becomes the UI thread.
    explicit WebView(bool debug);
    ~WebView();
    WebView(const WebView&) = delete;
    WebView& operator=(const WebView&) = delete;

    bool ok() const { return handle_ != nullptr; }
    void* window() const;   // the native top-level window
    void* widget() const;   // the native widget that shows the page
    void* browser() const;  // the web engine's own view (a WebKitWebView)

    void set_title(const std::string& title);
    void set_size(int width, int height, SizeHint hint);
    void init(const std::string& script);  // runs at the start of every page, before the bindings exist
    void navigate(const std::string& url);
    void set_html(const std::string& html);
    void eval(const std::string& script);  // UI thread only; elsewhere go through dispatch

    // A page function answered at once: it receives the JSON array of its arguments and returns the JSON
    // text of its result, or "" for undefined. An exception rejects the page's promise.
    using SyncFn = std::function<std::string(const std::string& args)>;
    void bind(const std::string& name, SyncFn fn);

    // A page function answered later through resolve() with the same id, from any thread.
    using AsyncFn = std::function<void(const std::string& id, const std::string& args)>;
    void bind_async(const std::string& name, AsyncFn fn);
    void resolve(const std::string& id, int status, const std::string& result);

    // Answers a call of a name bound with bind() that came by another way than the library's (the web
    // engine's own message channel, see DirectCalls.h): 0 with the result's JSON, 1 with a failure's
    // sentence, -1 when no such name is bound with bind().
    int answer(const std::string& name, const std::string& args, std::string& result);

    // Runs fn on the UI thread; callable from any thread.
    void dispatch(std::function<void()> fn);

    void run();        // the event loop; returns when the window closes or terminate() is called
    void terminate();  // callable from any thread

    struct Binding;  // one bound function; internal

private:
    void* handle_ = nullptr;
    void* direct_ = nullptr;  // the direct call channel, while it is open
    std::map<std::string, std::unique_ptr<Binding>> bindings_;
};
