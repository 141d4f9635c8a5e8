// The timeline exchange at its limit, 1,000,000 events, and the IPC channel's command rate.
//   bench_timeline   timings; the socket lives in a private temporary data folder
#include <stdlib.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "bridge/Ipc.h"
#include "platform/Platform.h"
#include "timeline/TimelineExchange.h"
#include "timeline/TimelineSaveDoc.h"

namespace {

double Seconds(const std::function<void()>& fn) {
    const auto t = std::chrono::steady_clock::now();
    fn();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - t).count();
}

// Best and worst of `runs`.
std::pair<double, double> Runs(int runs, const std::function<void()>& fn) {
    double best = 1e9, worst = 0;
    for (int i = 0; i < runs; ++i) {
        const double s = Seconds(fn);
        best = std::min(best, s);
        worst = std::max(worst, s);
    }
    return {best, worst};
}

// A recorded session: mouse paths with clicks, typing, a scroll now and then, times in microseconds.
std::vector<UnifiedEvent> Recording(size_t n) {
    std::vector<UnifiedEvent> ev;
    ev.reserve(n);
    double t = 0;
    for (size_t i = 0; i < n; ++i) {
        t += 0.001 + static_cast<double>(i % 7) * 0.000137;
        UnifiedEvent e;
        switch (i % 10) {
            case 0: e = UnifiedEvent{EventMouseClick, t, 640, 480, 2, 0, false, 0}; break;
            case 1: e = UnifiedEvent{EventKey, t, 0, 0, 0, 65 + static_cast<int>(i % 26), true, 0}; break;
            case 2: e = UnifiedEvent{EventKey, t, 0, 0, 0, 65 + static_cast<int>(i % 26), false, 0}; break;
            case 3: e = UnifiedEvent{EventScroll, t, 0, 0, 0, 0, false, -120}; break;
            default:
                e = UnifiedEvent{EventMoveAbs, t, static_cast<int64_t>(i % 1920), static_cast<int64_t>(i % 1080), 0, 0,
                                 false,        0};
        }
        ev.push_back(e);
    }
    return ev;
}

std::atomic<long> g_Handled{0};
void CountMessage(std::string_view message) {
    HandleIpcMessage(message);
    ++g_Handled;
}

}  // namespace

int main() {
    char dir[] = "/tmp/qvn-bench-XXXXXX";
    if (!mkdtemp(dir)) return 1;
    setenv("XDG_DATA_HOME", dir, 1);  // never the user's own socket or files

    const std::vector<UnifiedEvent> events = Recording(1000000);
    std::string json;
    const auto toJson = Runs(5, [&] { json = TimelineEventsToJson(events); });
    const std::string doc = R"({"nonce":"0123abcd","loadNonce":"fedc9876","events":)" + json + "}";
    std::printf("TimelineEventsToJson, 1,000,000 events (%.1f MB): best %.3f s, worst %.3f s\n",
                static_cast<double>(json.size()) / 1e6, toJson.first, toJson.second);

    TimelineSaveDoc parsed;
    std::string error;
    const auto parse = Runs(5, [&] { error = ParseTimelineSaveDoc(doc, parsed); });
    if (!error.empty() || parsed.events.size() != events.size()) {
        std::fprintf(stderr, "the document did not parse: %s\n", error.c_str());
        return 1;
    }
    std::printf("ParseTimelineSaveDoc, the same document: best %.3f s, worst %.3f s (target 0.4 s)\n", parse.first,
                parse.second);

    if (!PlatformStartIpcServer(CountMessage)) {
        std::fprintf(stderr, "the IPC server did not start\n");
        return 1;
    }
    constexpr int kCommands = 5000;
    const double ipc = Seconds([] {
        for (int i = 0; i < kCommands; ++i) SendIPCMessage("panelHover", i % 2 ? "1" : "0");
    });
    PlatformStopIpcServer();
    std::printf("IPC, %d commands from one sender, each waited for: %.0f commands/s (%ld handled)\n", kCommands,
                kCommands / ipc, g_Handled.load());
    std::filesystem::remove_all(dir);
    return 0;
}
