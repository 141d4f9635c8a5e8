// The socket of the IPC channel on Linux: an AF_UNIX stream socket in the data folder, peers known by
// SO_PEERCRED and the executable that /proc shows for them.
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>

#include "bridge/Ipc.h"
#include "core/Threads.h"
#include "platform/Platform.h"
#include "platform/linux/LinuxPlatform.h"

namespace {

int g_ListenFd = -1;
int g_StopPipe[2] = {-1, -1};  // a byte in it ends the server's wait
std::thread g_IpcThread;
std::atomic<bool> g_IpcRunning{false};
std::atomic<bool> g_IpcAvailable{false};
void (*g_IpcHandler)(std::string_view) = nullptr;

// XDG_RUNTIME_DIR when it is what it should be: an absolute path to a folder of ours that no one else may
// enter (0700). Anything else counts as none.
std::string PrivateRuntimeDir() {
    const char* dir = std::getenv("XDG_RUNTIME_DIR");
    if (!dir || dir[0] != '/') return "";
    struct stat st {};
    if (lstat(dir, &st) != 0 || !S_ISDIR(st.st_mode) || st.st_uid != getuid() || (st.st_mode & 077) != 0) return "";
    return dir;
}

std::string SocketPath() {
    return IpcSocketPath(PlatformDataDir(), static_cast<unsigned>(getuid()), PrivateRuntimeDir());
}

bool FillAddress(sockaddr_un& addr) {
    std::memset(&addr, 0, sizeof addr);
    addr.sun_family = AF_UNIX;
    const std::string path = SocketPath();
    if (path.empty() || path.size() >= sizeof addr.sun_path) return false;
    std::memcpy(addr.sun_path, path.c_str(), path.size() + 1);
    return true;
}

// The whole authentication of the channel, both ways: the same user, running the same executable file.
bool PeerIsUs(int fd) {
    static const std::string self = LinuxProcessExe(getpid());
    ucred cred{};
    socklen_t len = sizeof cred;
    if (getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &cred, &len) != 0 || len != sizeof cred) return false;
    if (cred.uid != getuid() || cred.pid < 1) return false;
    return !self.empty() && LinuxProcessExe(cred.pid) == self;
}

void SetReceiveTimeout(int fd) {
    timeval tv{};
    tv.tv_sec = 1;
    setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &tv, sizeof tv);
}

// One connection: read to the end of the stream (or the time-out), then act. The connection is closed
// only after the command has run: that is how the sender knows the master is done with it.
void Serve(int fd) {
    SetReceiveTimeout(fd);
    if (!PeerIsUs(fd)) return;
    std::string message;
    char chunk[kIpcMessageLimit];
    for (;;) {
        const ssize_t n = read(fd, chunk, sizeof chunk);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;
        message.append(chunk, static_cast<size_t>(n));
        if (message.size() >= kIpcMessageLimit) return;
    }
    g_IpcHandler(message);
}

void ServerLoop() {
    PlatformNameThread("QVN ipc server");
    while (g_IpcRunning) {
        pollfd p[2] = {{g_ListenFd, POLLIN, 0}, {g_StopPipe[0], POLLIN, 0}};
        if (poll(p, 2, -1) <= 0 || p[1].revents) continue;
        const int fd = accept4(g_ListenFd, nullptr, nullptr, SOCK_CLOEXEC);
        if (fd < 0) continue;
        Serve(fd);
        close(fd);
    }
}

}  // namespace

bool PlatformStartIpcServer(void (*handler)(std::string_view message)) {
    if (g_IpcRunning) return true;
    sockaddr_un addr{};
    if (!FillAddress(addr)) return false;
    unlink(addr.sun_path);  // a socket file left by a crashed run
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0) return false;
    // The file is made private as it is made, not a moment later.
    const mode_t old = umask(077);
    const int bound = bind(fd, reinterpret_cast<const sockaddr*>(&addr), sizeof addr);
    umask(old);
    if (bound != 0 || chmod(addr.sun_path, 0600) != 0 || listen(fd, 8) != 0) {
        if (bound == 0) unlink(addr.sun_path);
        close(fd);
        return false;
    }
    if (pipe2(g_StopPipe, O_CLOEXEC) != 0) {
        unlink(addr.sun_path);
        close(fd);
        return false;
    }
    g_ListenFd = fd;
    g_IpcHandler = handler;
    g_IpcRunning = true;
    g_IpcAvailable = true;
    g_IpcThread = std::thread(ServerLoop);
    return true;
}

void PlatformStopIpcServer() {
    if (!g_IpcRunning.exchange(false)) return;
    const char stop = 1;
    (void)!write(g_StopPipe[1], &stop, 1);
    if (g_IpcThread.joinable()) g_IpcThread.join();
    for (int& end : g_StopPipe) {
        close(end);
        end = -1;
    }
    sockaddr_un addr{};
    if (FillAddress(addr)) unlink(addr.sun_path);
    close(g_ListenFd);
    g_ListenFd = -1;
    g_IpcAvailable = false;
}

bool PlatformIpcAvailable() { return g_IpcAvailable; }

void SendIPCMessage(const std::string& command, const std::string& payload) {
    const std::string message = command + "|" + payload;
    if (message.size() >= kIpcMessageLimit) return;
    sockaddr_un addr{};
    if (!FillAddress(addr)) return;
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0) return;
    if (connect(fd, reinterpret_cast<const sockaddr*>(&addr), sizeof addr) == 0 && PeerIsUs(fd)) {
        // No SIGPIPE for a master that has gone meanwhile.
        if (send(fd, message.data(), message.size(), MSG_NOSIGNAL) >= 0) {
            shutdown(fd, SHUT_WR);
            SetReceiveTimeout(fd);
            // Nothing ever comes back: this waits for the master to close, at most about a second.
            char byte;
            for (;;) {
                const ssize_t n = read(fd, &byte, 1);
                if (n < 0 && errno == EINTR) continue;
                if (n <= 0) break;
            }
        }
    }
    close(fd);
}
