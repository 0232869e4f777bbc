// Pictures of scenes rendered in this process, and the error of one against another.
// SPDX-License-Identifier: MIT
#pragma once

#include "math/vec3.h"
#include "output/aov.h"
#include "output/state.h"
#include "run/types.h"

#include <cstdint>
#include <vector>

namespace mh::bench {

struct Picture {
    std::vector<Vec3> pixels;
    double setup = 0.0, seconds = 0.0;
};

inline std::vector<Vec3> pixels_of(const Image& image) {
    std::vector<Vec3> pixels;
    for (std::int64_t i = 0; i < std::int64_t{image.width} * image.height; ++i)
        pixels.push_back(read_pixel(image, i));
    return pixels;
}

// No image of the open scene is written.
inline void write_nothing() {
    for (Aov& aov : Cameras[0].aovs)
        aov.image.path.clear();
}

// Mean of (a - b)^2 / (b^2 + 0.01) over pixels and channels.
inline double relative_error(const Picture& a, const Picture& b) {
    double total = 0.0;
    for (std::size_t i = 0; i < a.pixels.size(); ++i) {
        const Vec3 d = a.pixels[i] - b.pixels[i], square = b.pixels[i] * b.pixels[i];
        total += sum(d * d / (square + splat(0.01f)));
    }
    return total / (3.0 * static_cast<double>(a.pixels.size()));
}

inline double mean_of(const Picture& picture) {
    double total = 0.0;
    for (const Vec3& pixel : picture.pixels)
        total += sum(pixel);
    return total / (3.0 * static_cast<double>(picture.pixels.size()));
}

} // namespace mh::bench
