// How far the work under way is, for a program around the library that watches from another thread.
// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstdint>

namespace mh {

struct WorkDone {
    std::atomic<std::int64_t> done = 0, all = 0;

    void begin(std::int64_t count) {
        done.store(0, std::memory_order_relaxed);
        all.store(count, std::memory_order_relaxed);
    }

    void add(std::int64_t count) { done.fetch_add(count, std::memory_order_relaxed); }
};

inline WorkDone TreeWork;  // steps of objects, weighted by their primitives
inline WorkDone FrameWork; // rows or blocks of the frame under way

} // namespace mh
