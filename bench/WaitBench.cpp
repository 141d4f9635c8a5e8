// How late WaitIntervalOrWake returns, and what the wait costs in processor time, at the intervals that
// matter for the Spammer: below the spin threshold, at the 1 ms floor, and a common setting.
#include <benchmark/benchmark.h>
#include <time.h>

#include <algorithm>
#include <chrono>
#include <vector>

#include "core/Threads.h"
#include "core/Wake.h"

namespace {

double ThreadCpuSeconds() {
    timespec ts{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
    return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) / 1e9;
}

void BM_WaitIntervalOrWake(benchmark::State& state) {
    PlatformRaiseThreadPriority();  // as the worker threads run
    const double ms = static_cast<double>(state.range(0)) / 1000.0;
    WakeEvent ev;
    std::vector<double> lateUs;
    lateUs.reserve(static_cast<size_t>(state.max_iterations));
    const double cpu0 = ThreadCpuSeconds();
    const auto wall0 = std::chrono::steady_clock::now();
    for (auto _ : state) {
        const auto t = std::chrono::steady_clock::now();
        WaitIntervalOrWake(ev, ms);
        const double took = std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - t).count();
        lateUs.push_back(took - ms * 1000.0);
    }
    const double wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - wall0).count();
    const double cpu = ThreadCpuSeconds() - cpu0;
    std::sort(lateUs.begin(), lateUs.end());
    const auto at = [&](double q) { return lateUs[static_cast<size_t>(q * static_cast<double>(lateUs.size() - 1))]; };
    state.counters["late_p50_us"] = at(0.50);
    state.counters["late_p99_us"] = at(0.99);
    state.counters["late_max_us"] = lateUs.back();
    state.counters["cpu_pct"] = 100.0 * cpu / wall;
}

}  // namespace

// Interval in microseconds.
BENCHMARK(BM_WaitIntervalOrWake)
    ->Arg(400)
    ->Arg(1000)
    ->Arg(5000)
    ->Iterations(2000)
    ->UseRealTime()
    ->Unit(benchmark::kMicrosecond);

BENCHMARK_MAIN();
