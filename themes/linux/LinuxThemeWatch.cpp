// Folder watching with inotify on a thread, and the themes-changed signal.
#include <poll.h>
#include <signal.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <cerrno>
#include <thread>

#include "core/Threads.h"
#include "platform/Platform.h"
#include "themes/ThemeWatch.h"

namespace {

constexpr uint32_t kWatchMask = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_CLOSE_WRITE | IN_MOVE_SELF;

// Reads what is queued now; false when the descriptor has gone bad.
bool DrainEvents(int fd, bool wait) {
    alignas(inotify_event) char buf[4096];
    for (;;) {
        pollfd p{fd, POLLIN, 0};
        const int ready = poll(&p, 1, wait ? -1 : 0);
        if (ready < 0 && errno == EINTR) continue;
        if (ready < 0) return false;
        if (ready == 0) return true;
        const ssize_t n = read(fd, buf, sizeof buf);
        if (n < 0 && (errno == EINTR || errno == EAGAIN)) continue;
        if (n <= 0) return false;
        wait = false;
    }
}

}  // namespace

void PlatformWatchDirectory(const std::string& path, std::function<void()> callback) {
    const int fd = inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
    if (fd < 0) return;
    if (inotify_add_watch(fd, path.c_str(), kWatchMask) < 0) {
        close(fd);
        return;
    }
    // The thread and its descriptor last as long as the process, as the watch does.
    std::thread([fd, callback = std::move(callback)] {
        PlatformNameThread("qvn-themewatch");
        // One call per burst: what queued while the callback ran is taken together for the next call.
        while (DrainEvents(fd, true)) callback();
        close(fd);
    }).detach();
}

void PlatformSignalThemesChanged(int pid) { PlatformSignalChild(pid, SIGUSR1); }
