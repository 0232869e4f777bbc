// Camera values, ray counts and the guard of the recursion's stack.
// SPDX-License-Identifier: MIT
#include "integrate/run_context.h"

#include "integrate/state.h"
#include "math/at.h"
#include "math/threads.h"
#include "run/report.h"
#include "run/state.h"

#include <atomic>
#include <utility>

#include <pthread.h>

namespace mh {

namespace {

// What one bounce and the walks and light samples under it need at most, sanitizers included.
constexpr std::uintptr_t kStackReserve = std::uintptr_t{128} * 1024;

// Lowest address of the calling thread's stack that a bounce may start at; 0 when unknown.
std::uintptr_t lowest_frame() {
    pthread_attr_t attributes;
    if (pthread_getattr_np(pthread_self(), &attributes) != 0) return 0;
    void* lowest = nullptr;
    std::size_t size = 0;
    const bool known = pthread_attr_getstack(&attributes, &lowest, &size) == 0;
    pthread_attr_destroy(&attributes);
    return known ? reinterpret_cast<std::uintptr_t>(lowest) + kStackReserve : 0;
}

} // namespace

RayCounts TakeRayCounts() {
    RayCounts counts;
    for (ThreadState& thread : ThreadStates) {
        counts.rays += static_cast<std::int64_t>(thread.rays);
        counts.shadow_rays += static_cast<std::int64_t>(thread.shadow_rays);
        thread.rays = thread.shadow_rays = 0;
    }
    return counts;
}

void EnterWorker() {
    thread_local const std::uintptr_t kLowest = lowest_frame();
    at(ThreadStates, thread_number()).lowest_frame = kLowest;
}

void NoteCutPath() {
    std::atomic_ref(IntegrateState.path_was_cut).store(true, std::memory_order_relaxed);
}

void ReportCutPaths() {
    if (!std::exchange(IntegrateState.path_was_cut, false)) return;
    ReportWarning(
        "renderer - the stack of the threads is too small for ray_depth: paths were cut short");
}

} // namespace mh
