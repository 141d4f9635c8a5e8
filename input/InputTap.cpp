#include "input/InputTap.h"

#include <cmath>
#include <limits>

#include "core/Hotkeys.h"
#include "core/Wake.h"
#include "persist/SessionFile.h"
#include "platform/Platform.h"

std::atomic<bool> g_ResetTrackers{false};

namespace {

TapRecorder g_TapRecorder;

// Touched by the tap's thread only.
bool isKeyDownTracker[256];
bool isMouseKeyTracker[256];
bool swallowedKey[256];
bool swallowedMouse[256];
bool droppedPress[8];  // not cleared by a tracker reset: a press kept out of a recording keeps its release out
double lastCursorPos[2] = {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::quiet_NaN()};

bool& At(bool (&table)[256], int vk) { return table[static_cast<unsigned>(vk) % 256]; }

void ClearTrackers() {
    for (int i = 0; i < 256; ++i) {
        isKeyDownTracker[i] = false;
        isMouseKeyTracker[i] = false;
        swallowedKey[i] = false;
        swallowedMouse[i] = false;
    }
}

TapVerdict Swallow(bool keepsRelease = false) {
    TapVerdict v;
    v.swallow = true;
    v.keepsRelease = keepsRelease;
    return v;
}

double eventAge = 0.0;    // of the event being judged
double lastStamp = -1.0;  // the recording's clock is never stamped backwards

// An event for the recording, stamped with the recording's clock at the time the event happened.
TapVerdict Recorded(const UnifiedEvent& e) {
    TapVerdict v;
    v.record = true;
    v.event = e;
    if (!g_TapRecorder.elapsedSeconds) return v;
    const double now = g_TapRecorder.elapsedSeconds();
    double at = now - eventAge;
    // Events of a second source (the wheel's valuator, the server's repeats) may carry a coarser time;
    // a new recording's clock starts below the last stamp of the one before.
    if (at < lastStamp && lastStamp <= now) at = lastStamp;
    v.event.time = lastStamp = at;
    return v;
}

TapVerdict OnMove(const TapEvent& e) {
    if (!e.hasPoint) {
        // The platform didn't read the point: the next one read can't be compared with anything.
        lastCursorPos[0] = lastCursorPos[1] = std::numeric_limits<double>::quiet_NaN();
        return {};
    }
    TapVerdict v;
    if (isRecording && bRecordMouseMovement) {
        const bool known = !std::isnan(lastCursorPos[0]);
        const long x = std::lround(e.x), y = std::lround(e.y);
        const long lastX = known ? std::lround(lastCursorPos[0]) : 0, lastY = known ? std::lround(lastCursorPos[1]) : 0;
        UnifiedEvent m;
        if (bUseRelativeMouse) {
            // X reports where the pointer is, so a relative move is the step from the last point.
            if (known && (x != lastX || y != lastY)) {
                m.type = EventMoveRel;
                m.x = x - lastX;
                m.y = y - lastY;
                v = Recorded(m);
            }
        } else if (!known || x != lastX || y != lastY) {
            m.type = EventMoveAbs;
            m.x = x;
            m.y = y;
            v = Recorded(m);
        }
    }
    lastCursorPos[0] = e.x;
    lastCursorPos[1] = e.y;
    return v;
}

TapVerdict OnScroll(const TapEvent& e) {
    if (!isRecording || !bRecordMouseScroll || e.scrollLines == 0) return {};
    UnifiedEvent s;
    s.type = EventScroll;
    s.scrollDelta = e.scrollLines * 120;
    return Recorded(s);
}

TapVerdict OnKey(int vk, bool down) {
    if (down && currentReassign != 0) {
        // Every kind of reassignment takes every key; the release goes on untracked.
        capturedReassignKey = vk;
        WakeSignalProcessor();
        return Swallow();
    }
    if (down) {
        if (!At(isKeyDownTracker, vk)) {
            At(isKeyDownTracker, vk) = true;
            if (g_HotkeysEnabled && HandleHotkeyDown(static_cast<unsigned long>(vk))) {
                At(swallowedKey, vk) = true;
                return Swallow(true);
            }
        } else if (At(swallowedKey, vk)) {
            return Swallow(true);  // auto-repeat of a hotkey
        }
    } else {
        At(isKeyDownTracker, vk) = false;
        if (At(swallowedKey, vk)) {
            At(swallowedKey, vk) = false;
            OnHotkeyReleased(static_cast<unsigned long>(vk));
            return Swallow();
        }
    }
    // Auto-repeat of a plain key is recorded as further downs, on purpose.
    if (!isRecording || !bRecordKeyboard) return {};
    UnifiedEvent k;
    k.type = EventKey;
    k.vk = vk;
    k.down = down;
    return Recorded(k);
}

// The flag of a button's press or release in a recorded click; side buttons have a press only.
uint64_t ClickFlag(int vk, bool down) {
    switch (vk) {
        case 1: return down ? 0x2 : 0x4;
        case 2: return down ? 0x8 : 0x10;
        case 4: return down ? 0x20 : 0x40;
        default: return down ? 0x80 : 0;
    }
}

TapVerdict OnMouseButton(int vk, bool down, double x, double y) {
    if (down) {
        if (isPickingLocation) {
            if (vk == 2 || vk == 4) {
                isPickingLocation = false;
                return Swallow();
            }
            if (vk == 1) {
                // The release of this click is not swallowed: the window below gets a release alone.
                autoClickFixedX = static_cast<int32_t>(std::lround(x));
                autoClickFixedY = static_cast<int32_t>(std::lround(y));
                autoClickLocationMode = 1;
                isPickingLocation = false;
                SnapshotActiveProfileSettings();
                return Swallow();
            }
        }
        const int reassign = currentReassign;
        if (reassign != 0 && reassign != 5 && !(vk == 1 && reassign == 6)) {
            capturedReassignKey = vk;
            WakeSignalProcessor();
            return Swallow();
        }
        if (!At(isMouseKeyTracker, vk)) {
            At(isMouseKeyTracker, vk) = true;
            if (g_HotkeysEnabled && HandleHotkeyDown(static_cast<unsigned long>(vk))) {
                At(swallowedMouse, vk) = true;
                return Swallow(true);
            }
        }
        if (isRecording) droppedPress[vk % 8] = IsOwnWindowAt(x, y);
    } else {
        At(isMouseKeyTracker, vk) = false;
        if (At(swallowedMouse, vk)) {
            At(swallowedMouse, vk) = false;
            OnHotkeyReleased(static_cast<unsigned long>(vk));
            return Swallow();
        }
        if (isRecording && droppedPress[vk % 8]) {
            droppedPress[vk % 8] = false;
            return {};
        }
    }
    const uint64_t flag = ClickFlag(vk, down);
    if (!isRecording || !bRecordMouseClicks || flag == 0 || (down && droppedPress[vk % 8])) return {};
    UnifiedEvent c;
    c.type = EventMouseClick;
    c.x = std::lround(x);
    c.y = std::lround(y);
    c.mouseFlags = flag;
    return Recorded(c);
}

bool IsButtonVk(int vk) { return vk == 1 || vk == 2 || vk == 4 || vk == 5 || vk == 6; }

}  // namespace

void TakeTrackerReset() {
    if (g_ResetTrackers.exchange(false)) ClearTrackers();
}

void SetTapRecorder(const TapRecorder& recorder) {
    // Connecting the same recorder again (each InputReady does) writes nothing the running tap reads.
    if (g_TapRecorder.elapsedSeconds != recorder.elapsedSeconds) g_TapRecorder.elapsedSeconds = recorder.elapsedSeconds;
    if (g_TapRecorder.append != recorder.append) g_TapRecorder.append = recorder.append;
}
const TapRecorder& CurrentTapRecorder() { return g_TapRecorder; }

TapVerdict HandleTapEvent(const TapEvent& e) {
    eventAge = std::isfinite(e.ageSeconds) && e.ageSeconds > 0 ? e.ageSeconds : 0.0;
    switch (e.kind) {
        case TapMove: return OnMove(e);
        case TapScroll: return OnScroll(e);
        case TapKey: return e.vk > 0 ? OnKey(e.vk, e.down) : TapVerdict{};
        case TapButton: return IsButtonVk(e.vk) ? OnMouseButton(e.vk, e.down, e.x, e.y) : TapVerdict{};
    }
    return {};
}

int TakeScrollLines(double& pending, double delta, double increment) {
    if (!(increment != 0) || !std::isfinite(delta) || !std::isfinite(increment)) return 0;
    pending += delta / std::abs(increment);
    // A small epsilon: increments like 1/120 don't add up to a whole line exactly.
    const double whole = std::trunc(pending + (pending > 0 ? 1e-9 : -1e-9));
    pending -= whole;
    return static_cast<int>(-whole);
}

bool IsOwnWindowAt(double x, double y) {
    const int pid = PlatformWindowPidAt(static_cast<int>(std::lround(x)), static_cast<int>(std::lround(y)));
    if (pid <= 0) return false;
    if (pid == PlatformProcessId()) return true;
    return PlatformProcessIsThisApp(pid);
}

void ResetTapTables() {
    ClearTrackers();
    for (bool& d : droppedPress) d = false;
    lastCursorPos[0] = lastCursorPos[1] = std::numeric_limits<double>::quiet_NaN();
    lastStamp = -1.0;
    g_ResetTrackers = false;
}

void InputTapOnSessionLocked() {
    g_ResetTrackers = true;
    if (HoldModeAuto()) triggerAutoClickStop = true;
    if (HoldModeKeySpam()) triggerKeySpamStop = true;
    WakeSignalProcessor();
}
