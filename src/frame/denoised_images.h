// Denoised images of a render beside the images themselves.
// SPDX-License-Identifier: MIT
#pragma once

#include "output/types.h"

#include <string>
#include <vector>

namespace mh {

// "beauty.hdr" becomes "beauty_denoised.hdr"; an empty name stays empty.
std::string DenoisedPath(const std::string& path);
std::string ErrorPath(const std::string& path); // "beauty_error.hdr"

// What is expected to be left, relative; 0 where there was nothing to denoise.
struct DenoisedError {
    double mean = 0.0;       // root of the mean square over pixels
    double percentile = 0.0; // over blocks, as Noise has it
};

// With the last frame, before the lights end: keeps copies of what they add to the picture, if that
// is denoised.
void KeepLightImages();

// After the frames, whose planes of features it takes: writes the picture of the active camera and
// what lights add to it, denoised, and the expected standard error of each denoised pixel.
DenoisedError WriteDenoisedImages();

// The same for pictures that are put together elsewhere, of which the planes hold all frames.
DenoisedError WriteDenoisedImages(const Image& beauty, std::vector<const Image*> lights);

// The percentile as it would be now, between frames.
double DenoisedNoise();

} // namespace mh
