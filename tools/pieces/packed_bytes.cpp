// Compressed arrays of numbers.
// SPDX-License-Identifier: MIT
#include "pieces/packed_bytes.h"

#include "math/threads.h"
#include "pieces/byte_fields.h"

#include <algorithm>
#include <cstdint>
#include <vector>

#include <zstd.h>

namespace mh {

namespace {

constexpr std::size_t kBlock = 1u << 20;
// Twice as fast as level 1; images with noise become larger by 1 %.
constexpr int kLevel = -1;

// As many blocks as hold the bytes, all of them full but the last.
std::size_t block_count(std::size_t size) {
    return (size + kBlock - 1) / kBlock;
}

template<typename Characters>
auto block_of(Characters bytes, std::size_t number) {
    const std::size_t first = number * kBlock;
    return bytes.subspan(first, std::min(kBlock, bytes.size() - first));
}

// The lowest byte of each number, then the next of each; a rest that fills no number stays behind.
void split_places(std::span<const char> from, std::size_t word, std::span<char> to) {
    const std::size_t count = from.size() / word;
    for (std::size_t place = 0; place < word; ++place)
        for (std::size_t i = 0; i < count; ++i)
            to[place * count + i] = from[i * word + place];
    std::copy(from.begin() + static_cast<std::ptrdiff_t>(count * word), from.end(),
              to.begin() + static_cast<std::ptrdiff_t>(count * word));
}

void join_places(std::span<const char> from, std::size_t word, std::span<char> to) {
    const std::size_t count = from.size() / word;
    for (std::size_t place = 0; place < word; ++place)
        for (std::size_t i = 0; i < count; ++i)
            to[i * word + place] = from[place * count + i];
    std::copy(from.begin() + static_cast<std::ptrdiff_t>(count * word), from.end(),
              to.begin() + static_cast<std::ptrdiff_t>(count * word));
}

std::string packed_block(std::span<const char> block, std::size_t word) {
    std::vector<char> split(block.size());
    split_places(block, word, split);
    std::string packed(ZSTD_compressBound(block.size()), '\0');
    packed.resize(ZSTD_compress(packed.data(), packed.size(), split.data(), split.size(), kLevel));
    return packed;
}

bool unpack_block(std::string_view packed, std::size_t word, std::span<char> block) {
    std::vector<char> split(block.size());
    const std::size_t size =
        ZSTD_decompress(split.data(), split.size(), packed.data(), packed.size());
    if (size != block.size()) return false; // errors are larger than any size
    join_places(split, word, block);
    return true;
}

} // namespace

std::string Packed(std::string_view bytes, std::size_t word) {
    const std::span<const char> all(bytes.data(), bytes.size());
    std::vector<std::string> blocks(block_count(bytes.size()));
    Caught caught;
#pragma omp parallel for schedule(dynamic) num_threads(team_size())
    for (std::size_t i = 0; i < blocks.size(); ++i)
        keep_exceptions(caught, [&] { blocks[i] = packed_block(block_of(all, i), word); });
    throw_caught(caught);
    std::string packed;
    for (const std::string& block : blocks)
        put_text(packed, block);
    return packed;
}

bool Unpack(std::string_view packed, std::size_t word, std::span<char> bytes) {
    Bytes fields = {packed};
    std::string block;
    for (std::size_t i = 0; i < block_count(bytes.size()); ++i) {
        take_text(fields, block);
        if (!fields.good || !unpack_block(block, word, block_of(bytes, i))) return false;
    }
    return fields.rest.empty();
}

} // namespace mh
