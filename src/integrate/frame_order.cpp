// Orders of frames.
// SPDX-License-Identifier: MIT
#include "integrate/frame_order.h"

#include <numeric>

namespace mh {

namespace {

// Number i of `count`, of an order in which every stretch is spread over all of them: multiples of
// the golden section [Weyl16].
std::uint32_t spread_number(std::uint32_t i, std::uint32_t count) {
    constexpr double kGoldenSection = 0.6180339887498949;
    auto step = static_cast<std::uint32_t>(kGoldenSection * count);
    while (std::gcd(step, count) != 1)
        ++step;
    return static_cast<std::uint32_t>(std::uint64_t{i} * step % count);
}

// Pairs of an even and the following odd frame share two neighbouring moments.
std::uint32_t moment_of(std::uint32_t frame, std::uint32_t frames) {
    const std::uint32_t pairs = frames / 2;
    if (frame / 2 >= pairs) return frame; // the last of an odd number
    return 2 * spread_number(frame / 2, pairs) + frame % 2;
}

} // namespace

Turn turn_of(std::uint32_t n, std::uint32_t frames, bool in_halves) {
    if (!in_halves) return {n, 0, n};
    const std::uint32_t frame = n % frames;
    return {frame / 2 + frame % 2 * ((frames + 1) / 2), n / frames, moment_of(frame, frames)};
}

} // namespace mh
