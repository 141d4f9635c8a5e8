// A session of 1,000,000 events: how long a save and a load take and how much memory they use at their
// peak, next to writing and reading the same bytes raw.
#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <string>

#include "core/AppState.h"
#include "persist/SessionFile.h"
#include "platform/Platform.h"

namespace {

long PeakRssKb() {
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line)) {
        if (line.rfind("VmHWM:", 0) == 0) return std::atol(line.c_str() + 6);
    }
    return -1;
}

void ResetPeakRss() { std::ofstream("/proc/self/clear_refs") << "5"; }

struct Result {
    double seconds;
    long peakExtraKb;
};

Result Measure(const std::function<void()>& fn) {
    ResetPeakRss();
    const long base = PeakRssKb();
    const auto t = std::chrono::steady_clock::now();
    fn();
    const double s = std::chrono::duration<double>(std::chrono::steady_clock::now() - t).count();
    return {s, PeakRssKb() - base};
}

void MakeProfiles(size_t n) {
    profiles.assign(1, MacroProfile{kDefaultProfileName, "", {}});
    auto& ev = profiles[0].events;
    ev.reserve(n);
    for (size_t i = 0; i < n; ++i) {
        UnifiedEvent e;
        e.type = static_cast<int32_t>(i % 4);
        e.time = static_cast<double>(i) * 0.000987;
        e.x = static_cast<int64_t>(i % 1920);
        e.y = static_cast<int64_t>(i % 1080);
        e.mouseFlags = e.type == EventMouseClick ? 2 : 0;
        e.vk = e.type == EventKey ? 65 : 0;
        e.down = i % 2 == 0;
        ev.push_back(e);
    }
    currentProfileIdx = 0;
}

}  // namespace

int main() {
    constexpr size_t kEvents = 1000000;
    char dir[] = "/tmp/qvn-bench-XXXXXX";
    if (!mkdtemp(dir)) return 1;
    g_SessionStateFilePath = std::string(dir) + "/session.dat";
    const std::string rawPath = std::string(dir) + "/raw.dat";

    MakeProfiles(kEvents);
    const Result save = Measure(SaveSessionState);
    const std::string bytes = ReadFile(g_SessionStateFilePath);
    const Result rawWrite = Measure([&] {
        std::FILE* f = std::fopen(rawPath.c_str(), "wb");
        std::fwrite(bytes.data(), 1, bytes.size(), f);
        std::fclose(f);
    });

    profiles.clear();
    const Result load = Measure([] { LoadSessionState(); });
    const size_t loaded = profiles.empty() ? 0 : profiles[0].events.size();
    profiles.clear();
    profiles.shrink_to_fit();
    const Result rawRead = Measure([&] {
        volatile size_t n = ReadFile(rawPath).size();
        (void)n;
    });

    std::printf("session of %zu events, %.1f MB\n", loaded, static_cast<double>(bytes.size()) / 1e6);
    std::printf("%-10s %10s %14s\n", "", "seconds", "peak extra MB");
    std::printf("%-10s %10.3f %14.1f\n", "save", save.seconds, static_cast<double>(save.peakExtraKb) / 1024);
    std::printf("%-10s %10.3f %14.1f\n", "raw write", rawWrite.seconds,
                static_cast<double>(rawWrite.peakExtraKb) / 1024);
    std::printf("%-10s %10.3f %14.1f\n", "load", load.seconds, static_cast<double>(load.peakExtraKb) / 1024);
    std::printf("%-10s %10.3f %14.1f\n", "raw read", rawRead.seconds, static_cast<double>(rawRead.peakExtraKb) / 1024);
    std::system((std::string("rm -rf ") + dir).c_str());
    return loaded == kEvents ? 0 : 1;
}
