// An event file that wakes a thread sleeping in poll(). Made once and kept open for the process's life, so
// that a waker on another thread may still write to it while the sleeper stops.
#pragma once

#include <sys/eventfd.h>
#include <unistd.h>

#include <cstdint>

class WakeFile {
public:
    // -1 when the system had none to give; the sleeper then needs a time-out of its own.
    int fd() const { return fd_; }
    void Signal() const {
        const uint64_t one = 1;
        if (fd_ >= 0) (void)!write(fd_, &one, sizeof one);
    }
    // After poll() saw it readable: takes the wakes so far.
    void Drain() const {
        uint64_t count = 0;
        if (fd_ >= 0) (void)!read(fd_, &count, sizeof count);
    }

private:
    const int fd_ = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
};
