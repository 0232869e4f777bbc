// Records of photons and of the density estimator.
// SPDX-License-Identifier: MIT
#pragma once

#include "math/vec3.h"

#include <cstdint>
#include <vector>

namespace mh {

// Radiance that photons left in a cell, by the side at which they arrived.
struct DensityCell {
    Vec3 front, back;
};

// Cells of one face: N * N from first_cell on.
struct FaceCells {
    std::uint64_t first_cell = 0;
    std::uint32_t resolution = 0; // N, 1..255
    float cells_per_area = 0.0f;  // N * N / area; 0 for a face too small to receive light
};

// The grid of a part; empty without one.
struct DensityGrid {
    std::vector<FaceCells> triangle_cells, tetragon_cells; // one per face
    std::vector<DensityCell> cells;                        // of the triangles, then the tetragons
    std::uint64_t first_sum = 0; // place of its cells among the sums of a photon pass
};

// A photon that reached a diffuse surface by specular bounces alone.
struct CausticPhoton {
    Vec3 position;
    Vec3 power;
    std::uint16_t direction = 0; // towards where it came from, packed
    std::uint16_t normal = 0;    // geometric normal, packed
};

static_assert(sizeof(CausticPhoton) == 28);

} // namespace mh
