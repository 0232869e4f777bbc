// What one page has of the pictures, and what it is to have next.
// SPDX-License-Identifier: MIT
#pragma once

#include "serve/access.h"
#include "serve/live_images.h"

#include <cstdint>
#include <string>
#include <vector>

namespace mh {

constexpr int kTileSide = 64; // pixels of an image

// Of one image; a tile that has not been sent has no frames.
struct SentTiles {
    std::size_t image = 0;

    struct Tile {
        std::uint32_t frames = 0;
        std::uint64_t digest = 0;
    };

    std::vector<Tile> tiles;
};

struct Viewer {
    std::vector<SentTiles> images; // that the page shows
    std::uint32_t generation = 0;
    int scale = 0;
    std::uint64_t version = 0; // of the status
};

// Numbers as pages read them: little-endian.
void AppendNumber(std::string& text, std::uint32_t value);
std::string HalvesOf(const std::vector<float>& values);

// A message of a stream: kind and length, then the content.
enum class MessageKind : std::uint32_t { status = 1, tile = 2 };
void AppendMessage(std::string& stream, MessageKind kind, std::string_view content);

// Appends the tiles that have changed most since they were sent, as many as the allowance pays for.
// Views finer than the coarsest scale leave a part of it to the next first picture. Content of
// each: number of the image, generation, scale, x, y, width, height, frames, 32 bits each, in
// pixels of the image; then three halves a pixel.
void AppendTiles(Viewer& viewer, Allowance& allowance, int coarsest, bool is_final,
                 std::string& stream);

} // namespace mh
