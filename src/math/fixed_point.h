// Fixed-point numbers of 128 bits. Sums of them are exact: neither the order of the terms nor the
// way in which they were grouped changes a bit.
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace mh {

// Two's complement, the lower 64 bits behind the point: values from 5e-20 to 9e18.
struct FixedPoint {
    std::uint64_t fraction = 0, whole = 0;
};

// What lies below 2^-64 is cut off, what is larger than the limit (at most 2^62) counts as the
// limit, and what is no number as 0.
FixedPoint to_fixed(float value, float limit);

void add(FixedPoint& sum, const FixedPoint& term);

double to_double(const FixedPoint& number);

} // namespace mh
