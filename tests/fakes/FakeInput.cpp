#include <map>
#include <mutex>

#include "input/Injection.h"
#include "input/InputTap.h"
#include "input/Keys.h"
#include "input/XSettings.h"
#include "tests/fakes/Fakes.h"

namespace {

std::mutex g_CallsMutex;
std::vector<std::string> g_Calls;
std::map<int, std::string> g_LayoutChars;

void Log(std::string call) {
    if (g_FakeCallStamp) call += " @" + g_FakeCallStamp();
    std::lock_guard<std::mutex> lock(g_CallsMutex);
    g_Calls.push_back(std::move(call));
}

}  // namespace

std::string (*g_FakeCallStamp)() = nullptr;
double g_FakeDoubleClickSeconds = 0.5;
std::atomic<int> g_FakeCursorX{0}, g_FakeCursorY{0};

std::vector<std::string> FakeInputCalls() {
    std::lock_guard<std::mutex> lock(g_CallsMutex);
    return g_Calls;
}

void ClearFakeInputCalls() {
    std::lock_guard<std::mutex> lock(g_CallsMutex);
    g_Calls.clear();
}

void SetFakeLayoutChar(int vk, const std::string& printed) {
    std::lock_guard<std::mutex> lock(g_CallsMutex);
    g_LayoutChars[vk] = printed;
}

void ClearFakeLayout() {
    std::lock_guard<std::mutex> lock(g_CallsMutex);
    g_LayoutChars.clear();
}

void PlatformMouseButtonUp(int index) { Log("up " + std::to_string(index)); }
void PlatformKeyVk(int vk, bool down) { Log("key " + std::to_string(vk) + (down ? " down" : " up")); }
void PlatformMouseButton(int button, bool down, int clickCount) {
    Log("button " + std::to_string(button) + (down ? " down " : " up ") + std::to_string(clickCount));
}
void PlatformMouseClick(int button, int clickCount) {
    PlatformMouseButton(button, true, clickCount);
    PlatformMouseButton(button, false, clickCount);
}
void PlatformMoveMouseTo(int x, int y) {
    g_FakeCursorX = x;
    g_FakeCursorY = y;
    Log("move " + std::to_string(x) + " " + std::to_string(y));
}
void PlatformMoveMouseBy(int dx, int dy) { Log("moveby " + std::to_string(dx) + " " + std::to_string(dy)); }
void PlatformCursorPosition(int& x, int& y) {
    x = g_FakeCursorX;
    y = g_FakeCursorY;
}
void PlatformScroll(int delta, const std::atomic<bool>*) { Log("scroll " + std::to_string(delta)); }
double PlatformDoubleClickSeconds() { return g_FakeDoubleClickSeconds; }

std::string PlatformLayoutCharForVk(int vk) {
    std::lock_guard<std::mutex> lock(g_CallsMutex);
    const auto it = g_LayoutChars.find(vk);
    return it == g_LayoutChars.end() ? "" : FilterLayoutChar(it->second);
}

int g_FakeWindowPid = 0;
std::atomic<bool> g_FakeTapRunning{false};

int PlatformWindowPidAt(int /*x*/, int /*y*/) { return g_FakeWindowPid; }
bool PlatformStartInputTap() {
    g_FakeTapRunning = true;
    return true;
}
void PlatformStopInputTap() { g_FakeTapRunning = false; }
bool PlatformInputTapRunning() { return g_FakeTapRunning; }
void PlatformStopKeysWatch() {}
