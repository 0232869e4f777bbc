// The command "convert": reads with the library's loader, writes with its writer.
// SPDX-License-Identifier: MIT
#include "convert.h"

#include "frame/phases.h"
#include "output/image_writer.h"
#include "shading/images.h"

#include <array>
#include <cmath>
#include <cstdint>
#include <iostream>
#include <string_view>

namespace mh {

namespace {

// Transfer function of sRGB, [IEC61966-2-1].
float srgb(float linear) {
    if (linear <= 0.0031308f) return 12.92f * linear;
    return 1.055f * std::pow(linear, 1.0f / 2.4f) - 0.055f;
}

bool is_linear_format(const std::string& name) {
    constexpr std::array<std::string_view, 6> kExtensions = {".exr", ".EXR", ".hdr",
                                                             ".HDR", ".pfm", ".PFM"};
    for (const std::string_view extension : kExtensions)
        if (name.find(extension) != name.npos) return true;
    return false;
}

// Limited to [0, 1], as the writer leaves negative values open.
float displayed(float linear) {
    const float value = srgb(linear);
    return value > 0.0f ? std::fmin(value, 1.0f) : 0.0f;
}

Image converted(const Image& source, bool linear, float scale) {
    Image image;
    AllocateImage(image, source.width, source.height, 3, 32, false);
    const std::int64_t pixels = static_cast<std::int64_t>(source.width) * source.height;
    for (std::int64_t i = 0; i < pixels; ++i) {
        const Vec3 value = scale * read_texel(source, i);
        set_texel(image, i,
                  linear ? value
                         : Vec3{displayed(value.x), displayed(value.y), displayed(value.z)});
    }
    return image;
}

int convert_started(const std::string& input, const std::string& output, float exposure) {
    constexpr int kNoInput = 1, kNotWritten = 3;
    Image source;
    source.path = input;
    if (!LoadImage(source)) return kNoInput;
    Image image = converted(source, is_linear_format(output), std::exp2(exposure));
    image.path = output;
    if (WriteImage(image)) return 0;
    std::cerr << "moonhare: cannot write " << output << '\n';
    return kNotWritten;
}

} // namespace

int Convert(const std::string& input, const std::string& output, float exposure) {
    Startup();
    const int status = convert_started(input, output, exposure);
    Finalize();
    Shutdown();
    return status;
}

} // namespace mh
