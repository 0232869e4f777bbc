// What the preview window shows of a picture: sRGB, brightened or darkened by keys.
// SPDX-License-Identifier: MIT
#pragma once

#include "shading/types.h"

#include <cstdint>
#include <vector>

namespace mh {

// Three bytes a pixel of an image of three floats, each of the linear value times 2^stops, rounded.
void ToDisplay(const Image& image, float stops, std::vector<std::uint8_t>& bytes);

// The exposure after a key: + and - are half a stop, 0 is none; any other changes nothing.
float exposure_after(unsigned char key, float stops);

} // namespace mh
