#include "engine/Recorder.h"

#include <algorithm>
#include <chrono>

#include "input/InputTap.h"
#include "input/XSettings.h"

namespace {

int64_t SteadyNowNs() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

bool IsPress(const UnifiedEvent& e) {
    if (e.type != EventMouseClick) return false;
    return e.mouseFlags == 2 || e.mouseFlags == 8 || e.mouseFlags == 32 || e.mouseFlags == 128;
}

std::vector<UnifiedEvent>* ActiveEventsLocked() {
    if (currentProfileIdx < 0 || static_cast<size_t>(currentProfileIdx) >= profiles.size()) return nullptr;
    return &profiles[static_cast<size_t>(currentProfileIdx)].events;
}

void ResetUndoLocked() {
    g_ContinueUndoProfile = -1;
    g_ContinueUndoBefore.clear();
    g_ContinueUndoAfter.clear();
}

}  // namespace

void MarkRecordStartTime() { g_RecordStart = SteadyNowNs(); }

double RecordElapsedSeconds() { return static_cast<double>(SteadyNowNs() - g_RecordStart) / 1e9; }

void RecordEvent(const UnifiedEvent& e) {
    std::lock_guard<std::mutex> lock(profileMutex);
    if (auto* events = ActiveEventsLocked()) events->push_back(e);
}

void FinishRecording() {
    // Asking the desktop is a round trip to the display server: done before the lock that the tap waits for.
    const double doubleClickGuard = PlatformDoubleClickSeconds() + 0.05;
    std::lock_guard<std::mutex> lock(profileMutex);
    auto* events = ActiveEventsLocked();
    if (events) {
        RetimeRecordedEvents(*events, g_RecordFirstNewIdx, 0.1, doubleClickGuard);
        if (g_ContinueUndoProfile >= 0) g_ContinueUndoAfter = *events;
    }
    g_RecordFirstNewIdx = 0;
}

void RetimeRecordedEvents(std::vector<UnifiedEvent>& events, unsigned long firstNew, double gapSeconds,
                          double doubleClickGuardSeconds) {
    const size_t n = events.size();
    if (n <= firstNew) return;

    double base = 0.0;
    if (firstNew > 0) {
        double latestOld = events[0].time;
        for (size_t i = 1; i < firstNew; ++i) latestOld = std::max(latestOld, events[i].time);
        base = latestOld + gapSeconds;
    }
    double earliest = events[firstNew].time;
    for (size_t i = firstNew + 1; i < n; ++i) earliest = std::min(earliest, events[i].time);
    double shift = earliest - base;

    if (firstNew > 0 && doubleClickGuardSeconds > 0) {
        const UnifiedEvent* lastOldPress = nullptr;
        for (size_t i = 0; i < firstNew; ++i) {
            if (IsPress(events[i]) && (!lastOldPress || events[i].time >= lastOldPress->time))
                lastOldPress = &events[i];
        }
        const UnifiedEvent* firstNewPress = nullptr;
        for (size_t i = firstNew; i < n; ++i) {
            if (IsPress(events[i]) && (!firstNewPress || events[i].time < firstNewPress->time))
                firstNewPress = &events[i];
        }
        if (lastOldPress && firstNewPress && lastOldPress->mouseFlags == firstNewPress->mouseFlags) {
            const double distance = firstNewPress->time - shift - lastOldPress->time;
            if (distance < doubleClickGuardSeconds) shift -= doubleClickGuardSeconds - distance;
        }
    }

    for (size_t i = firstNew; i < n; ++i) events[i].time -= shift;
}

bool CanUndoContinueLocked() {
    if (g_ContinueUndoProfile != currentProfileIdx || isRecording || isPlaying) return false;
    const auto* events = ActiveEventsLocked();
    return events && *events == g_ContinueUndoAfter;
}

void StartFreshRecordingLocked() {
    ResetUndoLocked();
    if (auto* events = ActiveEventsLocked()) events->clear();
    g_RecordFirstNewIdx = 0;
    MarkRecordStartTime();
    isRecording = true;  // last: the tap tests this flag without the lock
}

void StartContinuedRecordingLocked() {
    ResetUndoLocked();
    auto* events = ActiveEventsLocked();
    if (events) g_ContinueUndoBefore = *events;
    g_ContinueUndoProfile = currentProfileIdx;
    g_RecordFirstNewIdx = events ? events->size() : 0;
    MarkRecordStartTime();
    isRecording = true;
}

void UndoContinueLocked() {
    if (!CanUndoContinueLocked()) return;
    *ActiveEventsLocked() = g_ContinueUndoBefore;
    ResetUndoLocked();
}

void ConnectRecorderToTap() { SetTapRecorder(TapRecorder{RecordElapsedSeconds, RecordEvent}); }
