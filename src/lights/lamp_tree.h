// The choice among many lamps by what they may send to a point: a tree of bounds on place,
// direction and power [ContyKulla18]. Private to this folder.
// SPDX-License-Identifier: MIT
#pragma once

#include "lights/types.h"

namespace mh {

// Builds the tree over the lamps that are sampled; empty without any.
void BuildLampTree(LampSet& set);

// Of memory, while the tree is built.
std::size_t TreeBytesOfLamp();

struct LampChoice {
    std::int32_t lamp = -1; // none may shine on the point
    float probability = 0.0f;
};

// The lamp that u in [0, 1) chooses for a point; u is not read where there is but one.
inline bool is_choice(const LampSet& set) {
    return set.sampled > 1;
}

LampChoice choose_lamp(const LampSet& set, const Vec3& from, float u);

// A face that was hit: its lamp, and how likely choose_lamp is to choose it.
struct LampHit {
    Vec3 position;
    const Part* part = nullptr;
    std::uint32_t primitive = 0;
    bool triangle = true;
    bool front = true;
    float rounding = 0.0f; // how far the position may lie off the face
};

LampChoice find_lamp(const LampSet& set, const Vec3& from, const LampHit& hit);

} // namespace mh
