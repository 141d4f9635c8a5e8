#include "tests/support/Recording.h"

#include <mutex>

#include "core/AppState.h"
#include "engine/Recorder.h"

void StartRecording() {
    std::lock_guard<std::mutex> lock(profileMutex);
    StartFreshRecordingLocked();
}

size_t StopRecording() {
    isRecording = false;
    FinishRecording();
    std::lock_guard<std::mutex> lock(profileMutex);
    return profiles[static_cast<size_t>(currentProfileIdx)].events.size();
}
