// Frames that go where the picture needs them. The first are even over the picture; those after
// them cast as many rays together as even ones, but blocks take unequal parts of these.
// SPDX-License-Identifier: MIT
#pragma once

#include "output/types.h"

#include <cstdint>
#include <vector>

namespace mh {

constexpr std::uint32_t kMostRounds = 4; // frames of a block, of the mean

// Whether blocks take unequal parts of this frame.
bool is_shared_out(std::uint32_t frame);

// Frame n of a pixel as frame of its camera. Further rounds of a piece are its part of each further
// round of the picture, so that no two pieces share points.
std::uint32_t frame_of_camera(const Camera& camera, std::uint32_t n);

// What a block takes of a frame: paths of each pixel, after those that they have.
struct BlockTurn {
    std::uint32_t done = 0, more = 0;
    float wanted_more = 0.0f; // to be added to the frames that its pixels are to have next
};

// Of all blocks of the grid, before the frame. At some frames a new plan is made of what the frames
// so far tell: how many each block is to have by the next of these. Between them it is carried out.
std::vector<BlockTurn> PlanFrame(std::uint32_t frame);

} // namespace mh
