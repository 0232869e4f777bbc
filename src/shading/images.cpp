// The image table and the pixel arrays of images; phase 2 loads what the scene has mentioned.
// SPDX-License-Identifier: MIT
#include "shading/images.h"

#include "math/at.h"
#include "math/input_file.h"
#include "math/name_index.h"
#include "run/estimator.h"
#include "run/report.h"
#include "shading/image_reader.h"
#include "shading/state.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace mh {

namespace {

// The value as an integer of the image's width; the converse of reading a texel.
template<typename Integer>
Integer to_steps(float value) {
    constexpr float kSteps = 255.0f;
    constexpr auto kLargest = static_cast<float>(std::numeric_limits<Integer>::max());
    const float steps = std::nearbyint(value * kSteps);
    return static_cast<Integer>(steps > 0.0f ? std::min(steps, kLargest) : 0.0f);
}

void set_value(Image& image, std::size_t i, float value) {
    switch (image.bits) {
    case 1: image.bits1[i] = value > 0.5f; break;
    case 8: image.bytes[i] = to_steps<std::uint8_t>(value); break;
    case 16: image.words[i] = to_steps<std::uint16_t>(value); break;
    case 32: image.floats[i] = value; break;
    default: image.doubles[i] = static_cast<double>(value); break;
    }
}

std::size_t texel_count(const Image& image) {
    return grid_size(image.width, image.height);
}

// The first folder of the search list that has the file, whose name may be written with either
// separator; empty when none has.
std::string find_file(const std::string& path) {
    std::string slashed = path;
    std::replace(slashed.begin(), slashed.end(), '\\', '/');
    for (const std::string& folder : ImageSearchPaths) {
        const std::string prefix = folder.empty() ? "" : folder + "/";
        if (OpenInput(prefix + path)) return prefix + path;
        if (OpenInput(prefix + slashed)) return prefix + slashed;
    }
    return {};
}

} // namespace

int FindOrAddImage(const std::string& path) {
    if (path.empty()) return -1;
    const int found = FindName(ShadingState.texture_paths, Textures, &Image::path, path);
    if (found >= 0) return found;
    Textures.emplace_back();
    Textures.back().path = path;
    return static_cast<int>(Textures.size()) - 1;
}

bool LoadImage(Image& image, FloatStorage storage) {
    if (image.loaded || image.failed || image.path.empty()) return image.width > 0;
    const std::string file = find_file(image.path);
    if (file.empty()) {
        image.failed = true;
        ReportError("image - " + image.path + "\tcannot be found");
        return false;
    }
    image.loaded = true;
    const FloatStorage kept = is_exact() ? FloatStorage::floats : storage;
    const std::string fault = ReadImageFile(file, image, kept);
    if (!fault.empty()) ReportError("image - " + file + "\t" + fault);
    return image.width > 0;
}

void set_texel(Image& image, std::int64_t index, const Vec3& value) {
    const auto texel = to_size(index);
    if (image.rgbe_encoded) {
        image.rgbe[texel] = encode_rgbe(value);
        return;
    }
    const std::size_t i = texel * to_size(image.channels);
    const float values[3] = {value.x, value.y, value.z};
    for (int c = 0; c < std::min(image.channels, 3); ++c)
        set_value(image, i + to_size(c), values[c]);
}

void image_statistics(const Image& image, Vec3& mean, Vec3& variance) {
    mean = variance = {};
    if (image.width <= 0 || image.height <= 0) return;
    const auto count = static_cast<std::int64_t>(texel_count(image));
    double sums[3] = {}, squares = 0.0;
    for (std::int64_t i = 0; i < count; ++i) {
        const Vec3 texel = read_texel(image, i);
        const auto largest = static_cast<double>(max_channel(texel));
        sums[0] += static_cast<double>(texel.x);
        sums[1] += static_cast<double>(texel.y);
        sums[2] += static_cast<double>(texel.z);
        squares += largest * largest;
    }
    const double n = static_cast<double>(count);
    const auto spread = [&](double sum) {
        return static_cast<float>(squares / n - sum / n * (sum / n));
    };
    mean = {static_cast<float>(sums[0] / n), static_cast<float>(sums[1] / n),
            static_cast<float>(sums[2] / n)};
    variance = {spread(sums[0]), spread(sums[1]), spread(sums[2])};
}

void InitializeTextures() {
    bool failed = false;
    std::int64_t bytes = 0;
    for (Image& image : Textures) {
        failed = !LoadImage(image) || failed;
        bytes += size_bytes(image);
    }
    if (failed) ReportRule();
    ReportCount("textures", static_cast<std::int64_t>(Textures.size()), static_cast<double>(bytes));
    ReportRule();
}

} // namespace mh
