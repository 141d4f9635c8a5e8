// The test window (QVN_TEST_WINDOW) as a child process, and the lines it has printed: what an application
// received, told by a program that knows nothing of ours.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

using namespace std::chrono_literals;

bool WaitUntil(const std::function<bool()>& done, std::chrono::milliseconds limit = 5s);

class WindowOracle {
public:
    bool Start();
    void Stop();
    void Clear();

    // When the lines that start with `prefix` arrived, in seconds after `since`.
    std::vector<double> ArrivalsAfter(const std::string& prefix, std::chrono::steady_clock::time_point since);

    // Lines that start with `prefix`, in order.
    std::vector<std::string> Lines(const std::string& prefix);
    size_t Count(const std::string& prefix) { return Lines(prefix).size(); }

private:
    void Read(int fd);

    pid_t pid_ = 0;
    std::thread reader_;
    std::mutex mutex_;
    std::vector<std::string> lines_;
    std::vector<std::chrono::steady_clock::time_point> received_;
};
