// A hair segment as a cubic Hermite curve cut into eight straight pieces: the one sampling that
// boxes and walks share, so that no piece leaves its box.
// SPDX-License-Identifier: MIT
#pragma once

#include "math/vec3.h"

#include <array>

namespace mh {

constexpr int kHairPieces = 8;

// H(u) = P0 + chord(u) (P1 - P0) + start(u) T0 + end(u) T1, summed from left to right, at eight
// values of u. The coefficients are exact in float.
struct HairCoefficients {
    alignas(32) float chord[kHairPieces];
    alignas(32) float start[kHairPieces];
    alignas(32) float end[kHairPieces];
};

// The table of u = (k + offset) / 8; consteval keeps it out of every object file.
consteval HairCoefficients hair_coefficients(int offset) {
    HairCoefficients table = {};
    for (int k = 0; k < kHairPieces; ++k) {
        const float u = static_cast<float>(k + offset) / kHairPieces;
        table.chord[k] = (3 - 2 * u) * u * u;
        table.start[k] = ((u - 2) * u + 1) * u;
        table.end[k] = (u - 1) * u * u;
    }
    return table;
}

// Piece k runs from A_k = H(k / 8) to B_k = H((k + 1) / 8).
constexpr HairCoefficients kHairBegin = hair_coefficients(0);
constexpr HairCoefficients kHairEnd = hair_coefficients(1);

// End points and tangents of a segment; the tangents have unit length or are zero.
struct HairSegment {
    Vec3 p0, p1, t0, t1;
};

// H(k / 8) for k = 0..8.
std::array<Vec3, kHairPieces + 1> hair_samples(const HairSegment& segment);

} // namespace mh
