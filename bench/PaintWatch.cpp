// Watches a rectangle of the screen from one connection and prints the wall clock (milliseconds since the
// epoch) at which it first shows more than a number of colours: the moment something was painted there.
// A screenshot tool started again and again costs a good part of a core on this machine, which the program
// being timed would miss. Usage: qvn_paint_watch X Y WIDTH HEIGHT COLOURS TIMEOUT_MS; exit 1 on time-out.
#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <set>
#include <thread>

namespace {

long long NowMs() {
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::system_clock::now().time_since_epoch())
        .count();
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 7) {
        std::fprintf(stderr, "usage: qvn_paint_watch X Y WIDTH HEIGHT COLOURS TIMEOUT_MS\n");
        return 2;
    }
    const int x = std::atoi(argv[1]), y = std::atoi(argv[2]);
    const unsigned w = static_cast<unsigned>(std::atoi(argv[3])), h = static_cast<unsigned>(std::atoi(argv[4]));
    const size_t colours = static_cast<size_t>(std::atoi(argv[5]));
    const long long end = NowMs() + std::atoll(argv[6]);
    Display* d = XOpenDisplay(nullptr);
    if (!d || w == 0 || h == 0) return 2;
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
                XCloseDisplay(d);
                return 0;
            }
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    XCloseDisplay(d);
    return 1;
}
