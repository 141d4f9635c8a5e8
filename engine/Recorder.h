// The life of a recording in the active profile: its clock, the list, the clean-up at the end, and the
// one-level undo of a continued recording.
#pragma once

#include <vector>

#include "core/AppState.h"

void MarkRecordStartTime();
double RecordElapsedSeconds();

// Appends to the active profile under profileMutex. The caller has checked isRecording.
void RecordEvent(const UnifiedEvent& e);

// The end-of-recording step, after isRecording has been cleared. Takes profileMutex.
void FinishRecording();

// Moves the events from index firstNew on in time: a fresh recording starts at 0, a continuation
// gapSeconds after the last old event, pushed later when its first press would join the last old press of
// the same button into a double click.
void RetimeRecordedEvents(std::vector<UnifiedEvent>& events, unsigned long firstNew, double gapSeconds,
                          double doubleClickGuardSeconds);

// The caller holds profileMutex for all of these.
bool CanUndoContinueLocked();
void StartFreshRecordingLocked();
void StartContinuedRecordingLocked();
void UndoContinueLocked();

// Points the input tap's recording at this recorder (its clock and RecordEvent). The master calls it before
// the tap starts.
void ConnectRecorderToTap();
