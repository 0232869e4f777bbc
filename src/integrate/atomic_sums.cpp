// Sums of colours under concurrent additions.
// SPDX-License-Identifier: MIT
#include "integrate/atomic_sums.h"

#include <atomic>

namespace mh {

namespace {

constexpr float kLargest = 4.6116860e18f; // 2^62

// The addition whose fraction overflows carries one over: how often that happens depends on the
// total alone.
void add(FixedPoint& sum, float value) {
    if (value == 0.0f) return;
    const FixedPoint term = to_fixed(value, kLargest);
    const std::uint64_t before = std::atomic_ref<std::uint64_t>(sum.fraction)
                                     .fetch_add(term.fraction, std::memory_order_relaxed);
    const std::uint64_t carry = before > ~term.fraction ? 1 : 0;
    const std::uint64_t whole = term.whole + carry;
    if (whole == 0) return;
    std::atomic_ref<std::uint64_t>(sum.whole).fetch_add(whole, std::memory_order_relaxed);
}

float value_of(const FixedPoint& sum) {
    return static_cast<float>(to_double(sum));
}

} // namespace

void ResizeSums(AtomicSums& sums, std::size_t count) {
    sums.values.assign(3 * count, {});
}

void ReleaseSums(AtomicSums& sums) {
    sums = {};
}

void add_to_sum(AtomicSums& sums, std::size_t index, const Vec3& value) {
    if (!is_finite(value)) return;
    FixedPoint* sum = &sums.values[3 * index];
    add(sum[0], value.x);
    add(sum[1], value.y);
    add(sum[2], value.z);
}

Vec3 sum_at(const AtomicSums& sums, std::size_t index) {
    const FixedPoint* sum = &sums.values[3 * index];
    return {value_of(sum[0]), value_of(sum[1]), value_of(sum[2])};
}

} // namespace mh
