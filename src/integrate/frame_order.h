// Which points and which moment of the exposure a pixel's frame has. Frames in their order have the
// points in theirs, unless halves of them are to be compared.
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace mh {

struct Turn {
    std::uint32_t frame = 0;  // of the run, whose points it has
    std::uint32_t round = 0;  // beyond the frames of the run new rounds of other points begin
    std::uint32_t moment = 0; // frame of the run whose pose it has
};

// Of frame n of a pixel; the run has `frames`. Where planes are kept, even frames take the first
// half of the points and odd ones the second: each half is even in itself and hardly depends on the
// other, while every second point of a sequence lies in the same half of its square. Moments then
// are spread over the exposure, so that a run that ends early has seen all of it.
Turn turn_of(std::uint32_t n, std::uint32_t frames, bool in_halves);

} // namespace mh
