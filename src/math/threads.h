// Size of the thread teams: what OpenMP offers, capped by the slots of the per-thread tables.
// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <exception>

namespace mh {

// min(omp_get_max_threads(), 256); every parallel region asks for this many.
int team_size();

// Number of the calling thread within its team, 0 outside of one.
int thread_number();

// The first exception of a parallel region, which none may leave.
struct Caught {
    std::atomic<bool> is_taken = false;
    std::exception_ptr exception;
};

// For the body of a region: runs `act` unless an exception has come before.
template<typename Act>
void keep_exceptions(Caught& caught, const Act& act) {
    if (caught.is_taken.load(std::memory_order_relaxed)) return;
    try {
        act();
    } catch (...) {
        if (!caught.is_taken.exchange(true)) caught.exception = std::current_exception();
    }
}

// To be called after the region.
inline void throw_caught(const Caught& caught) {
    if (caught.exception) std::rethrow_exception(caught.exception);
}

} // namespace mh
