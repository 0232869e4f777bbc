// Times tasks by turns with Google Benchmark: after each run of one come runs of the others, in
// random order, so that what else the machine does meets all of them alike.
// SPDX-License-Identifier: MIT
#pragma once

#include "rays.h"

#include <algorithm>
#include <ctime>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

namespace mh::bench {

inline double seconds(clockid_t clock) {
    timespec now;
    clock_gettime(clock, &now);
    return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

inline double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

enum class Clock : std::uint8_t {
    wall,
    thread,  // processor time, the mean of the task's threads
    process, // processor time of all that the task starts
};

struct Task {
    std::string name;                        // unlike those of the others
    std::function<void(int thread)> work;    // on each of the threads
    std::function<void()> prepare = nullptr; // before each run, not timed
    int threads = 1;
    Clock clock = Clock::wall;
};

// Median seconds of each task; all have the clock of the first.
std::vector<double> MedianSeconds(const std::vector<Task>& tasks, int runs);

// Two processors that this process may use, or one, when this is first called: its own first.
const std::vector<int>& UsableProcessors();

void pin_thread(int processor);

// Asks for the rays, a part of them on each thread, which stays on a processor of its own.
template<typename Query>
Task pass_of(const std::string& name, std::span<const BenchRay> rays, Query query,
             int threads = 1) {
    const auto pass = [=](int thread) {
        const auto number = static_cast<std::size_t>(thread);
        if (threads > 1) pin_thread(UsableProcessors()[number]);
        bench_thread = static_cast<std::uint8_t>(thread);
        const std::size_t share = rays.size() / static_cast<std::size_t>(threads);
        float total = 0.0f;
        for (const BenchRay& ray : rays.subspan(number * share, share))
            total += static_cast<float>(query(ray));
        benchmark::DoNotOptimize(total);
    };
    return {name, pass, nullptr, threads, Clock::thread};
}

} // namespace mh::bench
