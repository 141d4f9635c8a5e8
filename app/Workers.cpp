#include "app/Master.h"
#include "core/AppState.h"
#include "engine/AutoClicker.h"
#include "engine/KeySpammer.h"
#include "engine/Playback.h"
#include "engine/Signals.h"
#include "persist/SessionFile.h"
#include "timeline/AutomationWatch.h"

void StartThreads() {
    g_Threads.emplace_back(AutoClickerThread);
    g_Threads.emplace_back(KeySpammerThread);
    g_Threads.emplace_back(SignalProcessorThread);
    g_Threads.emplace_back(SessionAutosaveThread);
    g_Threads.emplace_back(PlaybackThread);
    g_Threads.emplace_back(TimelineAutomationWatcherThread);
}
