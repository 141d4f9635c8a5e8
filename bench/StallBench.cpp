// How long this machine keeps a thread from running when nothing in it asks for the processor: the floor
// under every timing figure of the other benches. Two looks, one after the other:
// - a thread that only reads the clock, at normal priority (a real-time thread that never sleeps would be
//   paused by the kernel's real-time throttle, 50 ms in every second): every gap between two reads is time
//   the processor spent elsewhere;
// - a thread at the tools' priority that sleeps 1 ms at a time, as playback's approach does: how late the
//   timer wakes it.
// On a virtual machine both include the time the host didn't run the virtual processor ("steal", counted by
// the kernel in ticks of 10 ms and printed alongside).
//
//   bench_stall [SECONDS]   each look lasts SECONDS (default 20)
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "bench/BenchClock.h"
#include "core/Threads.h"

namespace {

// The kernel's steal ticks over all processors, or -1 where it doesn't say.
long StealTicks() {
    std::ifstream stat("/proc/stat");
    std::string cpu;
    long field[8] = {};
    if (!(stat >> cpu) || cpu != "cpu") return -1;
    for (long& f : field) stat >> f;
    return stat ? field[7] : -1;
}

// The p99 only where every event is in the list (the clock reader keeps only its gaps).
void PrintGaps(const char* what, const std::vector<double>& us, double seconds, bool withP99) {
    const auto over = [&us](double limit) {
        return static_cast<long>(std::count_if(us.begin(), us.end(), [&](double g) { return g > limit; }));
    };
    std::printf("  %-42s over 100 us: %4ld   over 1 ms: %3ld", what, over(100), over(1000));
    if (withP99) std::printf("   p99 %6.1f us", Percentile(us, 0.99));
    std::printf("   max %7.1f us   (%.0f s)\n", us.empty() ? 0.0 : *std::max_element(us.begin(), us.end()), seconds);
}

}  // namespace

int main(int argc, char** argv) {
    const double seconds = argc > 1 ? std::atof(argv[1]) : 20.0;
    if (!(seconds > 0 && seconds <= 3600)) {
        std::fprintf(stderr, "usage: bench_stall [SECONDS from 0 to 3600]\n");
        return 2;
    }
    const int64_t lengthNs = static_cast<int64_t>(seconds * 1e9);
    std::printf("Stalls of this machine with nothing asking for the processor:\n");

    const long steal0 = StealTicks();
    std::vector<double> spinGapsUs;  // only the gaps over 20 us: a read of the clock takes well under that
    std::thread([&] {
        const int64_t end = NowNs() + lengthNs;
        for (int64_t prev = NowNs(); prev < end;) {
            const int64_t now = NowNs();
            if (now - prev > 20000) spinGapsUs.push_back(static_cast<double>(now - prev) / 1e3);
            prev = now;
        }
    }).join();
    const long steal1 = StealTicks();
    PrintGaps("a thread reading the clock, gaps:", spinGapsUs, seconds, false);
    if (steal0 >= 0) std::printf("    steal: %ld ticks of 10 ms\n", steal1 - steal0);

    std::vector<double> lateUs;
    lateUs.reserve(static_cast<size_t>(seconds * 1000));
    std::thread([&] {
        PlatformRaiseThreadPriority();
        const int64_t end = NowNs() + lengthNs;
        while (NowNs() < end) {
            const int64_t before = NowNs();
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
            lateUs.push_back(static_cast<double>(NowNs() - before - 1000000) / 1e3);
        }
    }).join();
    PrintGaps("1 ms sleeps at the tools' priority, late:", lateUs, seconds, true);
    if (steal1 >= 0) std::printf("    steal: %ld ticks of 10 ms\n", StealTicks() - steal1);
    return 0;
}
