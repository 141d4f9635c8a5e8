// The interruptible wait that every worker sleeps on.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>

// A signalled flag with the mutex and condition variable to sleep on it. A wake sets the flag before it
// notifies, and a wait consumes the flag, so a wake that comes while nobody waits is kept for the next wait.
struct WakeEvent {
    std::atomic<bool> signalled{false};
    std::mutex mutex;
    std::condition_variable cv;
};

extern WakeEvent g_SignalWake, g_AutoClickWake, g_KeySpamWake, g_PlaybackWake;

// Sets the flag, passes through the mutex (so that a waiter between its flag test and its wait can't miss
// the notification) and notifies one waiter. Callable from any thread, including the tap's.
void Wake(WakeEvent& ev);
void WakeSignalProcessor();
void WakeAutoClickThread();
void WakeKeySpamThread();
void WakePlaybackThread();

// Tells the input tap that a hotkey, the hotkey lock, a key capture or the point picking changed, so that
// it moves its grabs at once; it doesn't look for such changes by itself more than twice a second. The tap
// installs its waker while it runs; without one this does nothing. Callable from any thread.
void SetInputSettingsWaker(void (*waker)());
void InputSettingsChanged();

// Sleeps until the event is signalled or the application stops; consumes the signal.
void WaitForWake(WakeEvent& ev);
// The same for at most `ms` milliseconds, for a thread that also acts on a period of its own. No final spin:
// for waits whose end needn't be exact.
void WaitForWakeAtMost(WakeEvent& ev, int ms);

// Waits `ms` milliseconds on the steady clock from the moment of the call, or less when `ev` is signalled
// (the signal is consumed) or the application stops. Sleeps until shortly before the end and yields the
// processor for the rest, which is where short intervals get their accuracy: the final spin is the 98th
// percentile of how late this thread's sleeps have lately woken, plus 30 us, between 50 us and half a
// millisecond.
void WaitIntervalOrWake(WakeEvent& ev, double ms);

// The steady beat of a tool that repeats an action: each wait ends one interval after the end of the last
// one, not one interval after the action, so that the action's own time doesn't stretch the period. A
// beat missed by a whole interval or more (a stalled machine) starts afresh from now rather than catching
// up with a burst. A wake or the application's stop ends a wait early; the beat then starts afresh.
struct Beat {
    int64_t lastNs = 0;  // the steady clock at the end of the last wait; 0 before the first
};
// At the first action of a run.
void StartBeat(Beat& beat);
void WaitBeatOrWake(WakeEvent& ev, Beat& beat, double ms);

// The final spin of this thread's waits in nanoseconds, as above; for a thread that paces itself with sleeps
// of its own (playback) and spins through the end of each.
int64_t FinalSpinNs();
// Tells the spin how late one of this thread's sleeps woke.
void NoteWakeLateness(double lateNs);
