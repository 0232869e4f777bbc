// Images of the commands "convert" and "diff", by the library's loader and writer.
// SPDX-License-Identifier: MIT
#include "pictures/pixels.h"

#include "captured_report.h"
#include "frame/phases.h"
#include "math/at.h"
#include "math/input_file.h"
#include "math/srgb.h"
#include "output/image_writer.h"
#include "output/state.h"
#include "pictures/picture_reader.h"
#include "shading/image_reader.h"
#include "shading/images.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace mh {

namespace {

// The library's reader hands out the bottom row first, but for these files the top row.
bool top_row_first(const std::string& path) {
    return path.find(".hdr") != path.npos || path.find(".HDR") != path.npos;
}

// Textures read 16 bits by the step of 8, which images of their own do not.
Vec3 value_of(const Image& image, std::int64_t texel) {
    constexpr float kBytesOfWord = 1.0f / 257.0f;
    const Vec3 value = read_texel(image, texel);
    return image.bits == 16 ? kBytesOfWord * value : value;
}

// Our own files and the plainest: a helper program would take longer to start than to read them.
bool is_read_here(const std::string& path) {
    constexpr const char* kEndings[] = {".pfm", ".PFM", ".hdr", ".HDR", ".ppm", ".pgm"};
    return std::any_of(std::begin(kEndings), std::end(kEndings),
                       [&](const char* ending) { return path.ends_with(ending); });
}

std::string write_fault; // reported to a hook that is a plain function

void keep_write_fault(const std::string&, const std::string& reason) {
    write_fault = reason;
}

std::string read_by_library(const std::string& path, Pixels& pixels) {
    Image image;
    image.path = path;
    const std::string fault = ReadImageFile(path, image, FloatStorage::floats);
    if (!fault.empty() || image.width < 1) return fault;
    pixels = {image.width, image.height, {}, image.bits == 32 || image.rgbe_encoded};
    pixels.values.resize(grid_size(image.width, image.height));
    const bool top_first = top_row_first(path);
    for (int y = 0; y < image.height; ++y) {
        const std::int64_t row = top_first ? y : image.height - 1 - y;
        for (int x = 0; x < image.width; ++x)
            at(pixels.values, std::int64_t{y} * image.width + x) =
                value_of(image, row * image.width + x);
    }
    return {};
}

} // namespace

std::string ReadPixels(const std::string& path, Pixels& pixels, const std::string& layer) {
    if (!OpenInput(path, Origin::user)) return "cannot read " + path + ": no such file";
    const bool apart = !is_read_here(path) && HasPictureReader();
    const std::string fault =
        apart ? DecodePicture(path, layer, pixels) : read_by_library(path, pixels);
    return fault.empty() ? fault : "cannot read " + path + ": " + fault;
}

void MakeLinear(Pixels& pixels) {
    if (pixels.is_linear) return;
    for (Vec3& value : pixels.values)
        value = {linear_of_srgb(value.x), linear_of_srgb(value.y), linear_of_srgb(value.z)};
    pixels.is_linear = true;
}

std::string WritePixels(const std::string& path, const Pixels& pixels) {
    Image image;
    AllocateImage(image, pixels.width, pixels.height, 3, 32, false);
    for (std::size_t i = 0; i < pixels.values.size(); ++i)
        set_texel(image, static_cast<std::int64_t>(i), pixels.values[i]);
    image.path = path;
    const CapturedReport report;
    const auto former = std::exchange(Hooks.write_failed, keep_write_fault);
    const bool is_written = WriteImage(image);
    Hooks.write_failed = former;
    return is_written ? "" : "cannot write " + path + ": " + write_fault;
}

} // namespace mh
