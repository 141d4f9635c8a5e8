// A 60 s macro of 10,000 mixed events replayed through the real X11 backend (run it inside
// scripts/xvfb-session.sh): how late each key and button request goes out against its due time, and the
// drift at the end. The XTest requests are wrapped to take timestamps without a hook in the product.
#include <X11/Xlib.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <thread>
#include <vector>

#include "bench/BenchClock.h"
#include "core/AppState.h"
#include "core/Threads.h"
#include "engine/Playback.h"
#include "input/Keys.h"

namespace {

constexpr int kEvents = 10000;
int64_t g_Requests[kEvents * 2];
std::atomic<int> g_RequestCount{0};

void Stamp() {
    const int i = g_RequestCount.fetch_add(1);
    if (i < kEvents * 2) g_Requests[i] = NowNs();
}

int64_t g_StartNs = 0;
int64_t PassClock() {
    const int64_t now = NowNs();
    if (g_StartNs == 0) g_StartNs = now;  // the pass reads the clock first for its start instant
    return now;
}
void PassSleep(int64_t ns) { std::this_thread::sleep_for(std::chrono::nanoseconds(ns)); }

}  // namespace

extern "C" {
int __real_XTestFakeKeyEvent(Display*, unsigned, Bool, unsigned long);
int __wrap_XTestFakeKeyEvent(Display* d, unsigned keycode, Bool down, unsigned long delay) {
    Stamp();
    return __real_XTestFakeKeyEvent(d, keycode, down, delay);
}
int __real_XTestFakeButtonEvent(Display*, unsigned, Bool, unsigned long);
int __wrap_XTestFakeButtonEvent(Display* d, unsigned button, Bool down, unsigned long delay) {
    Stamp();
    return __real_XTestFakeButtonEvent(d, button, down, delay);
}
}

int main() {
    PlatformRaiseThreadPriority();
    PlatformKeysWatchLayout();
    // Every 6 ms: a move, a key press, its release, a click's press and its release, over and over; the
    // keys and buttons are what gets timed, the moves add the smooth steps between points.
    std::vector<UnifiedEvent> events;
    std::vector<double> timedDue;
    std::vector<bool> timedIsKey;
    for (int i = 0; i < kEvents; ++i) {
        const double t = 0.006 * i;
        UnifiedEvent e{EventMoveAbs, t, 100 + (i * 37) % 900, 100 + (i * 53) % 700, 0, 0, false, 0};
        switch (i % 5) {
            case 1: e = UnifiedEvent{EventKey, t, 0, 0, 0, 'Q', true, 0}; break;
            case 2: e = UnifiedEvent{EventKey, t, 0, 0, 0, 'Q', false, 0}; break;
            case 3: e = UnifiedEvent{EventMouseClick, t, 300, 300, 8, 0, false, 0}; break;  // right press
            case 4: e = UnifiedEvent{EventMouseClick, t, 300, 300, 16, 0, false, 0}; break;
            default: break;
        }
        if (e.type != EventMoveAbs) {
            timedDue.push_back(t);
            timedIsKey.push_back(e.type == EventKey);
        }
        events.push_back(e);
    }
    isPlaying = true;
    g_AppRunning = true;
    const auto cpu = [] {
        timespec t{};
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
        return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) / 1e9;
    };
    const double cpuBefore = cpu();
    const int64_t wallBefore = NowNs();
    PlayMacroPass(events, PlaybackClock{PassClock, PassSleep});
    const double cpuShare = (cpu() - cpuBefore) / (static_cast<double>(NowNs() - wallBefore) / 1e9);
    g_AppRunning = false;
    PlatformStopKeysWatch();
    for (auto& t : g_Threads) t.join();

    const int n = std::min<int>(g_RequestCount, static_cast<int>(timedDue.size()));
    if (n == 0) {
        std::fprintf(stderr, "bench_playback: no key or button request went out (is XTest there?)\n");
        return 1;
    }
    std::vector<double> lateUs, keyLateUs, buttonLateUs;
    for (int i = 0; i < n; ++i) {
        const double late =
            static_cast<double>(g_Requests[i] - g_StartNs) / 1e3 - timedDue[static_cast<size_t>(i)] * 1e6;
        lateUs.push_back(late);
        (timedIsKey[static_cast<size_t>(i)] ? keyLateUs : buttonLateUs).push_back(late);
    }
    std::printf("playback of %d events over %.0f s through XTest: %d key and button requests timed\n", kEvents,
                events.back().time, n);
    // Where the latest request was, to find it in a scheduler trace (`perf sched record -k CLOCK_MONOTONIC`).
    const size_t worst = static_cast<size_t>(std::max_element(lateUs.begin(), lateUs.end()) - lateUs.begin());
    std::printf(
        "  lateness against the due time: p50 %.1f us, p99 %.1f us, max %.1f us (%.3f s into the pass, "
        "monotonic clock %.6f s)\n",
        Percentile(lateUs, 0.5), Percentile(lateUs, 0.99), lateUs[worst], timedDue[worst],
        static_cast<double>(g_Requests[worst]) / 1e9);
    std::printf(
        "  keys: p50 %.1f us, p99 %.1f us; buttons (after the move to the click's point): p50 %.1f us, p99 %.1f us\n",
        Percentile(keyLateUs, 0.5), Percentile(keyLateUs, 0.99), Percentile(buttonLateUs, 0.5),
        Percentile(buttonLateUs, 0.99));
    std::printf("  drift at the end (the last request): %.1f us\n", lateUs.back());
    std::printf("  the playing thread's processor time: %.1f %% of one core\n", 100.0 * cpuShare);
    return n == static_cast<int>(timedDue.size()) ? 0 : 1;
}
