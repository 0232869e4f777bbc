// Random objects with primitives of every kind, for tests of trees and walks.
// SPDX-License-Identifier: MIT
#pragma once

#include "geometry/objects.h"
#include "support/expect.h"

#include <cmath>
#include <random>

namespace mh::test {

// Coordinates in [-1, 1); some values repeat, so that boxes touch, coincide and are flat.
struct RandomPoints {
    explicit RandomPoints(unsigned seed) : engine(seed) {}

    float coordinate() {
        const float x = std::uniform_real_distribution<float>(-1.0f, 1.0f)(engine);
        return engine() % 8 == 0 ? std::round(4.0f * x) / 4.0f : x;
    }

    Vec3 point() {
        const float x = coordinate();
        const float y = coordinate();
        return {x, y, coordinate()};
    }

    std::mt19937 engine;
};

// Four vertices of a primitive of the given size near a random point.
inline std::uint32_t add_vertices(Part& part, RandomPoints& random, float size) {
    const auto first = static_cast<std::uint32_t>(part.positions.size());
    const Vec3 center = random.point();
    for (int i = 0; i < 4; ++i) {
        part.positions.push_back(center + size * random.point());
        part.tangents.push_back(pack_unit(random.point()));
        radii(part).push_back(size * std::fabs(random.coordinate()));
    }
    return first;
}

// Parts of particles, of cylinders and of faces, `count` primitives each.
inline Object random_object(unsigned seed, std::uint32_t count, float size) {
    RandomPoints random(seed);
    Object object;
    object.parts.assign(3, empty_part());
    for (std::uint32_t i = 0; i < count; ++i) {
        object.parts[0].particles.push_back(add_vertices(object.parts[0], random, size));
        object.parts[1].cylinders.push_back(add_vertices(object.parts[1], random, size));
        Part& faces = object.parts[2];
        const std::uint32_t v = add_vertices(faces, random, size);
        if (i % 2 == 0)
            faces.triangles.push_back({{v, v + 1, v + 2}, 0});
        else
            faces.tetragons.push_back({{v, v + 1, v + 2, v + 3}, 0});
    }
    return object;
}

// A part with `count` copies of the triangle (0, 0, 0), (1, 0, 0), (0, 1, 0) moved by `step` each.
inline Object triangle_row(std::uint32_t count, const Vec3& step) {
    Object object;
    object.parts.push_back(empty_part());
    Part& part = object.parts[0];
    for (std::uint32_t i = 0; i < count; ++i) {
        const Vec3 origin = static_cast<float>(i) * step;
        part.positions.insert(part.positions.end(),
                              {origin, origin + Vec3{1, 0, 0}, origin + Vec3{0, 1, 0}});
        part.triangles.push_back({{3 * i, 3 * i + 1, 3 * i + 2}, 0});
    }
    return object;
}

} // namespace mh::test
