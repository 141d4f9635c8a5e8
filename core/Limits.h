// The ranges that the numbers of the tool settings and the macros must keep, at every way in: the data
// files, the page's calls and the companions' messages. A value outside is refused there, never stored.
#pragma once

#include <cmath>
#include <cstdint>
#include <string>

inline constexpr double kMinPlaybackSpeed = 0.1;
inline constexpr double kMaxPlaybackSpeed = 100.0;
inline constexpr int32_t kMaxLoopIntervalMs = 86'400'000;  // a day
inline constexpr int32_t kMaxIntervalPart = 1'000'000;     // each of hours, minutes, seconds, milliseconds
inline constexpr int32_t kMaxRepeatTimes = 1'000'000'000;
inline constexpr double kMaxEventTime = 1e9;  // seconds from the macro's start

inline bool IsValidPlaybackSpeed(double v) {
    return std::isfinite(v) && v >= kMinPlaybackSpeed - 1e-6 && v <= kMaxPlaybackSpeed;
}
inline bool IsValidLoopIntervalMs(int64_t v) { return v >= 0 && v <= kMaxLoopIntervalMs; }
inline bool IsValidIntervalPart(int64_t v) { return v >= 0 && v <= kMaxIntervalPart; }
inline bool IsValidRepeatTimes(int64_t v) { return v >= 0 && v <= kMaxRepeatTimes; }
inline bool IsValidEventTime(double v) { return std::isfinite(v) && v >= 0 && v <= kMaxEventTime; }
