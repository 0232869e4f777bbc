// The azimuthal tables of fibre scattering, integrated over the fibre's width [dEon11]; built once
// per hair shader when the scene is assembled.
// SPDX-License-Identifier: MIT
#include "shading/hair_table.h"

#include "math/at.h"
#include "math/clock.h"
#include "math/constants.h"
#include "math/threads.h"
#include "run/report.h"
#include "shading/evaluate.h"
#include "shading/fibre.h"
#include "shading/fresnel.h"
#include "shading/images.h"

#include <algorithm>
#include <cmath>

namespace mh {

namespace {

constexpr int kOffsets = 128; // across the fibre

using Paths = std::array<FibrePath, kOffsets>;

// Azimuthal values of one cell of the tables.
struct Azimuth {
    Vec3 density;   // of the three lobes, without Fresnel and absorption
    float r = 0.0f; // without Fresnel, unless the fibre has two widths
    Vec3 tt, trt;
};

// Gaussian of standard deviation a around 0 and its next periods; x within two turns.
float periodic_gaussian(float x, float a) {
    constexpr float kNegligible = 80.0f; // exp(-80) is below what the sums can hold
    constexpr float kInverseRootTwoPi = 0.39894228f;
    float total = 0.0f;
    for (int turn = -2; turn <= 2; ++turn) {
        const float t = (x - kTwoPi * static_cast<float>(turn)) / a;
        const float exponent = 0.5f * t * t;
        if (exponent < kNegligible) total += std::exp(-exponent);
    }
    return total * kInverseRootTwoPi / a;
}

Paths paths_of(const HairTable& table, float cosine) {
    Paths paths;
    for (int k = 0; k < kOffsets; ++k) {
        constexpr float kHalf = kOffsets / 2.0f;
        const float h = (static_cast<float>(k) + 0.5f - kHalf) / kHalf;
        at(paths, k) = fibre_path(table, h, cosine);
    }
    return paths;
}

// [dEon11] with Gaussian detectors: light leaves lobe p at the angle
// p pi - 2 gamma_i + 2 p gamma_t.
Azimuth azimuth_at(const HairTable& table, const Paths& paths, float phi) {
    Azimuth sums;
    for (const FibrePath& path : paths) {
        const float gi = path.gamma_i, gt = path.gamma_t, f = path.fresnel;
        const float r = periodic_gaussian(2.0f * gi + phi, table.azimuth[0]);
        const float tt = periodic_gaussian(2.0f * (gi - gt) + phi - kPi, table.azimuth[1]);
        const float trt = periodic_gaussian(2.0f * (gi - kPi) + phi - 4.0f * gt, table.azimuth[2]);
        const Vec3 passed = path.absorption * ((1.0f - f) * (1.0f - f));
        sums.density += {r, tt, trt};
        sums.r += has_two_widths(table) ? r * f : r;
        sums.tt += tt * passed;
        const Vec3 trt_light = trt * f * path.absorption * passed;
        sums.trt += has_two_widths(table) ? trt_light * series_of_reflections(path) : trt_light;
    }
    constexpr float kMean = 1.0f / kOffsets;
    return {sums.density * kMean, sums.r * kMean, sums.tt * kMean, sums.trt * kMean};
}

void fill_row(HairTable& table, int row) {
    const float size = kHairTableSize;
    const float cosine = std::cos(0.5f * kPi / size * (static_cast<float>(row) + 0.5f));
    const Paths paths = paths_of(table, cosine);
    for (int column = 0; column < kHairTableSize; ++column) {
        const float phi = kPi / size * (static_cast<float>(column) + 0.5f);
        const Azimuth value = azimuth_at(table, paths, phi);
        const std::int64_t index = row * kHairTableSize + column;
        set_texel(table.pdf_image, index, value.density);
        set_texel(table.r_image, index, splat(value.r));
        set_texel(table.tt_image, index, value.tt);
        set_texel(table.trt_image, index, value.trt);
    }
}

// Normalisation of the longitudinal function; 0 where sinh has no finite value, which no lobe that
// narrow reads.
float csch_term(float variance) {
    const double v = static_cast<double>(variance);
    return static_cast<float>(1.0 / (2.0 * v * std::sinh(1.0 / v)));
}

void derive(HairTable& table) {
    table.f0 = normal_reflectance(table.ior);
    const bool apart = has_two_widths(table);
    table.alpha[1] = (apart ? 0.5f : 2.0f) * table.alpha[0];
    table.alpha[2] = (apart ? 2.0f : 3.0f) * table.alpha[0];
    table.azimuth = table.alpha;
    if (apart) table.azimuth.fill(table.around);
    constexpr std::array<float, 3> kTilts = {2.0f, -1.0f, -4.0f}; // [Chiang16] over that of scales
    for (std::size_t k = 0; k < table.alpha.size(); ++k) {
        const float angle = kTilts[k] * table.tilt;
        table.turn[k] = {std::cos(angle), std::sin(angle)};
        table.variance[k] = table.alpha[k] * table.alpha[k];
        table.csch_term[k] = csch_term(table.variance[k]);
    }
}

} // namespace

void SetHairParameters(Shader& shader) {
    constexpr float kWidthOfOne = 30.0f * kRadiansPerDegree; // per unit of the roughness channels
    constexpr float kNarrowest = 1e-3f; // radians; below it the tables hold nothing but 0
    constexpr float kWidest = 1e3f;     // radians; flat long before
    if (shader.layers.empty()) return;
    const SurfaceLayer& layer = shader.layers[0];
    HairTable& table = shader.hair_table;
    const float width = kWidthOfOne * sum(element_of(layer, Element::roughness).color);
    table.alpha[0] = std::min(std::max(kNarrowest, width), kWidest);
    const float around = layer.azimuthal_width_deg * kRadiansPerDegree;
    table.around = around > 0.0f ? std::clamp(around, kNarrowest, kWidest) : 0.0f;
    table.tilt = layer.cuticle_tilt_deg * kRadiansPerDegree;
    table.ior = std::max(0.0f, mean(element_of(layer, Element::ior).color));
    table.absorption = shader.medium.sigma_t;
}

void BuildHairTable(HairTable& table) {
    derive(table);
    for (Image* image : {&table.pdf_image, &table.r_image, &table.tt_image, &table.trt_image})
        AllocateImage(*image, kHairTableSize, kHairTableSize, 3, 32, false);
    const std::int64_t start = milliseconds_now();
#pragma omp parallel for schedule(dynamic, 1) num_threads(team_size()) default(none) shared(table)
    for (int row = 0; row < kHairTableSize; ++row)
        fill_row(table, row);
    ReportLine("bcsdf lut", static_cast<float>(milliseconds_now() - start) / 1000.0f, "seconds");
    ReportRule();
}

} // namespace mh
