#include <string>
#include <vector>

#include "platform/Dialogs.h"
#include "platform/FileOpen.h"
#include "platform/Window.h"

bool PlatformGetWindowPlacement(void*, int&, int&, int&, int&, bool&) { return false; }
void PlatformBringToFront(void*) {}
void PlatformInstallQuitHandler(std::function<void()>) {}
void PlatformApplyAlwaysOnTop(bool) {}

std::string g_FakeChosenPath;
std::string PlatformChooseFileToOpen(const std::string&) { return g_FakeChosenPath; }
std::string PlatformChooseSaveFile(const std::string&, const std::string&) { return g_FakeChosenPath; }

std::vector<std::string> g_FakeWindowCalls;
void PlatformResizeWindowClamped(void*, int w, int h) {
    g_FakeWindowCalls.push_back("resize " + std::to_string(w) + "x" + std::to_string(h));
}
void PlatformOpenUrl(const std::string& url) { g_FakeWindowCalls.push_back("open " + url); }
void PlatformShowAlert(const std::string& text) { g_FakeWindowCalls.push_back("alert " + text); }

// The UI thread's loop: queued work runs when a test says so.
std::vector<std::function<void()>> g_FakeUiQueue;
void PlatformRunOnUiThread(std::function<void()> fn) {
    if (g_FakeUiQueue.size() >= 10000) g_FakeUiQueue.clear();  // a queue that nobody runs (fuzzing) stays small
    g_FakeUiQueue.push_back(std::move(fn));
}
void RunFakeUiQueue() {
    std::vector<std::function<void()>> queued;
    queued.swap(g_FakeUiQueue);
    for (auto& fn : queued) fn();
}
