// Pixels of an image between the helper program, which writes them, and the loader.
// SPDX-License-Identifier: MIT
#include "shading/image_stream.h"

#include "shading/image_guard.h"
#include "shading/images.h"

namespace mh {

StreamHead HeadOf(const Image& image) {
    return {kStreamVersion, 0,          image.width,        image.height,
            image.channels, image.bits, image.rgbe_encoded, image.palette_indices};
}

bool AllocateFromHead(const StreamHead& head, Image& image) {
    const bool channels = head.channels == 1 || head.channels == 3 || head.channels == 4;
    const bool bits = head.bits == 8 || head.bits == 16 || head.bits == 32;
    if (!channels || !bits || head.width < 1 || head.height < 1) return false;
    if (1.0 * head.width * head.height > kMostPixels) return false;
    AllocateImage(image, head.width, head.height, head.channels, head.bits, head.rgbe_encoded != 0);
    image.palette_indices = head.palette_indices != 0;
    return true;
}

std::span<std::byte> PixelBytes(Image& image) {
    if (image.rgbe_encoded) return std::as_writable_bytes(std::span(image.rgbe));
    switch (image.bits) {
    case 8: return std::as_writable_bytes(std::span(image.bytes));
    case 16: return std::as_writable_bytes(std::span(image.words));
    default: return std::as_writable_bytes(std::span(image.floats));
    }
}

} // namespace mh
