// Sums of colours under concurrent additions.
// SPDX-License-Identifier: MIT
#include "integrate/atomic_sums.h"

#include <atomic>

namespace mh {

namespace {

void add(double& sum, float value) {
    if (value == 0.0f) return;
    std::atomic_ref<double>(sum).fetch_add(static_cast<double>(value), std::memory_order_relaxed);
}

} // namespace

void ResizeSums(AtomicSums& sums, std::size_t count) {
    sums.values.assign(3 * count, 0.0);
}

void ReleaseSums(AtomicSums& sums) {
    sums = {};
}

void add_to_sum(AtomicSums& sums, std::size_t index, const Vec3& value) {
    if (!is_finite(value)) return;
    double* sum = &sums.values[3 * index];
    add(sum[0], value.x);
    add(sum[1], value.y);
    add(sum[2], value.z);
}

Vec3 sum_at(const AtomicSums& sums, std::size_t index) {
    const double* sum = &sums.values[3 * index];
    return {static_cast<float>(sum[0]), static_cast<float>(sum[1]), static_cast<float>(sum[2])};
}

} // namespace mh
