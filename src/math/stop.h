// The request to end a run early. A program around the library sets it, from any thread or a signal
// handler; whatever may take long polls it and returns with what it has.
// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>

namespace mh {

inline std::atomic<bool> StopRequested = false;

static_assert(std::atomic<bool>::is_always_lock_free); // a signal handler may set it

inline bool stop_requested() {
    return StopRequested.load(std::memory_order_relaxed);
}

} // namespace mh
