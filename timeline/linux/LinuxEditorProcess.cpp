// Starting the editor process and its lock file.
#include <errno.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <thread>

#include "platform/linux/LinuxPlatform.h"
#include "timeline/EditorProcess.h"

extern char** environ;

int PlatformSpawnTimelineEditor(int masterPid) {
    const std::string exe = LinuxProcessExe(getpid());
    if (exe.empty()) return 0;
    const std::string pid = std::to_string(masterPid);
    char* argv[] = {const_cast<char*>(exe.c_str()), const_cast<char*>("--timeline"), const_cast<char*>(pid.c_str()),
                    nullptr};
    pid_t child = 0;
    if (posix_spawn(&child, exe.c_str(), nullptr, nullptr, argv, environ) != 0) return 0;
    std::thread([child] {
        int status = 0;
        while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
        }
    }).detach();
    return static_cast<int>(child);
}

int PlatformLockFile(const std::string& path, bool& taken) {
    taken = false;
    const int fd = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (fd < 0) return -1;
    if (flock(fd, LOCK_EX | LOCK_NB) != 0) {
        taken = errno == EWOULDBLOCK;
        close(fd);
        return -1;
    }
    return fd;
}

void PlatformCloseFile(int fd) {
    if (fd >= 0) close(fd);
}
