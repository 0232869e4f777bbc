// Pictures whose pixels a texture would not read as they are meant: palettes and 16-bit channels.
// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace mh {

// Of PNG and BMP files, whose header has passed its checks.
bool NeedsPlainBytes(const std::string& path);

// Writes the picture with a byte a channel, as PNG. False when it cannot be read or written.
bool WritePlainBytes(const std::string& from, const std::string& to);

} // namespace mh
