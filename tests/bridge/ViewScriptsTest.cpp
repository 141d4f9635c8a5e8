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
    void RunQueued() {
        for (;;) {
            std::function<void()> task;
            {
                std::lock_guard<std::mutex> lock(mutex);
                if (tasks.empty()) return;
                task = std::move(tasks.front());
                tasks.pop_front();
            }
            task();
        }
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
    std::atomic<bool> stop{false};
    std::vector<std::thread> senders;
    for (int i = 0; i < 3; ++i) {
        senders.emplace_back([&scripts, &stop] {
            while (!stop) scripts.Run("tick()");
        });
    }
    for (int round = 0; round < 200; ++round) loop.RunQueued();
    // The view goes as the window's destroy hook says so, on the UI thread; the engine is torn down after.
    scripts.ViewGone();
    loop.engineTornDown = true;
    for (int round = 0; round < 50; ++round) loop.RunQueued();
    stop = true;
    for (auto& t : senders) t.join();
    loop.RunQueued();
    EXPECT_EQ(loop.lateEvals, 0);
    EXPECT_FALSE(loop.evaluated.empty());
}

}  // namespace
