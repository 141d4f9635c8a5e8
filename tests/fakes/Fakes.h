// Test doubles for the platform seam, and a way back to the starting state between tests.
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <string>
#include <vector>

// Every call into the fake input layer, in order: "up 0" for PlatformMouseButtonUp, "key 32 up" /
// "key 32 down", "button 0 down 1" (index, direction, click count), "move 10 20", "moveby 1 -1",
// "scroll 120".
std::vector<std::string> FakeInputCalls();
void ClearFakeInputCalls();

// What the fake layout prints for a VK (unset: nothing), passed through FilterLayoutChar as the platform's.
void SetFakeLayoutChar(int vk, const std::string& printed);
void ClearFakeLayout();

// Where the fake cursor is; PlatformMoveMouseTo moves it.
extern std::atomic<int> g_FakeCursorX, g_FakeCursorY;

// What the fake platform reports as the double-click interval.
extern double g_FakeDoubleClickSeconds;

// Puts every shared global back to its starting value, empties the wake events and the theme list, and
// makes one empty default profile the current one.
void ResetAppState();

// What the fake file choosers return ("" is a cancel).
extern std::string g_FakeChosenPath;

// Runs what PlatformRunOnUiThread queued, in order (work it queues meanwhile waits for the next call).
void RunFakeUiQueue();

// Calls into the fake window layer: "resize WxH", "open URL", "alert TEXT".
extern std::vector<std::string> g_FakeWindowCalls;

// When set, every fake input call is logged with " @" and what this returns (a test clock's reading).
extern std::string (*g_FakeCallStamp)();

// The process that the fake window lookup reports at every point (0: no window).
extern int g_FakeWindowPid;

// Polls `done` every millisecond until it holds or `limit` has passed; true when it held.
bool WaitUntil(const std::function<bool()>& done, std::chrono::milliseconds limit = std::chrono::seconds(5));

// A fresh folder under /tmp, removed with all it holds when the object goes.
class TempDir {
public:
    TempDir();
    ~TempDir();
    const std::string& path() const { return path_; }

private:
    std::string path_;
};
