// Denoised images of a render beside the images themselves.
// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace mh {

// "beauty.hdr" becomes "beauty_denoised.hdr"; an empty name stays empty.
std::string DenoisedPath(const std::string& path);
std::string ErrorPath(const std::string& path); // "beauty_error.hdr"

// What is expected to be left, relative; 0 where there was nothing to denoise.
struct DenoisedError {
    double mean = 0.0;       // root of the mean square over pixels
    double percentile = 0.0; // over blocks, as Noise has it
};

// After the frames, whose planes of features it takes: writes the picture of the active camera and
// what lights add to it, denoised, and the expected standard error of each denoised pixel.
DenoisedError WriteDenoisedImages();

// The percentile as it would be now, between frames.
double DenoisedNoise();

} // namespace mh
