// Colours that many threads add to at once. The sums are fixed-point numbers, whose additions may
// come in any order: the same values give the same bits on any number of threads.
// SPDX-License-Identifier: MIT
#pragma once

#include "math/vec3.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace mh {

// 128 bits in two's complement, the lower 64 behind the point: values from 5e-20 to 9e18.
struct FixedPoint {
    std::uint64_t fraction = 0, whole = 0;
};

// One triple of numbers for each of the sums.
struct AtomicSums {
    std::vector<FixedPoint> values;
};

// Sized and cleared; and the memory released.
void ResizeSums(AtomicSums& sums, std::size_t count);
void ReleaseSums(AtomicSums& sums);

// Adds to a sum; thread-safe. Values that are not finite are dropped, those of more than 2^62 count
// as 2^62.
void add_to_sum(AtomicSums& sums, std::size_t index, const Vec3& value);

Vec3 sum_at(const AtomicSums& sums, std::size_t index);

} // namespace mh
