// The pixel arrays of images.
// SPDX-License-Identifier: MIT
#include "math/at.h"
#include "shading/images.h"

namespace mh {

namespace {

void clear_pixels(Image& image) {
    image.bits1 = {};
    image.bytes = {};
    image.words = {};
    image.floats = {};
    image.doubles = {};
    image.rgbe = {};
}

TexelFormat format_of(const Image& image) {
    if (image.width > kLargestGrid || image.height > kLargestGrid) return TexelFormat::other;
    if (image.rgbe_encoded) return TexelFormat::rgbe;
    if (image.bits == 32 && image.channels == 3) return TexelFormat::rgb_floats;
    if (image.bits != 8) return TexelFormat::other;
    switch (image.channels) {
    case 1: return TexelFormat::grey_bytes;
    case 3: return TexelFormat::rgb_bytes;
    case 4: return TexelFormat::rgba_bytes;
    default: return TexelFormat::other;
    }
}

TexelGrid grid_of(const Image& image) {
    constexpr int kByteBits = 8;
    const int texel_bytes = image.rgbe_encoded ? static_cast<int>(sizeof(Rgbe))
                                               : image.channels * image.bits / kByteBits;
    return {{static_cast<float>(image.width), static_cast<float>(image.height)},
            {image.width - 1, image.height - 1},
            to_size(texel_bytes) * to_size(image.width),
            format_of(image)};
}

} // namespace

void AllocateImage(Image& image, int width, int height, int channels, int bits, bool rgbe) {
    if (width <= 0 || height <= 0 || channels <= 0 || bits <= 0) return;
    clear_pixels(image);
    image.width = width;
    image.height = height;
    image.channels = channels;
    image.bits = bits;
    image.rgbe_encoded = rgbe;
    image.grid = grid_of(image);
    const std::size_t texels = grid_size(width, height);
    const std::size_t values = texels * to_size(channels);
    if (rgbe) return image.rgbe.resize(texels);
    switch (bits) {
    case 1: return image.bits1.resize(values);
    case 8: return image.bytes.resize(values);
    case 16: return image.words.resize(values);
    case 32: return image.floats.resize(values);
    default: return image.doubles.resize(values);
    }
}

std::int64_t size_bytes(const Image& image) {
    constexpr std::size_t kBitsPerWord = 32, kBytesPerWord = 4;
    const std::size_t bit_words = (image.bits1.size() + kBitsPerWord - 1) / kBitsPerWord;
    return static_cast<std::int64_t>(
        bit_words * kBytesPerWord + image.bytes.size() + image.words.size() * sizeof(std::uint16_t)
        + image.floats.size() * sizeof(float) + image.doubles.size() * sizeof(double)
        + image.rgbe.size() * sizeof(Rgbe));
}

} // namespace mh
