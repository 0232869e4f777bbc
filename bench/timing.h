// Clocks and medians of the benchmarks.
// SPDX-License-Identifier: MIT
#pragma once

#include "rays.h"

#include <algorithm>
#include <ctime>
#include <vector>

namespace mh::bench {

inline double seconds(clockid_t clock) {
    timespec now;
    clock_gettime(clock, &now);
    return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

inline double busy_share = 1.0; // smallest share of the processor that a run had

// Makes the compiler believe that the value is used.
inline void keep(float value) {
    asm volatile("" : : "x"(value));
}

// Processor time of one pass, so that another process on the core doesn't count.
template<typename Query>
double pass_seconds(const std::vector<BenchRay>& rays, Query query) {
    float total = 0.0f;
    const double wall = seconds(CLOCK_MONOTONIC), cpu = seconds(CLOCK_THREAD_CPUTIME_ID);
    for (const BenchRay& ray : rays)
        total += static_cast<float>(query(ray));
    const double used = seconds(CLOCK_THREAD_CPUTIME_ID) - cpu;
    busy_share = std::min(busy_share, used / (seconds(CLOCK_MONOTONIC) - wall));
    keep(total);
    return used;
}

inline double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

} // namespace mh::bench
