// Clocks for the report, the statistics and the progress: the steady one of the wall, and processor
// time.
// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstdint>
#include <ctime>

namespace mh {

inline std::int64_t microseconds_now() {
    using namespace std::chrono;
    return duration_cast<microseconds>(steady_clock::now().time_since_epoch()).count();
}

inline std::int64_t milliseconds_now() {
    return microseconds_now() / 1000;
}

// Seconds since a value of microseconds_now().
inline float seconds_since(std::int64_t start_microseconds) {
    return static_cast<float>(microseconds_now() - start_microseconds) / 1e6f;
}

// Processor time that the calling thread has used, in nanoseconds. A call costs about as much as
// tracing three photons.
inline std::int64_t thread_nanoseconds() {
    timespec time = {};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return std::int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
}

} // namespace mh
