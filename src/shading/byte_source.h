// Random access to the bytes of a file's header, wherever in the file its pieces lie.
// SPDX-License-Identifier: MIT
#pragma once

#include "math/input_file.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace mh {

struct ByteSource {
    InputFile file;
    std::uint64_t block_start = 0;
    std::uint64_t block_size = 0;
    std::array<char, 4096> block = {};
};

// Bytes from an offset on into `to`; returns how many there were.
std::size_t read_bytes(ByteSource& source, std::uint64_t offset, std::span<char> to);

// The byte at an offset; 0 beyond the end.
std::uint8_t byte_at(ByteSource& source, std::uint64_t offset);

// Unsigned numbers of 1 to 8 bytes, least or most significant byte first.
std::uint64_t little_endian(ByteSource& source, std::uint64_t offset, int bytes);
std::uint64_t big_endian(ByteSource& source, std::uint64_t offset, int bytes);

// The same as signed 32-bit numbers.
std::int32_t little_endian_int(ByteSource& source, std::uint64_t offset);

// Whether these characters stand at the offset.
bool stands_at(ByteSource& source, std::uint64_t offset, const std::string& text);

} // namespace mh
