// Clocks and medians of the benchmarks.
// SPDX-License-Identifier: MIT
#pragma once

#include "rays.h"

#include <algorithm>
#include <array>
#include <ctime>
#include <span>
#include <thread>
#include <vector>

#include <sched.h>

namespace mh::bench {

inline double seconds(clockid_t clock) {
    timespec now;
    clock_gettime(clock, &now);
    return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

inline void pin_thread(int processor) {
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(processor, &set);
    sched_setaffinity(0, sizeof set, &set);
}

inline double busy_share = 1.0; // smallest share of the processor that a run had

// Makes the compiler believe that the value is used.
inline void keep(float value) {
    asm volatile("" : : "x"(value));
}

struct PassTime {
    double seconds; // of processor time, so that another process on the core doesn't count
    double share;   // of the processor that the pass had
};

template<typename Query>
PassTime time_pass(std::span<const BenchRay> rays, Query query) {
    float total = 0.0f;
    const double wall = seconds(CLOCK_MONOTONIC), cpu = seconds(CLOCK_THREAD_CPUTIME_ID);
    for (const BenchRay& ray : rays)
        total += static_cast<float>(query(ray));
    const double used = seconds(CLOCK_THREAD_CPUTIME_ID) - cpu;
    keep(total);
    return {used, used / (seconds(CLOCK_MONOTONIC) - wall)};
}

template<typename Query>
double pass_seconds(std::span<const BenchRay> rays, Query query) {
    const PassTime time = time_pass(rays, query);
    busy_share = std::min(busy_share, time.share);
    return time.seconds;
}

// The same with a half of the rays on each of two processors; seconds of the slower one.
template<typename Query>
double pass_seconds_of_two(std::span<const BenchRay> rays, const std::array<int, 2>& processors,
                           Query query) {
    std::array<PassTime, 2> times;
    const auto run = [&](std::uint8_t k) {
        pin_thread(processors[k]);
        bench_thread = k;
        const std::size_t half = rays.size() / 2;
        times[k] = time_pass(k == 0 ? rays.first(half) : rays.subspan(half), query);
    };
    std::thread other(run, std::uint8_t{1});
    std::thread(run, std::uint8_t{0}).join();
    other.join();
    busy_share = std::min({busy_share, times[0].share, times[1].share});
    return std::max(times[0].seconds, times[1].seconds);
}

inline double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

} // namespace mh::bench
