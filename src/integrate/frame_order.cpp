// Orders of frames.
// SPDX-License-Identifier: MIT
#include "integrate/frame_order.h"

#include "math/spread_number.h"

#include <bit>

namespace mh {

namespace {

// Pairs of an even and the following odd frame share two neighbouring moments.
std::uint32_t moment_of(std::uint32_t frame, std::uint32_t frames) {
    const std::uint32_t pairs = frames / 2;
    if (frame / 2 >= pairs) return frame; // the last of an odd number
    return 2 * spread_number(frame / 2, pairs) + frame % 2;
}

// A stretch of points that is taken in halves.
struct Stretch {
    std::uint32_t begin = 0, end = 0;
};

std::uint32_t point_in_halves(std::uint32_t n, const Stretch& stretch) {
    const std::uint32_t i = n - stretch.begin;
    return stretch.begin + i / 2 + i % 2 * ((stretch.end - stretch.begin + 1) / 2);
}

// Between powers of two, cut where the run ends.
Stretch growing_stretch(std::uint32_t n, std::uint32_t frames) {
    const std::uint32_t begin = n < kFirstSet ? 0 : std::bit_floor(n);
    const std::uint32_t end = n < kFirstSet ? kFirstSet : 2 * begin;
    if (frames <= begin || frames >= end) return {begin, end};
    return n < frames ? Stretch{begin, frames} : Stretch{frames, end};
}

} // namespace

Turn turn_of(std::uint32_t n, std::uint32_t frames, FrameOrder order) {
    if (order == FrameOrder::plain) return {n, 0, n};
    const std::uint32_t moment = moment_of(n % frames, frames);
    if (order == FrameOrder::halves) return {point_in_halves(n, {0, frames}), 0, moment};
    const std::uint32_t point = point_in_halves(n, growing_stretch(n, frames));
    return {point % frames, point / frames, moment};
}

} // namespace mh
