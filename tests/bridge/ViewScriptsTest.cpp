// Scripts for a web view from other threads: none runs once the view has gone, whenever it was queued.
#include <gtest/gtest.h>

#include <atomic>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "bridge/ViewScripts.h"

namespace {

// The UI thread's queue, as the window's loop would run it.
struct FakeLoop {
    std::mutex mutex;
    std::deque<std::function<void()>> tasks;
    std::vector<std::string> evaluated;  // the UI thread's only
    bool engineTornDown = false;
    int lateEvals = 0;

    ViewScripts Scripts() {
        return ViewScripts(
            [this](std::function<void()> task) {
                std::lock_guard<std::mutex> lock(mutex);
                tasks.push_back(std::move(task));
            },
            [this](const std::string& script) {
                if (engineTornDown) ++lateEvals;
                evaluated.push_back(script);
            });
    }
    // Runs what was queued when it was called, as one turn of the loop.
    void RunQueued() {
        std::deque<std::function<void()>> turn;
        {
            std::lock_guard<std::mutex> lock(mutex);
            turn.swap(tasks);
        }
        for (auto& task : turn) task();
    }
};

TEST(ViewScriptsTest, ScriptsRunOnTheLoopInOrderUntilTheViewGoes) {
    FakeLoop loop;
    const ViewScripts scripts = loop.Scripts();
    scripts.Run("a()");
    scripts.Run("b()");
    EXPECT_TRUE(loop.evaluated.empty());  // not on the caller's thread
    loop.RunQueued();
    EXPECT_EQ(loop.evaluated, (std::vector<std::string>{"a()", "b()"}));

    // Queued before the view went, run after: dropped. Asked for after: never queued.
    scripts.Run("c()");
    scripts.ViewGone();
    loop.engineTornDown = true;
    scripts.Run("d()");
    EXPECT_EQ(loop.tasks.size(), 1u);
    loop.RunQueued();
    EXPECT_EQ(loop.evaluated.size(), 2u);
}

TEST(ViewScriptsTest, ThreadsSendingWhileTheViewGoesNeverReachTheTornDownEngine) {
    FakeLoop loop;
    const ViewScripts scripts = loop.Scripts();
    std::vector<std::thread> senders;
    for (int i = 0; i < 3; ++i) {
        senders.emplace_back([&scripts] {
            for (int n = 0; n < 20000; ++n) scripts.Run("tick()");
        });
    }
    while (loop.evaluated.size() < 100) loop.RunQueued();
    // The view goes as the window's destroy hook says so, on the UI thread; the engine is torn down after,
    // while the senders go on.
    scripts.ViewGone();
    loop.engineTornDown = true;
    for (auto& t : senders) t.join();
    loop.RunQueued();
    EXPECT_EQ(loop.lateEvals, 0);
}

}  // namespace
