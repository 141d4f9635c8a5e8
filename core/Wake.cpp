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

namespace {

std::atomic<void (*)()> g_InputSettingsWaker{nullptr};

}  // namespace

void SetInputSettingsWaker(void (*waker)()) { g_InputSettingsWaker = waker; }

void InputSettingsChanged() {
    if (const auto waker = g_InputSettingsWaker.load()) waker();
}

void WaitForWakeAtMost(WakeEvent& ev, int ms) {
    std::unique_lock<std::mutex> lock(ev.mutex);
    ev.cv.wait_for(lock, std::chrono::milliseconds(ms), [&ev] { return ev.signalled.load() || !g_AppRunning; });
    ev.signalled = false;
}

void WaitForWake(WakeEvent& ev) {
    std::unique_lock<std::mutex> lock(ev.mutex);
    if (ev.signalled.exchange(false)) return;
    while (g_AppRunning) {
        ev.cv.wait(lock);
        if (ev.signalled.exchange(false)) return;
    }
}

namespace {

// The end of a wait is spun rather than slept through, for about as long as this thread's sleeps wake late:
// the 98th percentile of their recent lateness, plus a margin. One number follows that percentile: a wake
// later than it raises it by 9.8 us, any other lowers it by 0.2 us, so it settles where 2% of the wakes are
// later. A lone stall moves it by one step: no spin hides a stall, and spinning for the largest lateness
// seen lately cost a fifth of a core at 1 ms on a shared machine. A loaded machine raises it within a few
// dozen waits, and it comes down over a few seconds once the load is gone. A thread starts from a guess
// that fits an idle machine.
constexpr int64_t kSpinNs = 500000;
constexpr int64_t kShortestSpinNs = 50000;
constexpr double kSpinMarginNs = 30000;
constexpr double kLatenessQuantile = 0.98;
constexpr double kLatenessStepNs = 10000;
constexpr double kFirstLatenessGuessNs = 120000;
thread_local double t_WakeLatenessNs = kFirstLatenessGuessNs;

// About thirty years: long enough for any interval the pages can express, short enough that the deadline
// can't overflow the clock.
constexpr double kLongestWaitNs = 1e18;

}  // namespace

int64_t FinalSpinNs() {
    const double spin = t_WakeLatenessNs + kSpinMarginNs;
    return spin >= kSpinNs ? kSpinNs : spin <= kShortestSpinNs ? kShortestSpinNs : static_cast<int64_t>(spin);
}

void NoteWakeLateness(double lateNs) {
    double estimate = t_WakeLatenessNs;
    estimate += lateNs > estimate ? kLatenessStepNs * kLatenessQuantile : -kLatenessStepNs * (1 - kLatenessQuantile);
    // Kept within what the spin can use, so that a long overload doesn't leave it high for long after.
    t_WakeLatenessNs = estimate < 0 ? 0 : estimate > kSpinNs ? static_cast<double>(kSpinNs) : estimate;
}

namespace {

using Clock = std::chrono::steady_clock;

// NaN and negative intervals wait for nothing.
int64_t IntervalNs(double ms) {
    const double wanted = ms * 1e6;
    return wanted > 0 ? static_cast<int64_t>(std::fmin(wanted, kLongestWaitNs)) : 0;
}

int64_t SteadyNs(Clock::time_point t) {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(t.time_since_epoch()).count();
}

// Waits until `end`; false when a wake or the application's stop ended the wait first.
bool WaitUntilOrWake(WakeEvent& ev, Clock::time_point end) {
    const Clock::time_point coarse = end - std::chrono::nanoseconds(FinalSpinNs());
    if (Clock::now() < coarse) {
        std::unique_lock<std::mutex> lock(ev.mutex);
        for (;;) {
            if (ev.signalled.exchange(false)) return false;
            if (!g_AppRunning) return false;
            if (ev.cv.wait_until(lock, coarse) == std::cv_status::timeout) break;
        }
        NoteWakeLateness(static_cast<double>(std::chrono::nanoseconds(Clock::now() - coarse).count()));
        if (ev.signalled.exchange(false) || !g_AppRunning) return false;
    }

    while (Clock::now() < end) {
        if (ev.signalled.exchange(false)) return false;
        if (!g_AppRunning) return false;
        std::this_thread::yield();
    }
    return true;
}

}  // namespace

void WaitIntervalOrWake(WakeEvent& ev, double ms) {
    WaitUntilOrWake(ev, Clock::now() + std::chrono::nanoseconds(IntervalNs(ms)));
}

void StartBeat(Beat& beat) { beat.lastNs = SteadyNs(Clock::now()); }

void WaitBeatOrWake(WakeEvent& ev, Beat& beat, double ms) {
    const int64_t interval = IntervalNs(ms);
    const int64_t now = SteadyNs(Clock::now());
    int64_t end = beat.lastNs + interval;
    if (beat.lastNs == 0) {
        end = now + interval;  // no beat yet
    } else if (end + interval <= now) {
        end = now;  // a whole beat missed: at once, and on from here
    }
    const bool whole = WaitUntilOrWake(ev, Clock::time_point(std::chrono::nanoseconds(end)));
    beat.lastNs = whole ? end : SteadyNs(Clock::now());
}
