// Denoised images of a render beside the images themselves.
// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace mh {

// "beauty.hdr" becomes "beauty_denoised.hdr"; an empty name stays empty.
std::string DenoisedPath(const std::string& path);
std::string ErrorPath(const std::string& path); // "beauty_error.hdr"

// After the frames, whose planes of features it takes: writes the picture of the active camera and
// what lights add to it, denoised, and the expected standard error of each denoised pixel. Returns
// the relative one, root of its mean square over pixels; 0 where there was nothing to denoise.
float WriteDenoisedImages();

} // namespace mh
