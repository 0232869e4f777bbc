// Estimates of squared errors from halves that were filtered crosswise.
// SPDX-License-Identifier: MIT
#include "denoise/mixing.h"

#include "denoise/guides.h"
#include "denoise/kernel_types.h"
#include "denoise/planes.h"
#include "math/at.h"

#include <algorithm>
#include <cmath>

namespace mh {

namespace {

// Of a pixel, sums over its channels: squared distances over squared brightness.
struct Distances {
    std::vector<float> variance; // of the picture
    std::vector<float> residual; // of a half from the other, filtered
    std::vector<float> spread;   // between the filtered halves, as variance of their mean
    std::vector<float> moved;    // of the picture from its filtered self
    std::vector<float> scale;    // squared brightness
};

float square(float x) {
    return x * x;
}

constexpr float kDarkest = 0.03f; // three channels of 0.1, below which errors are absolute

Distances distances_of(const DenoiseInput& input, const std::vector<float>& noise,
                       const Filtered& filtered) {
    const std::size_t pixels = noise.size();
    Distances d;
    for (std::vector<float>* list : {&d.variance, &d.residual, &d.spread, &d.moved, &d.scale})
        list->resize(pixels);
    for (std::size_t i = 0; i < pixels; ++i) {
        float residual = 0.0f, spread = 0.0f, moved = 0.0f, halves = 0.0f, light = kDarkest;
        for (std::size_t at = kColours * i; at < kColours * (i + 1); ++at) {
            const float a = input.picture.half[0][at], b = input.picture.half[1][at];
            const float fa = filtered.half[0][at], fb = filtered.half[1][at];
            residual += 0.5f * (square(fa - b) + square(fb - a));
            spread += 0.25f * square(fa - fb);
            moved += 0.25f * square(fa + fb - a - b);
            halves += 0.25f * square(a - b);
            light += 0.25f * square(fa + fb);
        }
        d.scale[i] = light;
        d.variance[i] = (HasHalves(input.picture) ? halves : noise[i]) / light;
        d.residual[i] = residual / light;
        d.spread[i] = spread / light;
        d.moved[i] = moved / light;
    }
    return d;
}

} // namespace

// The noise of the other half has no part in either picture, so that the least squares are
// unbiased.
std::vector<float> ShareOfSecond(const DenoiseInput& input, const Filtered& first,
                                 const Filtered& second) {
    constexpr int kShareReach = 3; // of the squares over which shares are found
    const std::size_t pixels = first.half[0].size() / kColours;
    std::vector<float> along(pixels), squares(pixels);
    for (std::size_t i = 0; i < pixels; ++i) {
        float light = kDarkest;
        for (std::size_t at = kColours * i; at < kColours * (i + 1); ++at) {
            for (const int half : {0, 1}) {
                const float from = first.half[half][at], step = second.half[half][at] - from;
                along[i] += step * (input.picture.half[to_size(1 - half)][at] - from);
                squares[i] += square(step);
            }
            light += 0.25f * square(first.half[0][at] + first.half[1][at]);
        }
        along[i] /= light;
        squares[i] /= light;
    }
    along = BoxMean(along, input.width, input.height, kShareReach);
    squares = BoxMean(squares, input.width, input.height, kShareReach);
    for (std::size_t i = 0; i < pixels; ++i)
        along[i] = squares[i] > 0.0f ? std::clamp(along[i] / squares[i], 0.0f, 1.0f) : 0.0f;
    return along;
}

// With picture I = t + e, filtered F = t + f, E[e^2] = V, E[f^2] = M, and D = (F - I)^2, whose mean
// is V + M - 2 E[e f], the mixture I + s (F - I) has the least error where s = (V - M + D) / (2 D).
Mixture MixtureOf(const DenoiseInput& input, const std::vector<float>& noise,
                  const Filtered& filtered) {
    constexpr int kErrorReach = 8; // of the squares over which errors are averaged
    constexpr float kDoubt = 0.2f; // of the variance: what chance adds to a loss that is none
    Distances d = distances_of(input, noise, filtered);
    for (std::vector<float>* list : {&d.variance, &d.residual, &d.spread, &d.moved})
        *list = BoxMean(*list, input.width, input.height, kErrorReach);
    const bool halves = HasHalves(input.picture);
    Mixture mixture;
    mixture.share.resize(noise.size());
    mixture.error.resize(noise.size());
    for (std::size_t i = 0; i < noise.size(); ++i) {
        // Halves of one even set of points differ more than twice as much as they both miss the
        // truth by: the picture is no further from it than from its filtered self.
        const float moved = d.moved[i], apart = d.variance[i];
        const float v = halves ? std::min(apart, moved) : apart;
        // The mean of the filtered halves is nearer than each by their spread, and no nearer than
        // that. Without halves, what was moved beyond the noise is lost.
        const float m = halves ? std::max(d.residual[i] - (v + apart) - d.spread[i], d.spread[i])
                               : std::max(moved - v, 0.0f);
        const float sure = halves ? std::max(m - kDoubt * v, d.spread[i]) : m;
        const float s =
            moved > 0.0f ? std::clamp(0.5f * (v - sure + moved) / moved, 0.0f, 1.0f) : 1.0f;
        mixture.share[i] = s;
        const float common = 0.5f * (v + m - moved);
        const float least = square(1.0f - s) * v + s * s * m + 2.0f * s * (1.0f - s) * common;
        mixture.error[i] = std::sqrt(std::max(least, 0.0f) * d.scale[i] / kColours);
    }
    return mixture;
}

} // namespace mh
