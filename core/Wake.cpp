#include "core/Wake.h"

#include <chrono>
#include <cmath>
#include <cstdint>
#include <thread>

#include "core/AppState.h"

WakeEvent g_SignalWake, g_AutoClickWake, g_KeySpamWake, g_PlaybackWake;

void Wake(WakeEvent& ev) {
    ev.signalled = true;
    { std::lock_guard<std::mutex> pass(ev.mutex); }
    ev.cv.notify_one();
}

void WakeSignalProcessor() { Wake(g_SignalWake); }
void WakeAutoClickThread() { Wake(g_AutoClickWake); }
void WakeKeySpamThread() { Wake(g_KeySpamWake); }
void WakePlaybackThread() { Wake(g_PlaybackWake); }

void WaitForWake(WakeEvent& ev) {
    std::unique_lock<std::mutex> lock(ev.mutex);
    if (ev.signalled.exchange(false)) return;
    while (g_AppRunning) {
        ev.cv.wait(lock);
        if (ev.signalled.exchange(false)) return;
    }
}

namespace {

constexpr int64_t kSpinNs = 500000;
// About thirty years: long enough for any interval the pages can express, short enough that the deadline
// can't overflow the clock.
constexpr double kLongestWaitNs = 1e18;

}  // namespace

void WaitIntervalOrWake(WakeEvent& ev, double ms) {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point start = Clock::now();
    const double wanted = ms * 1e6;
    // NaN and negative intervals wait for nothing.
    const int64_t total = wanted > 0 ? static_cast<int64_t>(std::fmin(wanted, kLongestWaitNs)) : 0;
    const Clock::time_point end = start + std::chrono::nanoseconds(total);
    const Clock::time_point coarse = end - std::chrono::nanoseconds(kSpinNs);

    if (Clock::now() < coarse) {
        std::unique_lock<std::mutex> lock(ev.mutex);
        for (;;) {
            if (ev.signalled.exchange(false)) return;
            if (!g_AppRunning) return;
            if (ev.cv.wait_until(lock, coarse) == std::cv_status::timeout) break;
        }
        if (ev.signalled.exchange(false) || !g_AppRunning) return;
    }

    while (Clock::now() < end) {
        if (ev.signalled.exchange(false)) return;
        if (!g_AppRunning) return;
        std::this_thread::yield();
    }
}
