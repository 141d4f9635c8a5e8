// The input tap on a private display (run it inside scripts/xvfb-session.sh):
// 1. the rules alone: HandleTapEvent per key event and per recorded move, no X involved;
// 2. a hotkey press of the simulated user to the grab's answer (the ungrab that swallows it, or the replay
//    of a key that isn't one; XIUngrabDevice and XIAllowEvents are wrapped to take a timestamp);
// 3. a recording while the simulated user moves the pointer at 1000 Hz for 10 s to a new point each time:
//    how many of those points the recording lacks, and the processor time of the tap's thread.
#include <X11/Xlib.h>
#include <dirent.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "bench/BenchClock.h"
#include "core/AppState.h"
#include "core/Wake.h"
#include "engine/Recorder.h"
#include "engine/Signals.h"
#include "input/InputTap.h"
#include "input/Keys.h"
#include "tests/support/Recording.h"
#include "tests/support/ServerView.h"

namespace {

using namespace std::chrono_literals;

std::atomic<int64_t> g_LastAnswerNs{0};

// Processor time (user + system) of the thread with this name, in seconds.
double ThreadCpuSeconds(const char* name) {
    DIR* dir = opendir("/proc/self/task");
    double seconds = 0;
    while (dirent* entry = dir ? readdir(dir) : nullptr) {
        const std::string base = std::string("/proc/self/task/") + entry->d_name;
        std::ifstream comm(base + "/comm");
        std::string threadName;
        if (!std::getline(comm, threadName) || threadName != name) continue;
        std::ifstream stat(base + "/stat");
        std::string text((std::istreambuf_iterator<char>(stat)), std::istreambuf_iterator<char>());
        const auto close = text.rfind(')');
        std::vector<std::string> fields;
        std::string field;
        for (size_t i = close + 2; i <= text.size(); ++i) {
            if (i == text.size() || text[i] == ' ') {
                fields.push_back(field);
                field.clear();
            } else {
                field += text[i];
            }
        }
        // Fields after the name: state is the first, utime the 12th, stime the 13th.
        seconds = (std::stod(fields[11]) + std::stod(fields[12])) / static_cast<double>(sysconf(_SC_CLK_TCK));
    }
    if (dir) closedir(dir);
    return seconds;
}

void RulesAlone() {
    isRecording = true;
    constexpr int kRounds = 200000;
    const int64_t t0 = NowNs();
    for (int i = 0; i < kRounds; ++i) HandleTapEvent({TapKey, 65 + i % 26, i % 2 == 0, false, 0, 0, 0});
    const int64_t t1 = NowNs();
    for (int i = 0; i < kRounds; ++i) {
        const TapVerdict v = HandleTapEvent({TapMove, 0, false, true, double(i % 1000), double(i / 1000), 0});
        if (v.record) RecordEvent(v.event);
    }
    const int64_t t2 = NowNs();
    StopRecording();
    std::printf("rules alone: %.0f ns per key event, %.0f ns per recorded move (with its append)\n",
                double(t1 - t0) / kRounds, double(t2 - t1) / kRounds);
}

}  // namespace

extern "C" {
int __real_XIAllowEvents(Display*, int, int, Time);
int __wrap_XIAllowEvents(Display* d, int device, int mode, Time time) {
    g_LastAnswerNs = NowNs();
    return __real_XIAllowEvents(d, device, mode, time);
}
int __real_XIUngrabDevice(Display*, int, Time);
int __wrap_XIUngrabDevice(Display* d, int device, Time time) {
    g_LastAnswerNs = NowNs();
    return __real_XIUngrabDevice(d, device, time);
}
}

int main() {
    profiles.assign(1, MacroProfile{kDefaultProfileName, "", {}});
    currentProfileIdx = 0;
    g_AppRunning = true;
    RulesAlone();

    PlatformKeysWatchLayout();
    ConnectRecorderToTap();
    if (!OpenServerView() || !OpenSimulatedUser() || !PlatformStartInputTap()) {
        std::fprintf(stderr, "bench_tap: needs an X server with XInput 2.2 and Xvfb's devices\n");
        g_AppRunning = false;
        PlatformStopKeysWatch();
        for (auto& t : g_Threads) t.join();
        return 1;
    }
    std::this_thread::sleep_for(100ms);

    // A hotkey nobody else listens to: presses that toggle a flag and nothing else.
    vkRecord = 0;
    vkPlay = 0;
    vkKeySpamHotkey = 0;
    g_HotkeyLockEnabled = false;
    InputSettingsChanged();
    const int key = VkToPlatformKeyCode(vkAutoClicker);
    std::vector<double> answerUs;
    for (int i = 0; i < 500; ++i) {
        g_LastAnswerNs = 0;
        const int64_t sent = NowNs();
        UserKey(key, true);
        while (g_LastAnswerNs == 0 && NowNs() - sent < 1'000'000'000) std::this_thread::yield();
        answerUs.push_back(double(g_LastAnswerNs - sent) / 1000.0);
        UserKey(key, false);
        std::this_thread::sleep_for(2ms);
    }
    triggerAutoClicker = false;
    std::printf("hotkey press to the grab's answer: p50 %.0f us, p99 %.0f us, max %.0f us (500 presses)\n",
                Percentile(answerUs, 0.5), Percentile(answerUs, 0.99), Percentile(answerUs, 1.0));

    // 1000 Hz for 10 s, each move to a point of its own.
    constexpr int kMoves = 10000;
    StartRecording();
    const double cpuBefore = ThreadCpuSeconds("QVN input tap");
    const int64_t start = NowNs();
    for (int i = 0; i < kMoves; ++i) {
        UserMoveTo(100 + i % 800, 100 + (i / 800) * 20);
        const int64_t due = start + int64_t{i + 1} * 1'000'000;
        while (NowNs() < due) std::this_thread::sleep_for(std::chrono::nanoseconds(due - NowNs()));
    }
    std::this_thread::sleep_for(200ms);
    const double wall = double(NowNs() - start) / 1e9;
    const double cpu = ThreadCpuSeconds("QVN input tap") - cpuBefore;
    const size_t recorded = StopRecording();
    // A sent point counts as kept when the recording has it, in order.
    int kept = 0;
    {
        std::lock_guard<std::mutex> lock(profileMutex);
        for (const UnifiedEvent& e : profiles[0].events) {
            if (kept < kMoves && e.type == EventMoveAbs && e.x == 100 + kept % 800 && e.y == 100 + (kept / 800) * 20) {
                ++kept;
            }
        }
    }
    std::printf("1000 Hz moves for %.1f s: %d sent, %zu recorded, %d lost; tap thread CPU %.1f %%\n", wall, kMoves,
                recorded, kMoves - kept, 100.0 * cpu / wall);

    PlatformStopInputTap();
    g_AppRunning = false;
    PlatformStopKeysWatch();
    for (auto& t : g_Threads) t.join();
    CloseServerView();
    return 0;
}
