#include <pthread.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstring>

#include "core/Threads.h"

void PlatformNameThread(const char* name) {
    // The kernel keeps 15 characters of a thread's name.
    char shortName[16];
    std::strncpy(shortName, name, sizeof shortName - 1);
    shortName[sizeof shortName - 1] = '\0';
    pthread_setname_np(pthread_self(), shortName);
}

void PlatformRaiseThreadPriority() {
    // The default 50 us of timer slack would spoil sub-millisecond sleeps.
    prctl(PR_SET_TIMERSLACK, 1UL, 0UL, 0UL, 0UL);
    sched_param param{};
    param.sched_priority = sched_get_priority_min(SCHED_FIFO);
    if (pthread_setschedparam(pthread_self(), SCHED_FIFO, &param) == 0) return;
    // Without real-time rights, the best niceness this user may take.
    const pid_t tid = gettid();
    for (int nice = -20; nice < 0; ++nice) {
        if (setpriority(PRIO_PROCESS, static_cast<id_t>(tid), nice) == 0) return;
    }
}
