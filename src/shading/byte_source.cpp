// Blockwise reading behind the header checks of images.
// SPDX-License-Identifier: MIT
#include "shading/byte_source.h"

namespace mh {

std::uint8_t byte_at(ByteSource& source, std::uint64_t offset) {
    if (offset >= source.file.size_bytes) return 0;
    if (offset - source.block_start >= source.block_size) { // also where the offset lies before it
        source.block_start = offset / source.block.size() * source.block.size();
        std::FILE* const handle = source.file.handle.get();
        source.block_size = fseeko(handle, static_cast<off_t>(source.block_start), SEEK_SET) == 0
                                ? std::fread(source.block.data(), 1, source.block.size(), handle)
                                : 0;
    }
    const std::uint64_t i = offset - source.block_start;
    return i < source.block_size ? static_cast<std::uint8_t>(source.block[i]) : std::uint8_t{0};
}

std::uint64_t little_endian(ByteSource& source, std::uint64_t offset, int bytes) {
    std::uint64_t value = 0;
    for (int i = bytes - 1; i >= 0; --i)
        value = value << 8 | byte_at(source, offset + static_cast<std::uint64_t>(i));
    return value;
}

std::uint64_t big_endian(ByteSource& source, std::uint64_t offset, int bytes) {
    std::uint64_t value = 0;
    for (int i = 0; i < bytes; ++i)
        value = value << 8 | byte_at(source, offset + static_cast<std::uint64_t>(i));
    return value;
}

std::int32_t little_endian_int(ByteSource& source, std::uint64_t offset) {
    return static_cast<std::int32_t>(little_endian(source, offset, 4));
}

bool stands_at(ByteSource& source, std::uint64_t offset, const std::string& text) {
    for (std::size_t i = 0; i < text.size(); ++i)
        if (byte_at(source, offset + i) != static_cast<std::uint8_t>(text[i])) return false;
    return true;
}

} // namespace mh
