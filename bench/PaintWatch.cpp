// Watches a rectangle of the screen from one connection. A screenshot tool started again and again costs a
// good part of a core on this machine, which the program being timed would miss.
//   qvn_paint_watch X Y WIDTH HEIGHT COLOURS TIMEOUT_MS
//     prints the wall clock (milliseconds since the epoch) at which the rectangle first shows more than
//     COLOURS colours: the moment something was painted there; exit 1 on time-out.
//   qvn_paint_watch --frames X Y WIDTH HEIGHT SECONDS
//     counts the frames that reach the screen there (every change of its pixels, looked at every
//     millisecond) and prints their rate and the times between them, from the first change on.
#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace {

long long NowMs() {
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::system_clock::now().time_since_epoch())
        .count();
}

double SteadyMs() {
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

int WatchPaint(Display* d, int x, int y, unsigned w, unsigned h, size_t colours, long long timeoutMs) {
    const long long end = NowMs() + timeoutMs;
    const Window root = DefaultRootWindow(d);
    while (NowMs() < end) {
        if (XImage* image = XGetImage(d, root, x, y, w, h, AllPlanes, ZPixmap)) {
            std::set<unsigned long> seen;
            for (unsigned j = 0; j < h && seen.size() <= colours; ++j) {
                for (unsigned i = 0; i < w && seen.size() <= colours; ++i) seen.insert(XGetPixel(image, i, j));
            }
            XDestroyImage(image);
            if (seen.size() > colours) {
                std::printf("%lld\n", NowMs());
                return 0;
            }
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return 1;
}

int CountFrames(Display* d, int x, int y, unsigned w, unsigned h, double seconds) {
    const Window root = DefaultRootWindow(d);
    std::vector<char> last;
    std::vector<double> changes;
    const double end = SteadyMs() + seconds * 1000;
    while (SteadyMs() < end) {
        if (XImage* image = XGetImage(d, root, x, y, w, h, AllPlanes, ZPixmap)) {
            const size_t n = static_cast<size_t>(image->bytes_per_line) * image->height;
            if (last.size() != n || std::memcmp(last.data(), image->data, n) != 0) {
                last.assign(image->data, image->data + n);
                changes.push_back(SteadyMs());
            }
            XDestroyImage(image);
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    // The first look only records what was there before; the first change starts the clock.
    if (changes.size() < 3) {
        std::printf("frames: fewer than two changes\n");
        return 1;
    }
    std::vector<double> gaps;
    for (size_t i = 2; i < changes.size(); ++i) gaps.push_back(changes[i] - changes[i - 1]);
    std::sort(gaps.begin(), gaps.end());
    const auto at = [&gaps](double p) { return gaps[std::min(gaps.size() - 1, static_cast<size_t>(gaps.size() * p))]; };
    const double span = changes.back() - changes[1];
    std::printf("%.1f frames/s (%zu over %.0f ms); between frames p50 %.1f ms, p90 %.1f ms, max %.1f ms\n",
                1000.0 * static_cast<double>(gaps.size()) / span, gaps.size(), span, at(0.5), at(0.9), gaps.back());
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    const bool frames = argc == 7 && std::string(argv[1]) == "--frames";
    if (argc != 7) {
        std::fprintf(stderr,
                     "usage: qvn_paint_watch X Y WIDTH HEIGHT COLOURS TIMEOUT_MS\n"
                     "       qvn_paint_watch --frames X Y WIDTH HEIGHT SECONDS\n");
        return 2;
    }
    char** a = argv + (frames ? 2 : 1);
    const int x = std::atoi(a[0]), y = std::atoi(a[1]);
    const unsigned w = static_cast<unsigned>(std::atoi(a[2])), h = static_cast<unsigned>(std::atoi(a[3]));
    Display* d = XOpenDisplay(nullptr);
    if (!d || w == 0 || h == 0) return 2;
    const int rc = frames ? CountFrames(d, x, y, w, h, std::atof(a[4]))
                          : WatchPaint(d, x, y, w, h, static_cast<size_t>(std::atoi(a[4])), std::atoll(a[5]));
    XCloseDisplay(d);
    return rc;
}
