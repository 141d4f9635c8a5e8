#include "platform/linux/LinuxPlatform.h"

#include <dirent.h>
#include <fcntl.h>
#include <limits.h>
#include <pwd.h>
#include <signal.h>
#include <spawn.h>
#include <sys/file.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "platform/Platform.h"
#include "platform/Window.h"

namespace {

std::string HomeDir() {
    const char* home = std::getenv("HOME");
    if (home && home[0] == '/') return home;
    passwd entry{};
    passwd* found = nullptr;
    char buf[4096];
    if (getpwuid_r(getuid(), &entry, buf, sizeof buf, &found) == 0 && found && found->pw_dir) return found->pw_dir;
    return "/tmp";
}

std::string ExecutablePath() { return LinuxProcessExe(getpid()); }

}  // namespace

std::string LinuxDataDirPath() {
    const char* xdg = std::getenv("XDG_DATA_HOME");
    if (xdg && xdg[0] == '/') return std::string(xdg) + "/Quorvane";
    return HomeDir() + "/.local/share/Quorvane";
}

void LinuxEnsurePrivateDir(const std::string& dir) {
    for (size_t slash = dir.find('/', 1); slash != std::string::npos; slash = dir.find('/', slash + 1)) {
        mkdir(dir.substr(0, slash).c_str(), 0700);  // existing parents keep their mode
    }
    mkdir(dir.c_str(), 0700);
    chmod(dir.c_str(), 0700);
}

std::string LinuxProcessExe(int pid) {
    char buf[PATH_MAX];
    const std::string link = "/proc/" + std::to_string(pid) + "/exe";
    const ssize_t n = readlink(link.c_str(), buf, sizeof buf);
    if (n <= 0 || n >= static_cast<ssize_t>(sizeof buf)) return "";
    return std::string(buf, static_cast<size_t>(n));
}

const std::string& PlatformDataDir() {
    static const std::string dir = [] {
        std::string d = LinuxDataDirPath();
        LinuxEnsurePrivateDir(d);
        return d;
    }();
    return dir;
}

std::string PlatformResourceDir() {
    const std::string exe = ExecutablePath();
    const auto slash = exe.rfind('/');
    if (slash != std::string::npos) {
        std::string dir = exe.substr(0, slash) + "/resources";
        struct stat st {};
        if (stat(dir.c_str(), &st) == 0 && S_ISDIR(st.st_mode)) return dir;
    }
    // Never the working folder: whatever page sits there would get the bindings of the running app.
    return "";
}

std::string PlatformTempDir() {
    const char* tmp = std::getenv("TMPDIR");
    if (tmp && tmp[0] == '/') {
        std::string dir = tmp;
        if (dir.back() != '/') dir += '/';
        return dir;
    }
    return "/tmp/";
}

bool PlatformFileExists(const std::string& path) { return access(path.c_str(), F_OK) == 0; }

namespace {

std::atomic<unsigned> g_TempFileCounter{0};

// ".<name>.<pid>-<n>.tmp" beside the target: a rename within one folder is one step, and the pid lets the
// start-up sweep tell a live writer's file from a dead one's.
std::string TempPathFor(const std::string& path) {
    const size_t slash = path.rfind('/');
    const std::string dir = slash == std::string::npos ? "" : path.substr(0, slash + 1);
    const std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
    return dir + "." + name + "." + std::to_string(getpid()) + "-" + std::to_string(++g_TempFileCounter) + ".tmp";
}

bool WriteAll(int fd, const char* data, size_t size) {
    while (size > 0) {
        const ssize_t n = write(fd, data, size);
        if (n < 0) {
            if (errno == EINTR) continue;
            return false;
        }
        data += n;
        size -= static_cast<size_t>(n);
    }
    return true;
}

void SyncFolderOf(const std::string& path) {
    const size_t slash = path.rfind('/');
    const std::string dir = slash == std::string::npos ? "." : slash == 0 ? "/" : path.substr(0, slash);
    const int fd = open(dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) return;
    fsync(fd);  // the rename itself on disk; a failure here leaves the new file in place all the same
    close(fd);
}

// Fills a fresh temporary file beside `path` through `fill`, flushes it and renames it over `path`.
template <class Fill>
bool ReplaceFile(const std::string& path, Fill fill) {
    const std::string tmp = TempPathFor(path);
    const int fd = open(tmp.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);  // the umask applies
    if (fd < 0) return false;
    struct stat old {};
    if (stat(path.c_str(), &old) == 0) fchmod(fd, old.st_mode & 07777);  // a replaced file keeps its mode
    bool ok = fill(fd) && fsync(fd) == 0;
    if (close(fd) != 0) ok = false;
    if (ok) ok = rename(tmp.c_str(), path.c_str()) == 0;
    if (!ok) {
        unlink(tmp.c_str());
        return false;
    }
    SyncFolderOf(path);
    return true;
}

}  // namespace

bool WriteWholeFile(const std::string& path, const std::string& text) {
    return ReplaceFile(path, [&text](int fd) { return WriteAll(fd, text.data(), text.size()); });
}

bool PlatformCopyFile(const std::string& from, const std::string& to) {
    const int in = open(from.c_str(), O_RDONLY | O_CLOEXEC);
    if (in < 0) return false;
    const bool ok = ReplaceFile(to, [in](int out) {
        for (;;) {
            const ssize_t n = sendfile(out, in, nullptr, 1 << 20);
            if (n == 0) return true;
            if (n < 0 && errno != EINTR) return false;
        }
    });
    close(in);
    return ok;
}

std::string PlatformSetFileAside(const std::string& path) {
    const std::time_t now = std::time(nullptr);
    std::tm utc{};
    gmtime_r(&now, &utc);
    char stamp[32];
    std::strftime(stamp, sizeof stamp, "%Y%m%d-%H%M%SZ", &utc);
    const std::string base = path + ".unreadable-" + stamp;
    for (int n = 1; n < 1000; ++n) {
        const std::string aside = n == 1 ? base : base + "-" + std::to_string(n);
        // A hard link never replaces an existing name; the old name goes only once the new one holds the data.
        if (link(path.c_str(), aside.c_str()) == 0) {
            unlink(path.c_str());
            SyncFolderOf(path);
            return aside;
        }
        if (errno != EEXIST) break;
    }
    return "";
}

void PlatformRemoveStaleTempFiles(const std::string& dir) {
    DIR* d = opendir(dir.c_str());
    if (!d) return;
    while (const dirent* entry = readdir(d)) {
        const std::string name = entry->d_name;
        if (name.size() < 6 || name[0] != '.' || name.compare(name.size() - 4, 4, ".tmp") != 0) continue;
        const size_t dot = name.rfind('.', name.size() - 5);
        if (dot == std::string::npos) continue;
        const int pid = std::atoi(name.c_str() + dot + 1);
        if (pid <= 0 || name.find('-', dot) == std::string::npos) continue;
        if (kill(pid, 0) != 0 && errno == ESRCH) unlinkat(dirfd(d), name.c_str(), 0);
    }
    closedir(d);
}

bool PlatformDeleteFile(const std::string& path) { return unlink(path.c_str()) == 0; }

const char* PlatformPathSeparator() { return "/"; }

std::string GetThemesDirPath() {
    std::string dir = PlatformDataDir() + "/themes";
    mkdir(dir.c_str(), 0700);
    return dir;
}

bool LockInstanceFile(const std::string& dir) {
    mkdir(dir.c_str(), 0700);
    const std::string path = dir + "/instance.lock";
    const int fd = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (fd < 0) return true;  // when in doubt, start
    if (flock(fd, LOCK_EX | LOCK_NB) != 0) {
        close(fd);
        return false;
    }
    // The descriptor stays open: the lock lasts as long as the process, and the kernel drops it on a crash.
    return true;
}

bool PlatformAcquireSingleInstanceLock() {
    static bool held = false;
    if (held) return true;
    const std::string canonical = LinuxDataDirPath();
    LinuxEnsurePrivateDir(canonical);
    if (!LockInstanceFile(canonical)) return false;
    if (PlatformDataDir() != canonical && !LockInstanceFile(PlatformDataDir())) return false;
    held = true;
    return true;
}

bool PlatformProcessIsThisApp(int pid) {
    if (pid < 1 || kill(pid, 0) != 0) return false;
    const std::string theirs = LinuxProcessExe(pid);
    const std::string ours = ExecutablePath();
    return !theirs.empty() && !ours.empty() && theirs == ours;
}

int PlatformProcessId() { return static_cast<int>(getpid()); }
int PlatformParentProcessId() { return static_cast<int>(getppid()); }

int PlatformSpawnChild(const std::string& arg) {
    const std::string exe = ExecutablePath();
    if (exe.empty()) return 0;
    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attr;
    posix_spawn_file_actions_init(&actions);
    posix_spawnattr_init(&attr);
    // Only the standard streams go along: the child has no business with our sockets or the display.
    posix_spawn_file_actions_addclosefrom_np(&actions, 3);
    // SIGUSR1 says "themes changed" and would end a process that hasn't set up its handler yet: it waits,
    // blocked, until the child takes it. The rest of the dispositions start afresh.
    sigset_t mask, defaults;
    sigemptyset(&mask);
    sigaddset(&mask, SIGUSR1);
    sigemptyset(&defaults);
    for (int sig : {SIGTERM, SIGINT, SIGHUP, SIGPIPE, SIGCHLD}) sigaddset(&defaults, sig);
    posix_spawnattr_setsigmask(&attr, &mask);
    posix_spawnattr_setsigdefault(&attr, &defaults);
    posix_spawnattr_setflags(&attr, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    std::string child = "--child";
    std::string argument = arg;
    char* argv[] = {const_cast<char*>(exe.c_str()), child.data(), argument.data(), nullptr};
    pid_t pid = 0;
    const int rc = posix_spawn(&pid, exe.c_str(), &actions, &attr, argv, environ);
    posix_spawnattr_destroy(&attr);
    posix_spawn_file_actions_destroy(&actions);
    return rc == 0 ? static_cast<int>(pid) : 0;
}

void PlatformSignalChild(int pid, int sig) {
    if (pid > 0) kill(pid, sig);
}

std::string LinuxAutostartPath() {
    const char* xdg = std::getenv("XDG_CONFIG_HOME");
    const std::string base = xdg && xdg[0] == '/' ? std::string(xdg) : HomeDir() + "/.config";
    return base + "/autostart/app.quorvane.pro.desktop";
}

std::string LinuxAutostartEntry(const std::string& executable) {
    // Exec takes a quoted argument: '"', '`', '$' and '\' get a backslash, then the value's own escaping
    // doubles every backslash; '%' is a field code unless doubled.
    std::string quoted = "\"";
    for (char c : executable) {
        if (c == '"' || c == '`' || c == '$') {
            quoted += "\\\\";
            quoted += c;
        } else if (c == '\\') {
            quoted += "\\\\\\\\";
        } else if (c == '%') {
            quoted += "%%";
        } else {
            quoted += c;
        }
    }
    quoted += '"';
    return "[Desktop Entry]\nType=Application\nName=Quorvane\nComment=Start Quorvane at login\nExec=" + quoted +
           "\nTerminal=false\nX-GNOME-Autostart-enabled=true\n";
}

void PlatformApplyLaunchOnStartup(bool on) {
    const std::string path = LinuxAutostartPath();
    if (!on) {
        unlink(path.c_str());
        return;
    }
    const std::string entry = LinuxAutostartEntry(ExecutablePath());
    if (ReadFile(path) == entry) return;  // spares a write on every start
    const std::string dir = path.substr(0, path.rfind('/'));
    for (size_t slash = dir.find('/', 1); slash != std::string::npos; slash = dir.find('/', slash + 1)) {
        mkdir(dir.substr(0, slash).c_str(), 0755);
    }
    mkdir(dir.c_str(), 0755);  // an existing folder keeps its mode
    WriteWholeFile(path, entry);
}

bool PlatformChildHasExited(int pid) {
    if (pid <= 0) return true;
    int status = 0;
    const pid_t r = waitpid(pid, &status, WNOHANG);
    return r == pid || (r < 0 && errno == ECHILD);
}
