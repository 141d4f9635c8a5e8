// The Spammer at its 1 ms setting against `xdotool click --repeat 1000 --delay 1`, side by side on one
// display: clicks per second and timing as an observer on the server sees them, the wait error (the period
// less 1 ms) measured on our own injection timestamps, processor time for each, and this process's processor time while
// idle. Runs inside scripts/xvfb-session.sh.
#include <X11/Xlib.h>
#include <X11/extensions/XInput2.h>
#include <poll.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <time.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <thread>
#include <vector>

#include "app/Master.h"
#include "bench/BenchClock.h"
#include "core/AppState.h"
#include "core/Threads.h"
#include "core/Wake.h"
#include "engine/AutoClicker.h"
#include "input/Keys.h"

extern char** environ;

namespace {

constexpr int kClicks = 1000;

double ProcessCpuSeconds() {
    timespec ts{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &ts);
    return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) / 1e9;
}

// Injection timestamps: every button request the backend makes, press or release, in order.
struct Stamp {
    int64_t ns;         // when the request was made
    int64_t flushedNs;  // when the flush that sent it returned
    bool press;
};
Stamp g_Stamps[4 * kClicks];
std::atomic<int> g_StampCount{0};

// Press arrival times seen by a separate client through XI2 raw events, whoever injected them.
struct Observer {
    Display* dpy = nullptr;
    int opcode = 0;
    std::vector<int64_t> presses;
    std::atomic<bool> stop{false};
    std::thread thread;

    bool Start() {
        dpy = XOpenDisplay(nullptr);
        int event = 0, error = 0, major = 2, minor = 2;
        if (!dpy || !XQueryExtension(dpy, "XInputExtension", &opcode, &event, &error)) return false;
        if (XIQueryVersion(dpy, &major, &minor) != Success) return false;
        unsigned char bits[XIMaskLen(XI_LASTEVENT)] = {};
        XISetMask(bits, XI_RawButtonPress);
        XIEventMask mask{XIAllMasterDevices, sizeof bits, bits};
        XISelectEvents(dpy, DefaultRootWindow(dpy), &mask, 1);
        XSync(dpy, False);
        presses.reserve(4 * kClicks);
        thread = std::thread([this] { Run(); });
        return true;
    }
    void Run() {
        // As promptly scheduled as the Spammer's thread: the observer's own lateness would read as the clicks'.
        PlatformRaiseThreadPriority();
        pollfd p{ConnectionNumber(dpy), POLLIN, 0};
        while (!stop) {
            if (!XPending(dpy) && poll(&p, 1, 20) <= 0) continue;
            while (XPending(dpy)) {
                XEvent e;
                XNextEvent(dpy, &e);
                if (e.type == GenericEvent && e.xcookie.extension == opcode && e.xcookie.evtype == XI_RawButtonPress) {
                    presses.push_back(NowNs());
                }
            }
        }
    }
    // Call between runs only, with the observer quiet.
    std::vector<int64_t> Take() {
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        stop = true;
        thread.join();
        std::vector<int64_t> out;
        out.swap(presses);
        stop = false;
        thread = std::thread([this] { Run(); });
        return out;
    }
};

void PrintSpread(const char* what, const std::vector<double>& us) {
    std::printf("  %-44s p50 %7.1f us   p99 %7.1f us   max %8.1f us\n", what, Percentile(us, 0.5), Percentile(us, 0.99),
                us.empty() ? 0.0 : *std::max_element(us.begin(), us.end()));
}

// Clicks per second and the spread of press-to-press periods as the observer saw them.
void PrintObserved(const std::vector<int64_t>& presses) {
    if (presses.size() < 2) {
        std::printf("  observer saw %zu presses\n", presses.size());
        return;
    }
    const double seconds = static_cast<double>(presses.back() - presses.front()) / 1e9;
    std::printf("  observer: %zu presses, %.0f clicks/s\n", presses.size(),
                static_cast<double>(presses.size() - 1) / seconds);
    std::vector<double> periodErrorUs;
    for (size_t i = 1; i < presses.size(); ++i) {
        periodErrorUs.push_back(std::abs(static_cast<double>(presses[i] - presses[i - 1]) / 1e3 - 1000.0));
    }
    PrintSpread("press-to-press period, distance from 1 ms:", periodErrorUs);
}

// Every allocation of the process, to show that a run of rounds makes none.
std::atomic<long> g_Allocations{0};

}  // namespace

void* operator new(size_t size) {
    g_Allocations.fetch_add(1, std::memory_order_relaxed);
    if (void* p = std::malloc(size ? size : 1)) return p;
    throw std::bad_alloc();
}
void operator delete(void* p) noexcept { std::free(p); }
void operator delete(void* p, size_t) noexcept { std::free(p); }

extern "C" {
int __real_XTestFakeButtonEvent(Display* d, unsigned button, Bool press, unsigned long delay);
int __wrap_XTestFakeButtonEvent(Display* d, unsigned button, Bool press, unsigned long delay) {
    const int i = g_StampCount.fetch_add(1);
    if (i < 4 * kClicks) g_Stamps[i] = {NowNs(), 0, press != 0};
    return __real_XTestFakeButtonEvent(d, button, press, delay);
}
int __real_XFlush(Display* d);
int __wrap_XFlush(Display* d) {
    const int rc = __real_XFlush(d);
    const int64_t now = NowNs();
    const int n = std::min(g_StampCount.load(), 4 * kClicks);
    for (int i = n - 1; i >= 0 && g_Stamps[i].flushedNs == 0; --i) g_Stamps[i].flushedNs = now;
    return rc;
}
}

int main() {
    g_AppRunning = true;
    g_Threads.emplace_back(AutoClickerThread);
    PlatformKeysWatchLayout();
    std::this_thread::sleep_for(std::chrono::milliseconds(300));

    // Idle: the whole process with every thread asleep.
    {
        const double cpu0 = ProcessCpuSeconds();
        std::this_thread::sleep_for(std::chrono::seconds(2));
        std::printf("Idle, no tool running: process CPU %.3f %% of one core over 2 s\n",
                    (ProcessCpuSeconds() - cpu0) / 2.0 * 100.0);
    }

    Observer observer;
    if (!observer.Start()) {
        std::fprintf(stderr, "bench_spammer: needs an X display with XInput 2\n");
        return 1;
    }

    // The Spammer: 1000 single left clicks at the 1 ms setting.
    {
        ApplySpammerUpdate("0,0,0,1,0,0,0,1000,0");
        const double cpu0 = ProcessCpuSeconds();
        const int64_t wall0 = NowNs();
        const long allocations0 = g_Allocations;
        isAutoClicking = true;
        WakeAutoClickThread();
        while (isAutoClicking) std::this_thread::sleep_for(std::chrono::milliseconds(5));
        const long allocations = g_Allocations - allocations0;
        const double cpu = ProcessCpuSeconds() - cpu0;
        const double wall = static_cast<double>(NowNs() - wall0) / 1e9;
        const int n = std::min(g_StampCount.load(), 4 * kClicks);
        std::vector<int64_t> pressNs;
        std::vector<double> waitErrorUs, roundUs, flushUs;
        for (int i = 0; i < n; ++i) {
            if (g_Stamps[i].press) {
                // The Spammer keeps a beat: each press is due one interval after the one before it.
                if (!pressNs.empty()) {
                    waitErrorUs.push_back(
                        std::abs(static_cast<double>(g_Stamps[i].ns - pressNs.back()) / 1e3 - 1000.0));
                }
                pressNs.push_back(g_Stamps[i].ns);
            } else if (i > 0 && g_Stamps[i - 1].press) {
                roundUs.push_back(static_cast<double>(g_Stamps[i].flushedNs - g_Stamps[i - 1].ns) / 1e3);
            }
            flushUs.push_back(static_cast<double>(g_Stamps[i].flushedNs - g_Stamps[i].ns) / 1e3);
        }
        std::printf("\nQuorvane Spammer, interval 0,0,0,1, %d rounds:\n", kClicks);
        std::printf(
            "  injection: %zu presses, %.0f clicks/s\n", pressNs.size(),
            static_cast<double>(pressNs.size() - 1) / (static_cast<double>(pressNs.back() - pressNs.front()) / 1e9));
        PrintSpread("wait error (press to next press - 1 ms):", waitErrorUs);
        PrintSpread("round (press request to release sent):", roundUs);
        PrintSpread("one request and its flush:", flushUs);
        const std::vector<int64_t> observed = observer.Take();
        PrintObserved(observed);
        // How long each press took from our request to the observer: the server's and the observer's share.
        if (observed.size() == pressNs.size()) {
            std::vector<double> transitUs;
            for (size_t k = 0; k < observed.size(); ++k) {
                transitUs.push_back(static_cast<double>(observed[k] - pressNs[k]) / 1e3);
            }
            PrintSpread("press request to observer:", transitUs);
        }
        std::printf("  CPU: %.1f %% of one core (%.3f s over %.3f s); allocations during the run: %ld\n",
                    cpu / wall * 100.0, cpu, wall, allocations);
    }

    // xdotool, the same number of clicks with its 1 ms delay.
    {
        const char* argv[] = {"xdotool", "click", "--repeat", "1000", "--delay", "1", "1", nullptr};
        pid_t pid = 0;
        const int64_t wall0 = NowNs();
        if (posix_spawnp(&pid, "xdotool", nullptr, nullptr, const_cast<char**>(argv), environ) != 0) {
            std::printf("\nxdotool: not found\n");
        } else {
            int status = 0;
            rusage usage{};
            wait4(pid, &status, 0, &usage);
            const double wall = static_cast<double>(NowNs() - wall0) / 1e9;
            const double cpu = static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
                               static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
            std::printf("\nxdotool click --repeat 1000 --delay 1:\n");
            PrintObserved(observer.Take());
            std::printf("  CPU: %.1f %% of one core (%.3f s over %.3f s)\n", cpu / wall * 100.0, cpu, wall);
        }
    }

    g_AppRunning = false;
    PlatformStopKeysWatch();
    WakeAutoClickThread();
    for (auto& t : g_Threads) t.join();
    observer.stop = true;
    observer.thread.join();
    XCloseDisplay(observer.dpy);
    return 0;
}
