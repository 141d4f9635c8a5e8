// Scripts for a web view from any thread. Each runs on the view's UI thread, and only while the view lives:
// one still queued when the view goes away is dropped, never run against a web engine being torn down.
#pragma once

#include <functional>
#include <memory>
#include <string>

class ViewScripts {
public:
    using Dispatch = std::function<void(std::function<void()> task)>;  // runs a task on the UI thread
    using Eval = std::function<void(const std::string& script)>;       // called on the UI thread only

    ViewScripts(Dispatch dispatch, Eval eval);

    // Any thread. Once the view has gone, nothing.
    void Run(const std::string& script) const;
    // The UI thread, as the view goes away (its window destroyed, or its loop ended).
    void ViewGone() const;

private:
    struct Shared;
    std::shared_ptr<Shared> shared_;
};
