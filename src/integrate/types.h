// Records of photons and of the density estimator.
// SPDX-License-Identifier: MIT
#pragma once

#include "math/vec3.h"

#include <cstdint>
#include <vector>

namespace mh {

// Cells of one face: N * N from first_cell on.
struct FaceCells {
    std::uint64_t first_cell = 0;
    std::uint32_t resolution = 0; // N, 1..255
};

// Light that photons left on the faces of a part, as radiance per side; empty without a grid.
struct DensityGrid {
    std::vector<FaceCells> triangle_cells, tetragon_cells; // one per face
    std::vector<Vec3> triangle_front, triangle_back;       // one per cell
    std::vector<Vec3> tetragon_front, tetragon_back;
};

// A photon that reached a diffuse surface by specular bounces alone.
struct CausticPhoton {
    Vec3 position;
    Vec3 power;
    std::uint16_t direction = 0; // towards where it came from, packed
    std::uint16_t normal = 0;    // geometric normal, packed
};

static_assert(sizeof(CausticPhoton) == 28);

extern std::vector<CausticPhoton> Photons;

} // namespace mh
