// The kd-tree of the caustic photons: records, construction, nearest neighbours. Internal to
// caustics.cpp.
// SPDX-License-Identifier: MIT
#pragma once

#include "integrate/types.h"
#include "math/box.h"
#include "math/vec3.h"

#include <array>
#include <cstdint>
#include <vector>

namespace mh {

struct PhotonNode {
    std::int32_t first = 0;     // inner: the lower child, the upper is the next; leaf: first photon
    float plane = 0.0f;         // of an inner node: photons below it are under the lower child
    std::uint32_t axis : 2 = 0; // of the plane
    std::uint32_t count : 30 = 0; // of a leaf; 0 in an inner node
};

static_assert(sizeof(PhotonNode) == 12);

struct PhotonTree {
    std::vector<PhotonNode> nodes; // root at 0; empty without photons
    Aabb box;                      // of all photons
};

// Orders the photons so that each leaf's stand together. Splits no range shorter than
// shortest_side. The tree is the same whatever the number of threads; the order of nodes is not.
PhotonTree GrowPhotonTree(std::vector<CausticPhoton>& photons, float shortest_side);

constexpr int kNearest = 32;

// Photons nearest to a point, in no order.
struct NearestPhotons {
    float limit = 0.0f; // squared distances found are below it; falls once all places are taken
    int count = 0;
    int farthest = 0; // among those found
    std::array<float, kNearest> distance_squared = {};
    std::array<std::int32_t, kNearest> photon = {};
};

// Of the photons that arrived from the normal's side, up to 32 within found.limit.
void find_nearest(const PhotonTree& tree, const std::vector<CausticPhoton>& photons,
                  const Vec3& position, const Vec3& normal, NearestPhotons& found);

} // namespace mh
