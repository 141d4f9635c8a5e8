// What the timing benches share: the steady clock in nanoseconds and a percentile of a sample.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <vector>

inline int64_t NowNs() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

// The value below which a share `p` of the sample lies (p = 1: the largest); 0 for an empty sample.
inline double Percentile(std::vector<double> v, double p) {
    if (v.empty()) return 0;
    std::sort(v.begin(), v.end());
    return v[std::min(v.size() - 1, static_cast<size_t>(p * static_cast<double>(v.size())))];
}
