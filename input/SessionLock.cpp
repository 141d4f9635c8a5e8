#include "input/SessionLock.h"

#include "core/AppState.h"
#include "core/Signals.h"
#include "core/Wake.h"

std::atomic<bool> g_ResetTrackers{false};

void InputTapOnSessionLocked() {
    g_ResetTrackers = true;
    if (HoldModeAuto()) triggerAutoClickStop = true;
    if (HoldModeKeySpam()) triggerKeySpamStop = true;
    WakeSignalProcessor();
}
