// Images as the commands that work on them hold them: linear colours, rows from the top.
// SPDX-License-Identifier: MIT
#pragma once

#include "math/vec3.h"

#include <string>
#include <vector>

namespace mh {

struct Pixels {
    int width = 0, height = 0;
    std::vector<Vec3> values;
};

// Formats of high range hold linear light; the others are displayed values in sRGB.
bool is_linear_format(const std::string& name);

// Both as the file's format holds them. Empty on success, else why not.
std::string ReadPixels(const std::string& path, Pixels& pixels);
std::string WritePixels(const std::string& path, const Pixels& pixels);

// Transfer function of sRGB, [IEC61966-2-1]; the result lies in 0..1.
float srgb_of(float linear);

} // namespace mh
