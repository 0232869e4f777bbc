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
    bool is_linear = false; // light; otherwise values of sRGB
    bool is_layer = false;  // the one that was asked for, of a file that has some
};

// Both as the file's format holds them: linear light in floats, displayed values of sRGB in bytes.
// Empty on success, else why not. Files of other programs are read by the helper program for
// pictures. With the name of a layer that one is read, where the file has layers.
std::string ReadPixels(const std::string& path, Pixels& pixels, const std::string& layer = {});
std::string WritePixels(const std::string& path, const Pixels& pixels);

void MakeLinear(Pixels& pixels);

} // namespace mh
