// Open Image Denoise as the filter, where the build found it.
// SPDX-License-Identifier: MIT
#pragma once

#include "denoise/denoise.h"

#include <string>
#include <vector>

namespace mh {

// The network's version of one half of the picture, by the features of both. Returns what keeps it
// from that, or an empty text.
std::string FilterByNetwork(const DenoiseInput& input, std::size_t half,
                            std::vector<float>& filtered);

} // namespace mh
