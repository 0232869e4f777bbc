// Blockwise reading behind the header checks of images.
// SPDX-License-Identifier: MIT
#include "shading/byte_source.h"

#include <algorithm>
#include <cstring>

namespace mh {

namespace {

std::size_t read_file(ByteSource& source, std::uint64_t offset, std::span<char> to) {
    std::FILE* const handle = source.file.handle.get();
    if (fseeko(handle, static_cast<off_t>(offset), SEEK_SET) != 0) return 0;
    return std::fread(to.data(), 1, to.size(), handle);
}

// The part of the block that holds the offset from there on; empty at the end of the file.
std::span<const char> block_from(ByteSource& source, std::uint64_t offset) {
    if (offset >= source.file.size_bytes) return {};
    if (offset - source.block_start >= source.block_size) { // also where the offset lies before it
        source.block_start = offset / source.block.size() * source.block.size();
        source.block_size = read_file(source, source.block_start, source.block);
    }
    const std::uint64_t i = offset - source.block_start;
    if (i >= source.block_size) return {};
    return std::span<const char>(source.block).subspan(i, source.block_size - i);
}

} // namespace

std::size_t read_bytes(ByteSource& source, std::uint64_t offset, std::span<char> to) {
    if (to.size() >= source.block.size()) return read_file(source, offset, to);
    std::size_t done = 0;
    while (done < to.size()) {
        const std::span<const char> bytes = block_from(source, offset + done);
        if (bytes.empty()) break;
        const std::size_t count = std::min(bytes.size(), to.size() - done);
        std::memcpy(to.data() + done, bytes.data(), count);
        done += count;
    }
    return done;
}

std::uint8_t byte_at(ByteSource& source, std::uint64_t offset) {
    const std::span<const char> bytes = block_from(source, offset);
    return bytes.empty() ? std::uint8_t{0} : static_cast<std::uint8_t>(bytes[0]);
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
