// Points on the curve of a hair segment.
// SPDX-License-Identifier: MIT
#include "accel/hair_curve.h"

#include "math/at.h"

namespace mh {

namespace {

Vec3 hair_point(const HairSegment& s, const HairCoefficients& table, int k) {
    return s.p0 + table.chord[k] * (s.p1 - s.p0) + table.start[k] * s.t0 + table.end[k] * s.t1;
}

} // namespace

std::array<Vec3, kHairPieces + 1> hair_samples(const HairSegment& segment) {
    std::array<Vec3, kHairPieces + 1> samples;
    for (int k = 0; k < kHairPieces; ++k)
        at(samples, k) = hair_point(segment, kHairBegin, k);
    samples[kHairPieces] = hair_point(segment, kHairEnd, kHairPieces - 1);
    return samples;
}

} // namespace mh
