// Which points and which moment of the exposure a pixel's frame has. Frames in their order have the
// points in theirs, unless halves of them are to be compared.
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace mh {

constexpr std::uint32_t kFirstSet = 16; // frames that pixels have before some take more

struct Turn {
    std::uint32_t frame = 0;  // of the run, whose points it has
    std::uint32_t round = 0;  // points beyond the frames of the run are those of further rounds
    std::uint32_t moment = 0; // frame of the run whose pose it has
};

// Plain: frames have the points in their order. Where planes are kept, even frames take one half of
// the points and odd ones the other: each half is even in itself and hardly depends on the other,
// while every second point of a sequence lies in the same half of its square. In halves: of all
// points. Growing: of the first 16, of those up to the 32nd, up to the 64th and so on, so that a
// pixel that ends with any of these has a whole set.
enum class FrameOrder : std::uint8_t { plain, halves, growing };

// Of frame n of a pixel; the run has `frames`. Beyond plain order moments are spread over the
// exposure, so that a run that ends early has seen all of it.
Turn turn_of(std::uint32_t n, std::uint32_t frames, FrameOrder order);

} // namespace mh
