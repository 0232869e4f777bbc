// Tiles for pages.
// SPDX-License-Identifier: MIT
#include "serve/viewer.h"

#include "math/at.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace mh {

namespace {

constexpr int kBytesOfPixel = 6;      // three halves
constexpr double kShareOfFirst = 0.5; // of the allowance's most, kept for first pictures

struct TilePlace {
    std::size_t list = 0, tile = 0; // among what the viewer has
    PixelRegion part;
    std::uint32_t sent = 0; // frames
};

// [Fowler91], by words.
std::uint64_t digest_of(const std::string& bytes) {
    std::uint64_t digest = 0xCBF29CE484222325ull;
    for (std::size_t i = 0; i < bytes.size(); i += sizeof(std::uint64_t)) {
        std::uint64_t word = 0;
        std::memcpy(&word, &bytes[i], std::min(sizeof word, bytes.size() - i));
        digest = (digest ^ word) * 0x100000001B3ull;
        digest ^= digest >> 29;
    }
    return digest | 1; // 0 is that of no tile
}

int tiles_of(int side) {
    return (side + kTileSide - 1) / kTileSide;
}

PixelRegion part_of(const Image& image, std::size_t tile) {
    const auto columns = to_size(tiles_of(image.width));
    const int x = kTileSide * static_cast<int>(tile % columns);
    const int y = kTileSide * static_cast<int>(tile / columns);
    return {x, y, std::min(x + kTileSide, image.width), std::min(y + kTileSide, image.height)};
}

int pixels_of(const PixelRegion& part) {
    return (part.x1 - part.x0) * (part.y1 - part.y0);
}

void forget_other_view(Viewer& viewer, const LiveView& view) {
    if (viewer.generation == view.generation && viewer.scale == view.scale) return;
    viewer.generation = view.generation;
    viewer.scale = view.scale;
    for (SentTiles& sent : viewer.images)
        sent.tiles.clear();
}

bool is_due(std::uint32_t sent, std::uint32_t frames, bool is_final) {
    return frames > sent && (is_final || is_worth_showing(sent, frames));
}

// Those that lag most come first, then those nearest to the middle.
void sort_by_need(std::vector<TilePlace>& places, const Image& image) {
    const auto distance = [&](const TilePlace& place) {
        const int x = place.part.x0 + place.part.x1 - image.width;
        const int y = place.part.y0 + place.part.y1 - image.height;
        return std::int64_t{x} * x + std::int64_t{y} * y;
    };
    std::sort(places.begin(), places.end(), [&](const TilePlace& a, const TilePlace& b) {
        return std::pair(a.sent, distance(a)) < std::pair(b.sent, distance(b));
    });
}

std::vector<TilePlace> due_tiles(Viewer& viewer, const std::vector<LiveImage>& images,
                                 const LiveView& view, bool is_final) {
    std::vector<TilePlace> places;
    if (view.frames == 0) return places;
    forget_other_view(viewer, view);
    for (std::size_t list = 0; list < viewer.images.size(); ++list) {
        SentTiles& sent = viewer.images[list];
        if (sent.image >= images.size()) continue;
        const Image& image = images[sent.image].aov->image;
        const auto count = grid_size(tiles_of(image.width), tiles_of(image.height));
        sent.tiles.resize(count);
        for (std::size_t tile = 0; tile < count; ++tile)
            if (is_due(sent.tiles[tile].frames, view.frames, is_final))
                places.push_back({list, tile, part_of(image, tile), sent.tiles[tile].frames});
    }
    if (!places.empty()) sort_by_need(places, images[viewer.images[0].image].aov->image);
    return places;
}

// Whether the images are still there.
bool append_tile(Viewer& viewer, const TilePlace& place, Allowance& allowance,
                 std::string& stream) {
    SentTiles& list = viewer.images[place.list];
    LiveView view;
    std::vector<float> values;
    const bool is_read = WithImages([&](const std::vector<LiveImage>& images, const LiveView& now) {
        view = now;
        if (now.generation == viewer.generation && now.scale == viewer.scale)
            values = ReadLive(images[list.image], place.part);
    });
    if (!is_read || view.generation != viewer.generation || view.scale != viewer.scale)
        return false;
    SentTiles::Tile& tile = list.tiles[place.tile];
    tile.frames = view.frames;
    if (values.empty()) return true;
    const std::string halves = HalvesOf(values);
    const std::uint64_t digest = digest_of(halves);
    if (tile.digest == digest) return true;
    tile.digest = digest;
    Spend(allowance, static_cast<double>(halves.size()));
    std::string content;
    const PixelRegion& part = place.part;
    for (const std::int64_t number :
         {static_cast<std::int64_t>(list.image), std::int64_t{view.generation},
          std::int64_t{view.scale}, std::int64_t{part.x0}, std::int64_t{part.y0},
          std::int64_t{part.x1 - part.x0}, std::int64_t{part.y1 - part.y0},
          std::int64_t{view.frames}})
        AppendNumber(content, static_cast<std::uint32_t>(number));
    AppendMessage(stream, MessageKind::tile, content + halves);
    return true;
}

} // namespace

void AppendNumber(std::string& text, std::uint32_t value) {
    for (int shift = 0; shift < 32; shift += 8)
        text += static_cast<char>((value >> shift) & 0xFFu);
}

std::string HalvesOf(const std::vector<float>& values) {
    std::string bytes(2 * values.size(), '\0');
    for (std::size_t i = 0; i < values.size(); ++i) {
        const std::uint16_t half = half_of(values[i]);
        bytes[2 * i] = static_cast<char>(half & 0xFF);
        bytes[2 * i + 1] = static_cast<char>(half >> 8);
    }
    return bytes;
}

void AppendMessage(std::string& stream, MessageKind kind, std::string_view content) {
    AppendNumber(stream, static_cast<std::uint32_t>(kind));
    AppendNumber(stream, static_cast<std::uint32_t>(content.size()));
    stream += content;
}

void AppendTiles(Viewer& viewer, Allowance& allowance, int coarsest, bool is_final,
                 std::string& stream) {
    std::vector<TilePlace> places;
    WithImages([&](const std::vector<LiveImage>& images, const LiveView& view) {
        places = due_tiles(viewer, images, view, is_final);
    });
    const double kept = viewer.scale < coarsest ? kShareOfFirst * allowance.most : 0.0;
    for (const TilePlace& place : places) {
        if (LeftOf(allowance) < kept + kBytesOfPixel * pixels_of(place.part)) return;
        if (!append_tile(viewer, place, allowance, stream)) return;
    }
}

} // namespace mh
