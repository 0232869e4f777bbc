// The commands "convert" and "diff": image files in another format, and how two of them differ.
// SPDX-License-Identifier: MIT
#pragma once

#include "options.h"
#include "pictures/pixels.h"

namespace mh {

// Reads a file, scales it by 2^exposure, applies the curve and writes it: linear to .hdr, .exr and
// .pfm, in sRGB to any other format. Returns the exit status of the program.
int ConvertImage(const Arguments& arguments);

// The first image was to be a layer, but its file has none: why, or empty.
std::string FaultOfLayer(const Arguments& arguments, const Pixels& first);

// Prints RMSE, relative MSE, PSNR and the largest difference. Returns the exit status.
int CompareImages(const Arguments& arguments);

} // namespace mh
