// The swap of the install for its staged copy, the relaunch, and the sweep of what a crash leaves behind.
#define _GNU_SOURCE 1
#include <dirent.h>
#include <fcntl.h>
#include <ftw.h>
#include <linux/close_range.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <string>

#include "platform/Platform.h"
#include "update/Update.h"

namespace {

std::string ParentOf(const std::string& path) {
    const auto slash = path.rfind('/');
    if (slash == std::string::npos || slash == 0) return "";
    return path.substr(0, slash);
}

int RemoveEntry(const char* path, const struct stat*, int, FTW*) {
    remove(path);  // failures are ignored: the sweep does what it can
    return 0;
}

}  // namespace

std::string OwnAppPath() {
    char buffer[4096];
    const ssize_t n = readlink("/proc/self/exe", buffer, sizeof buffer - 1);
    if (n <= 0) return "";
    return ParentOf(std::string(buffer, static_cast<size_t>(n)));
}

bool IsOwnRealDirectory(const std::string& path) {
    struct stat st {};
    return lstat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode) && st.st_uid == geteuid();
}

void RemoveTree(const std::string& path) {
    if (!IsOwnRealDirectory(path)) return;
    // Depth first, physical: a link inside is removed as a link, never followed.
    nftw(path.c_str(), RemoveEntry, 16, FTW_DEPTH | FTW_PHYS | FTW_MOUNT);
}

void SweepFolder(const std::string& dir, const std::initializer_list<std::string>& prefixes) {
    DIR* d = opendir(dir.c_str());
    if (!d) return;
    std::vector<std::string> doomed;
    while (dirent* e = readdir(d)) {
        const std::string name = e->d_name;
        for (const std::string& prefix : prefixes)
            if (name.rfind(prefix, 0) == 0) doomed.push_back(dir + "/" + name);
    }
    closedir(d);
    for (const std::string& path : doomed) RemoveTree(path);
}

void CleanupUpdateTempFiles() {
    std::string temp = PlatformTempDir();
    if (temp.size() > 1 && temp.back() == '/') temp.pop_back();
    SweepFolder(temp, {DownloadFolderPrefix()});
    const std::string parent = ParentOf(OwnAppPath());
    if (!parent.empty()) SweepFolder(parent, {StagingFolderPrefix(), OldCopyPrefix()});
}

std::string SwapInStagedUpdate(const std::string& appPath, const std::string& stagedAppPath, std::string& oldCopy,
                               const RenameFn& renameFn) {
    const RenameFn doRename = renameFn ? renameFn : [](const char* from, const char* to) { return rename(from, to); };
    oldCopy.clear();
    const std::string parent = ParentOf(appPath);
    const std::string stagingDir = ParentOf(stagedAppPath);
    unsigned char random[8];
    std::string suffix;
    if (getrandom(random, sizeof random, 0) == static_cast<ssize_t>(sizeof random))
        suffix = UpdateCore::HexEncodeLower(random, sizeof random);
    if (appPath.empty() || suffix.empty() || parent.empty() || ParentOf(stagingDir) != parent) {
        RemoveTree(stagingDir);
        return kUpdateFailedInstall;
    }
    const std::string old = parent + "/" + OldCopyPrefix() + suffix;
    if (doRename(appPath.c_str(), old.c_str()) != 0) {
        RemoveTree(stagingDir);
        return kUpdateFailedInstall;
    }
    if (doRename(stagedAppPath.c_str(), appPath.c_str()) != 0) {
        doRename(old.c_str(), appPath.c_str());  // the way back
        RemoveTree(stagingDir);
        return kUpdateFailedInstall;
    }
    rmdir(stagingDir.c_str());
    oldCopy = old;
    return "";
}

void SpawnRelauncher(const std::string& oldCopy, const std::string& appPath) {
    static const char* kLine =
        "while kill -0 \"$1\" 2>/dev/null; do sleep 0.2; done; rm -rf \"$2\"; exec \"$3/quorvane\"";
    const std::string pid = std::to_string(getpid());
    const std::string exe = appPath;
    const char* argv[] = {"/bin/sh", "-c", kLine, "sh", pid.c_str(), oldCopy.c_str(), exe.c_str(), nullptr};
    const pid_t child = fork();
    if (child != 0) return;  // the result isn't tested
    // In the child: only calls that are safe after fork in a threaded process. It leaves our session and
    // keeps none of our descriptors (the instance lock among them), so the new app starts clean.
    setsid();
    const int null = open("/dev/null", O_RDWR);
    if (null >= 0) {
        dup2(null, 0);
        dup2(null, 1);
        dup2(null, 2);
    }
    syscall(SYS_close_range, 3U, ~0U, 0U);
    execv("/bin/sh", const_cast<char* const*>(argv));
    _exit(127);
}

std::string InstallStagedUpdate(const std::string& stagedAppPath) {
    const std::string appPath = OwnAppPath();
    std::string oldCopy;
    const std::string message = SwapInStagedUpdate(appPath, stagedAppPath, oldCopy);
    if (!message.empty()) return message;
    SpawnRelauncher(oldCopy, appPath);
    return "";
}
