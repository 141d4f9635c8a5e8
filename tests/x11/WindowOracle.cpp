#include "tests/x11/WindowOracle.h"

#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "core/AppState.h"
#include "engine/AutoClicker.h"
#include "engine/KeySpammer.h"
#include "engine/Playback.h"
#include "engine/Signals.h"
#include "input/Keys.h"

extern char** environ;

void StartWorkers() {
    g_AppRunning = true;
    g_Threads.emplace_back(AutoClickerThread);
    g_Threads.emplace_back(KeySpammerThread);
    g_Threads.emplace_back(SignalProcessorThread);
    g_Threads.emplace_back(PlaybackThread);
    PlatformKeysWatchLayout();
}

bool WaitUntil(const std::function<bool()>& done, std::chrono::milliseconds limit) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!done()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(2ms);
    }
    return true;
}

bool WindowOracle::Start() {
    const char* path = std::getenv("QVN_TEST_WINDOW");
    if (!path) return false;
    int fds[2];
    if (pipe(fds) != 0) return false;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, fds[1], 1);
    posix_spawn_file_actions_addclose(&actions, fds[0]);
    char* argv[] = {const_cast<char*>(path), nullptr};
    const int rc = posix_spawn(&pid_, path, &actions, nullptr, argv, environ);
    posix_spawn_file_actions_destroy(&actions);
    close(fds[1]);
    if (rc != 0) return false;
    reader_ = std::thread([this, fd = fds[0]] { Read(fd); });
    return WaitUntil([this] { return Count("ready") == 1; });
}

void WindowOracle::Stop() {
    if (pid_ > 0) {
        kill(pid_, SIGTERM);
        waitpid(pid_, nullptr, 0);
        pid_ = 0;
    }
    if (reader_.joinable()) reader_.join();
}

void WindowOracle::Clear() {
    std::lock_guard<std::mutex> lock(mutex_);
    lines_.clear();
    received_.clear();
}

std::vector<double> WindowOracle::ArrivalsAfter(const std::string& prefix,
                                                std::chrono::steady_clock::time_point since) {
    std::lock_guard<std::mutex> lock(mutex_);
    std::vector<double> out;
    for (size_t i = 0; i < lines_.size(); ++i) {
        if (lines_[i].rfind(prefix, 0) == 0) out.push_back(std::chrono::duration<double>(received_[i] - since).count());
    }
    return out;
}

std::vector<std::string> WindowOracle::Lines(const std::string& prefix) {
    std::lock_guard<std::mutex> lock(mutex_);
    std::vector<std::string> out;
    for (const auto& l : lines_) {
        if (l.rfind(prefix, 0) == 0) out.push_back(l);
    }
    return out;
}

void WindowOracle::Read(int fd) {
    FILE* f = fdopen(fd, "r");
    char line[256];
    while (f && std::fgets(line, sizeof line, f)) {
        std::string text(line);
        if (!text.empty() && text.back() == '\n') text.pop_back();
        std::lock_guard<std::mutex> lock(mutex_);
        lines_.push_back(text);
        received_.push_back(std::chrono::steady_clock::now());
    }
    if (f) std::fclose(f);
}
