#include "platform/linux/LinuxPlatform.h"

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

#include <cerrno>
#include <cstdio>
#include <cstdlib>

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
    return ".";
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

bool PlatformCopyFile(const std::string& from, const std::string& to) {
    const int in = open(from.c_str(), O_RDONLY | O_CLOEXEC);
    if (in < 0) return false;
    const int out = open(to.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (out < 0) {
        close(in);
        return false;
    }
    bool ok = true;
    for (;;) {
        const ssize_t n = sendfile(out, in, nullptr, 1 << 20);
        if (n == 0) break;
        if (n < 0) {
            if (errno == EINTR) continue;
            ok = false;
            break;
        }
    }
    close(in);
    if (close(out) != 0) ok = false;
    return ok;
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
    const std::string tmp = path + ".tmp";
    std::FILE* f = std::fopen(tmp.c_str(), "wb");
    if (!f) return;
    const bool ok = std::fwrite(entry.data(), 1, entry.size(), f) == entry.size();
    if (std::fclose(f) == 0 && ok) {
        rename(tmp.c_str(), path.c_str());
    } else {
        unlink(tmp.c_str());
    }
}

bool PlatformChildHasExited(int pid) {
    if (pid <= 0) return true;
    int status = 0;
    const pid_t r = waitpid(pid, &status, WNOHANG);
    return r == pid || (r < 0 && errno == ECHILD);
}
