// An order in which every stretch of numbers is spread over all of them.
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <numeric>

namespace mh {

// Number i of `count`, at least 1: multiples of the golden section [Weyl16].
inline std::uint32_t spread_number(std::uint32_t i, std::uint32_t count) {
    constexpr double kGoldenSection = 0.6180339887498949;
    auto step = static_cast<std::uint32_t>(kGoldenSection * count);
    while (std::gcd(step, count) != 1)
        ++step;
    return static_cast<std::uint32_t>(std::uint64_t{i} * step % count);
}

} // namespace mh
