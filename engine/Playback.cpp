#include "engine/Playback.h"

#include "core/AppState.h"
#include "core/Threads.h"
#include "core/Wake.h"

// Replaying events comes with injection; until then the thread sleeps on its wake event.
void PlaybackThread() {
    PlatformNameThread("QVN playback");
    PlatformRaiseThreadPriority();
    if (!g_AppRunning) return;
    while (g_AppRunning) WaitForWake(g_PlaybackWake);
}
