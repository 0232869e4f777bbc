// The command "convert": an image file in another format, for the eye.
// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace mh {

// Reads a file, scales it by 2^exposure and writes it: linear to .hdr, .exr and .pfm, in sRGB to
// any other format. Returns the exit status of the program.
int Convert(const std::string& input, const std::string& output, float exposure);

} // namespace mh
