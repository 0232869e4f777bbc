// The commands "convert" and "diff": image files in another format, and how two of them differ.
// SPDX-License-Identifier: MIT
#pragma once

#include "options.h"

namespace mh {

// Reads a file, scales it by 2^exposure, applies the curve and writes it: linear to .hdr, .exr and
// .pfm, in sRGB to any other format. Returns the exit status of the program.
int ConvertImage(const Arguments& arguments);

// Prints RMSE, relative MSE, PSNR and the largest difference. Returns the exit status.
int CompareImages(const Arguments& arguments);

} // namespace mh
