// Colours that many threads add to at once. The sums are fixed-point numbers, whose additions may
// come in any order: the same values give the same bits on any number of threads.
// SPDX-License-Identifier: MIT
#pragma once

#include "math/fixed_point.h"
#include "math/vec3.h"

#include <cstddef>
#include <vector>

namespace mh {

// One triple of numbers for each of the sums.
struct AtomicSums {
    std::vector<FixedPoint> values;
};

// Sets the number of sums and clears them; frees their memory.
void ResizeSums(AtomicSums& sums, std::size_t count);
void ReleaseSums(AtomicSums& sums);

// Adds to a sum; thread-safe. Values that are not finite are dropped, those of more than 2^62 count
// as 2^62.
void add_to_sum(AtomicSums& sums, std::size_t index, const Vec3& value);

Vec3 sum_at(const AtomicSums& sums, std::size_t index);

} // namespace mh
