// What the preview window shows of a picture.
// SPDX-License-Identifier: MIT
#include "output/display.h"

#include "math/srgb.h"

#include <algorithm>
#include <cmath>

namespace mh {

void ToDisplay(const Image& image, float stops, std::vector<std::uint8_t>& bytes) {
    constexpr float kWhite = 255.0f;
    const float factor = std::exp2(stops);
    bytes.resize(image.floats.size());
    std::transform(image.floats.begin(), image.floats.end(), bytes.begin(), [&](float value) {
        return static_cast<std::uint8_t>(kWhite * srgb_of(factor * value) + 0.5f);
    });
}

float exposure_after(unsigned char key, float stops) {
    constexpr float kStep = 0.5f, kMost = 30.0f;
    switch (key) {
    case '+':
    case '=': return std::min(stops + kStep, kMost);
    case '-':
    case '_': return std::max(stops - kStep, -kMost);
    case '0': return 0.0f;
    default: return stops;
    }
}

} // namespace mh
