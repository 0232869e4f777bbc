// Steady wall clock for the report and the statistics.
// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstdint>

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

} // namespace mh
