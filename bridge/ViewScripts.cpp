#include "bridge/ViewScripts.h"

#include <atomic>

struct ViewScripts::Shared {
    std::atomic<bool> alive{true};
    Dispatch dispatch;
    Eval eval;
};

ViewScripts::ViewScripts(Dispatch dispatch, Eval eval) : shared_(std::make_shared<Shared>()) {
    shared_->dispatch = std::move(dispatch);
    shared_->eval = std::move(eval);
}

void ViewScripts::Run(const std::string& script) const {
    if (!shared_->alive) return;
    // The task holds the shared state, not this object: it may run after its creator has gone.
    shared_->dispatch([shared = shared_, script] {
        if (shared->alive) shared->eval(script);
    });
}

void ViewScripts::ViewGone() const { shared_->alive = false; }
