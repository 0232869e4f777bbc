// Compressed arrays of numbers: the bytes of each place are put side by side, since the upper bytes
// of neighbouring numbers are alike, and compressed by Zstandard, [RFC8878], in blocks.
// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

namespace mh {

// word: bytes of a number, 4 of a float or 16 of a sum. Blocks are compressed on all threads.
std::string Packed(std::string_view bytes, std::size_t word);

// Fills exactly these bytes; false when the text does not hold them.
bool Unpack(std::string_view packed, std::size_t word, std::span<char> bytes);

} // namespace mh
