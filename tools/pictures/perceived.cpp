// FLIP and structural similarity.
// SPDX-License-Identifier: MIT
#include "pictures/perceived.h"

#include "math/at.h"
#include "math/constants.h"
#include "math/srgb.h"
#include "pictures/planes.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>

namespace mh {

namespace {

// A display of 3840 pixels and 0.7 m width, 0.7 m away, [Andersson20] 5.
constexpr float kPixelsOfDegree = 67.0206433f;
constexpr Vec3 kWhite = {0.950428545f, 1.0f, 1.088900371f}; // XYZ of D65

float shown(float value) {
    return std::isfinite(value) ? std::clamp(value, 0.0f, 1.0f) : 0.0f;
}

// Primaries of sRGB, [IEC61966-2-1].
Vec3 xyz_of(const Vec3& c) {
    return {0.4123866f * c.x + 0.3575915f * c.y + 0.1804505f * c.z,
            0.2126368f * c.x + 0.7151830f * c.y + 0.0721802f * c.z,
            0.0193306f * c.x + 0.1191972f * c.y + 0.9503726f * c.z};
}

Vec3 linear_of_xyz(const Vec3& c) {
    return {3.2410032f * c.x - 1.5373990f * c.y - 0.4986159f * c.z,
            -0.9692243f * c.x + 1.8759300f * c.y + 0.0415542f * c.z,
            0.0556394f * c.x - 0.2040112f * c.y + 1.0571490f * c.z};
}

// The opponent space of the filters: Y, Cx, Cz, [Andersson20] 4.1.
Vec3 opponent_of(const Vec3& linear) {
    const Vec3 xyz = xyz_of(linear);
    const float x = xyz.x / kWhite.x, y = xyz.y, z = xyz.z / kWhite.z;
    return {116.0f * y - 16.0f, 500.0f * (x - y), 200.0f * (y - z)};
}

Vec3 linear_of_opponent(const Vec3& c) {
    const float y = (c.x + 16.0f) / 116.0f;
    return linear_of_xyz({kWhite.x * (y + c.y / 500.0f), y, kWhite.z * (y - c.z / 200.0f)});
}

float lab_root(float t) {
    constexpr float kDelta = 6.0f / 29.0f;
    return t > kDelta * kDelta * kDelta ? std::cbrt(t)
                                        : t / (3.0f * kDelta * kDelta) + 4.0f / 29.0f;
}

// CIELAB whose colours fade with the lightness, as Hunt found, [Andersson20] eq. 4.
Vec3 hunt_lab_of(const Vec3& linear) {
    const Vec3 xyz = xyz_of(linear);
    const float x = lab_root(xyz.x / kWhite.x), y = lab_root(xyz.y), z = lab_root(xyz.z / kWhite.z);
    const float lightness = 116.0f * y - 16.0f, fading = 0.01f * lightness;
    return {lightness, fading * 500.0f * (x - y), fading * 200.0f * (y - z)};
}

// Lightness by the city-block metric, colours by Euclid's, [Andersson20] eq. 5, to the power 0.7.
float colour_distance(const Vec3& a, const Vec3& b) {
    constexpr float kPower = 0.7f;
    return std::pow(std::fabs(a.x - b.x) + std::hypot(a.y - b.y, a.z - b.z), kPower);
}

// 0..1: differences below 0.4 of the largest take up 0.95 of it, [Andersson20] eq. 7.
float spread_out(float distance) {
    constexpr float kShare = 0.4f, kResult = 0.95f;
    static const float largest =
        colour_distance(hunt_lab_of({0.0f, 1.0f, 0.0f}), hunt_lab_of({0.0f, 0.0f, 1.0f}));
    const float knee = kShare * largest;
    if (distance < knee) return kResult * distance / knee;
    return kResult + (1.0f - kResult) * (distance - knee) / (largest - knee);
}

// One of the Gaussians of a contrast sensitivity: weight sqrt(pi / b) exp(-pi^2 x^2 / b), x in
// degrees, [Andersson20] 4.1.1 and table 1.
struct Sensitivity {
    float weight, b;
};

PixelPlane blurred(const PixelPlane& plane, std::array<Sensitivity, 2> terms) {
    constexpr float kWidest = 0.04f; // b of the widest of all channels
    const auto sigma = [](float b) { return std::sqrt(b / 2.0f) / kPi * kPixelsOfDegree; };
    const int radius = static_cast<int>(std::ceil(3.0f * sigma(kWidest)));
    PixelPlane result = {plane.width, plane.height, std::vector<float>(plane.values.size())};
    float sum = 0.0f;
    for (const Sensitivity& term : terms) {
        if (term.weight == 0.0f) continue;
        const Kernel kernel = Gaussian(sigma(term.b), radius);
        const float peak = kernel[kernel.size() / 2]; // its inverse is the sum before it became 1
        const float weight = term.weight * std::sqrt(kPi / term.b) / (peak * peak);
        const PixelPlane part = Filtered(plane, kernel, kernel);
        for (std::size_t i = 0; i < part.values.size(); ++i)
            result.values[i] += weight * part.values[i];
        sum += weight;
    }
    for (float& value : result.values)
        value /= sum;
    return result;
}

using ThreePlanes = std::array<PixelPlane, 3>;

ThreePlanes planes_of(const Pixels& pixels, Vec3 (*space)(const Vec3&)) {
    ThreePlanes planes;
    for (PixelPlane& plane : planes)
        plane = {pixels.width, pixels.height, {}};
    for (const Vec3& pixel : pixels.values) {
        const Vec3 value = space({shown(pixel.x), shown(pixel.y), shown(pixel.z)});
        planes[0].values.push_back(value.x);
        planes[1].values.push_back(value.y);
        planes[2].values.push_back(value.z);
    }
    return planes;
}

// What an eye that far away sees of the colours.
std::vector<Vec3> seen_colours(const ThreePlanes& opponent) {
    const PixelPlane y = blurred(opponent[0], {{{1.0f, 0.0047f}, {0.0f, 1.0f}}});
    const PixelPlane cx = blurred(opponent[1], {{{1.0f, 0.0053f}, {0.0f, 1.0f}}});
    const PixelPlane cz = blurred(opponent[2], {{{34.1f, 0.04f}, {13.5f, 0.025f}}});
    std::vector<Vec3> colours;
    for (std::size_t i = 0; i < y.values.size(); ++i) {
        const Vec3 c = linear_of_opponent({y.values[i], cx.values[i], cz.values[i]});
        colours.push_back(hunt_lab_of({shown(c.x), shown(c.y), shown(c.z)}));
    }
    return colours;
}

// Positive weights and negative ones are scaled to sums of 1 and -1.
Kernel balanced(Kernel kernel) {
    float positive = 0.0f, negative = 0.0f;
    for (const float weight : kernel)
        (weight > 0.0f ? positive : negative) += weight;
    for (float& weight : kernel)
        weight /= weight > 0.0f ? positive : -negative;
    return kernel;
}

struct Features {
    std::vector<float> edges, points;
};

std::vector<float> lengths(const PixelPlane& x, const PixelPlane& y) {
    std::vector<float> result(x.values.size());
    std::transform(x.values.begin(), x.values.end(), y.values.begin(), result.begin(),
                   [](float a, float b) { return std::hypot(a, b); });
    return result;
}

// Edges and points by the first and second derivatives of a Gaussian, [Andersson20] 4.2.
Features features_of(PixelPlane y) {
    constexpr float kWidth_deg = 0.082f; // of what is noticed
    const float sigma = 0.5f * kWidth_deg * kPixelsOfDegree;
    const int radius = static_cast<int>(std::ceil(3.0f * sigma));
    for (float& value : y.values)
        value = (value + 16.0f) / 116.0f;
    const Kernel smooth = Gaussian(sigma, radius);
    Kernel first = smooth, second = smooth;
    for (int k = -radius; k <= radius; ++k) {
        const float x = static_cast<float>(k) / sigma;
        at(first, k + radius) *= -x;
        at(second, k + radius) *= x * x - 1.0f;
    }
    first = balanced(std::move(first));
    second = balanced(std::move(second));
    return {lengths(Filtered(y, first, smooth), Filtered(y, smooth, first)),
            lengths(Filtered(y, second, smooth), Filtered(y, smooth, second))};
}

float feature_difference(const Features& a, const Features& b, std::size_t i) {
    const float largest =
        std::max(std::fabs(a.edges[i] - b.edges[i]), std::fabs(a.points[i] - b.points[i]));
    return std::clamp(std::sqrt(largest / std::sqrt(2.0f)), 0.0f, 1.0f);
}

// What a display shows of the brightness, 0..1.
PixelPlane brightness_of(const Pixels& pixels) {
    PixelPlane plane = {pixels.width, pixels.height, {}};
    for (const Vec3& c : pixels.values) // weights of [Wang04]'s code, those of BT.601
        plane.values.push_back(0.299f * srgb_of(shown(c.x)) + 0.587f * srgb_of(shown(c.y))
                               + 0.114f * srgb_of(shown(c.z)));
    return plane;
}

PixelPlane product_of(const PixelPlane& a, const PixelPlane& b) {
    PixelPlane result = a;
    for (std::size_t i = 0; i < b.values.size(); ++i)
        result.values[i] *= b.values[i];
    return result;
}

} // namespace

double MeanFlip(const Pixels& a, const Pixels& b) {
    const ThreePlanes test = planes_of(a, opponent_of), reference = planes_of(b, opponent_of);
    const std::vector<Vec3> seen = seen_colours(test), wanted = seen_colours(reference);
    const Features found = features_of(test[0]), expected = features_of(reference[0]);
    double sum = 0.0;
    for (std::size_t i = 0; i < seen.size(); ++i) {
        const float colour = spread_out(colour_distance(seen[i], wanted[i]));
        sum += static_cast<double>(std::pow(colour, 1.0f - feature_difference(found, expected, i)));
    }
    return sum / static_cast<double>(seen.size());
}

double MeanSsim(const Pixels& a, const Pixels& b) {
    constexpr float kSigma = 1.5f, kC1 = 0.01f * 0.01f, kC2 = 0.03f * 0.03f;
    constexpr int kRadius = 5;
    const Kernel window = Gaussian(kSigma, kRadius);
    const auto mean_of = [&](const PixelPlane& plane) {
        return Filtered(plane, window, window).values;
    };
    const PixelPlane x = brightness_of(a), y = brightness_of(b);
    const std::vector<float> mx = mean_of(x), my = mean_of(y), xx = mean_of(product_of(x, x)),
                             yy = mean_of(product_of(y, y)), xy = mean_of(product_of(x, y));
    double sum = 0.0;
    for (std::size_t i = 0; i < mx.size(); ++i) {
        const float vx = xx[i] - mx[i] * mx[i], vy = yy[i] - my[i] * my[i];
        const float cov = xy[i] - mx[i] * my[i];
        sum += static_cast<double>((2.0f * mx[i] * my[i] + kC1) * (2.0f * cov + kC2)
                                   / ((mx[i] * mx[i] + my[i] * my[i] + kC1) * (vx + vy + kC2)));
    }
    return sum / static_cast<double>(mx.size());
}

} // namespace mh
