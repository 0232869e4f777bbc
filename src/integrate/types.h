// Records of photons, of the density estimator, and of the loop and the sums of frames.
// SPDX-License-Identifier: MIT
#pragma once

#include "math/fixed_point.h"
#include "math/vec3.h"
#include "output/types.h"

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

// Sums of the values of a row of an image: each is its steps of 2^-36, and where the row has any,
// its rest. Planes are many, and their values small: theirs are doubles, which are exact as long as
// the largest value of a pixel times their number is less than 2^29 times the smallest, and off by
// 1e-16 beyond that.
struct ExactRow {
    std::vector<std::int64_t> steps;
    std::vector<FixedPoint> rest; // as many, or none
    std::vector<double> doubles;  // of a plane, in place of both
};

// The sum of all frames of one image, of the region's rows; of what each pixel would be if it held
// that frame alone.
struct FrameSum {
    Image* image = nullptr;
    float per_sample = 1.0f; // what a frame's value is multiplied by: an image may hold shares
    bool shows_sum = false;  // where others show the mean
    bool shows_each_frame = false;
    std::vector<ExactRow> rows;
};

// Of all images that change with frames, in the order of ForEachOutput; empty while none are kept.
struct FrameSums {
    PixelRegion region;
    std::uint32_t frames = 0; // that they hold
    std::vector<FrameSum> images;
    const FrameSum* own_frames = nullptr; // of the images; where pixels have frames of their own
};

// What a frame needs from folders further down; all are set.
struct FrameSteps {
    void (*begin_frame)(std::uint32_t frame) = nullptr;   // clears counters of the trees
    void (*render_pixels)(std::uint32_t frame) = nullptr; // adds to RayStatistics
    void (*first_frame_done)() = nullptr;                 // reorders the trees
    void (*finish_lights)() = nullptr;                    // writes and releases the lights
};

} // namespace mh
