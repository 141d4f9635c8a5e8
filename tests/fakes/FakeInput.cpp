#include <mutex>

#include "engine/Recorder.h"
#include "input/Injection.h"
#include "tests/fakes/Fakes.h"

namespace {

std::mutex g_CallsMutex;
std::vector<std::string> g_Calls;

void Log(std::string call) {
    std::lock_guard<std::mutex> lock(g_CallsMutex);
    g_Calls.push_back(std::move(call));
}

}  // namespace

double g_FakeDoubleClickSeconds = 0.5;

std::vector<std::string> FakeInputCalls() {
    std::lock_guard<std::mutex> lock(g_CallsMutex);
    return g_Calls;
}

void ClearFakeInputCalls() {
    std::lock_guard<std::mutex> lock(g_CallsMutex);
    g_Calls.clear();
}

void PlatformMouseButtonUp(int index) { Log("up " + std::to_string(index)); }
void PlatformKeyVk(int vk, bool down) { Log("key " + std::to_string(vk) + (down ? " down" : " up")); }
double PlatformDoubleClickSeconds() { return g_FakeDoubleClickSeconds; }
