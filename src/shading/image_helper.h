// Decoding of an image file in a process of its own, whose crash or hang is a line of the report.
// SPDX-License-Identifier: MIT
#pragma once

#include "shading/image_decoder.h"
#include "shading/types.h"

#include <string>

namespace mh {

// What a decoder may take before it is given up.
struct Budget {
    double seconds = 0.0; // of processor time; twice that on the clock
    double bytes = 0.0;   // of address space
};

// By the file's length, and the size that its header claims.
Budget BudgetOf(const std::string& file, FREE_IMAGE_FORMAT format);

// Returns why the image stays without pixels, or an empty text.
std::string DecodeApart(const std::string& file, Decoding decoding, Budget budget, Image& image);

} // namespace mh
