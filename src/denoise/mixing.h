// How near to the truth the picture and its filtered self are, and what lies between them.
// SPDX-License-Identifier: MIT
#pragma once

#include "denoise/denoise.h"

#include <vector>

namespace mh {

// A picture and what the filter made of it: of each half with the weights of the other where there
// are halves.
struct Filtered {
    std::vector<float> half[2]; // three channels interleaved
};

// Of two filtered pictures that have halves, the share of the second one in the mixture that is
// nearest to the other, unfiltered half; 0..1, a value a pixel.
std::vector<float> ShareOfSecond(const DenoiseInput& input, const Filtered& first,
                                 const Filtered& second);

struct Mixture {
    std::vector<float> share; // of the filtered picture, 0..1, a value a pixel
    std::vector<float> error; // expected standard error of a channel of the mixture
};

// Squared errors are measured over squares of pixels: of the picture by its halves, of the filtered
// one by how far each half lies from the other, filtered.
Mixture MixtureOf(const DenoiseInput& input, const std::vector<float>& noise,
                  const Filtered& filtered);

} // namespace mh
