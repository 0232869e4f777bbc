// What the library and the plug-in of the preview window have in common. The plug-in alone needs a
// window library, so that machines without displays need none.
// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>

namespace mh {

constexpr std::uint32_t kPreviewWindowVersion = 1; // grows with every change below

// What the window asks of the library; nothing of it throws.
struct PreviewHost {
    std::int32_t width, height; // of the window
    void (*opened)();
    bool (*next_frame)(); // whether there was one to render
    bool (*must_close)();
    // Rows of three bytes a pixel, the first one at the top; null when there is no picture.
    const std::uint8_t* (*pixels)(std::int32_t& width, std::int32_t& height);
    // What the title shows after a key.
    const char* (*press)(unsigned char key);
};

// What the plug-in exports under this name.
struct PreviewWindowPlugin {
    std::uint32_t version;
    // Opens the window and returns after it was closed. False, with the reason as text, without
    // one.
    bool (*run)(const PreviewHost& host, char* reason, std::size_t reason_bytes);
};

constexpr const char* kPreviewWindowSymbol = "kMoonharePreviewWindow";

} // namespace mh
