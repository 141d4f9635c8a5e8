// A recording started and stopped the way the signal processor does it, for tests and benchmarks that
// drive the input tap directly.
#pragma once

#include <cstddef>

// A fresh recording of the active profile.
void StartRecording();

// Ends it with the recorder's clean-up; returns how many events the active profile holds.
size_t StopRecording();
