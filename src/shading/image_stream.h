// Pixels of an image, or why there are none, on their way between two processes.
// SPDX-License-Identifier: MIT
#pragma once

#include "shading/types.h"

#include <cstddef>
#include <cstdint>
#include <span>

namespace mh {

// What comes first; then the text of the fault, or the pixels when it is empty.
struct StreamHead {
    std::uint32_t version = 0;
    std::uint32_t fault_bytes = 0;
    std::int32_t width = 0, height = 0, channels = 0, bits = 0;
    std::int32_t rgbe_encoded = 0, palette_indices = 0;
};

constexpr std::uint32_t kStreamVersion = 0x4D480002;
constexpr std::uint32_t kLongestFault = 1024;

StreamHead HeadOf(const Image& image);

// Sizes the image as the head says; false when no file can hold such an image.
bool AllocateFromHead(const StreamHead& head, Image& image);

// The array that holds the pixels.
std::span<std::byte> PixelBytes(Image& image);

} // namespace mh
