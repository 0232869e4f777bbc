// Small meshes for the tests of this folder.
// SPDX-License-Identifier: MIT
#pragma once

#include "geometry/types.h"
#include "support/expect.h"
#include "support/fresh_scene.h"

#include <gtest/gtest.h>

namespace mh::test {

// A started library whose report so far is taken.
struct MeshTest : testing::Test {
    MeshTest() { scene.take_report(); }

    FreshScene scene;
};

// A shader of this smooth angle in degrees; returns its index.
std::uint32_t add_smooth_shader(float smooth_angle_deg);

// What ReadObj and AssembleMesh make of the text; faces get the shader.
Part part_from_obj(const std::string& text, std::uint32_t shader = 0);

// A cube of edge 2 about the origin made of 6 quads, wound outwards.
std::string cube_text();

// The same as 12 triangles whose diagonals run in a mixture of directions.
std::string triangle_cube_text();

// Edges that do not have exactly one neighbour of opposite direction, corners identified by exact
// position: 0 for a closed surface without cracks.
int open_edges(const Part& part);

} // namespace mh::test
