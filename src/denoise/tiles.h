// The kernels in use, and the order of tiles.
// SPDX-License-Identifier: MIT
#pragma once

#include "denoise/kernel_types.h"
#include "math/threads.h"

namespace mh {

const DenoiseKernel& DenoiseKernelInUse();

// Calls act(x, y) for all tiles, on all threads. Tiles that run at the same time are not
// neighbours, and neighbours always run in the same order, so that sums do not depend on threads.
template<typename Act>
void for_tiles(const PlaneShape& shape, const Act& act) {
    const int across = (shape.width + kTile - 1) / kTile;
    const int down = (shape.height + kTile - 1) / kTile;
    for (int part = 0; part < 4; ++part) {
        const int first_x = part % 2, first_y = part / 2;
#pragma omp parallel for collapse(2) schedule(dynamic, 1) num_threads(team_size()) default(none)   \
    shared(across, down, first_x, first_y, act)
        for (int y = first_y; y < down; y += 2)
            for (int x = first_x; x < across; x += 2)
                act(kTile * x, kTile * y);
    }
}

} // namespace mh
