// Copies, links, and grey pictures of the channels that layers need.
// SPDX-License-Identifier: MIT
#include "import/pictures.h"

#include "import/names_below.h"
#include "import/plain_bytes.h"
#include "math/at.h"
#include "math/input_file.h"
#include "output/file_writer.h"
#include "pictures/pixels.h"
#include "shading/image_decoder.h"
#include "shading/image_reader.h"
#include "shading/images.h"

#include <algorithm>
#include <cmath>
#include <filesystem>

namespace mh {

namespace {

namespace fs = std::filesystem;

constexpr float kHalfStep = 0.5f / 255.0f; // the writer cuts to a byte: this rounds

// Below the folder even when links are followed.
bool lies_below(const fs::path& folder, const fs::path& file) {
    std::error_code error;
    const fs::path whole = fs::canonical(file, error);
    if (error) return false;
    const fs::path base = fs::canonical(folder, error);
    const auto [rest, unused] = std::mismatch(base.begin(), base.end(), whole.begin(), whole.end());
    return !error && rest == base.end();
}

std::string find_below(const std::string& folder, const std::string& name) {
    const std::size_t slash = name.rfind('/');
    const std::string last = slash == name.npos ? name : name.substr(slash + 1);
    for (const std::string& candidate : {name, last}) {
        if (candidate.empty() || LeadsOutside(candidate)) continue;
        const std::string path = folder + '/' + candidate;
        if (OpenInput(path, Origin::user) && lies_below(folder, path)) return path;
    }
    return {};
}

void forget(ImportedScene& scene, std::size_t image) {
    for (ImportedMaterial& material : scene.materials)
        for (ImportedMap& map : material.maps)
            if (map.image == static_cast<std::int32_t>(image)) map.image = -1;
}

// Of one channel, rows from the top.
struct Grey {
    int width = 0, height = 0;
    std::vector<float> values;
};

constexpr std::uint32_t kAlpha = 3;

float channel_of(const Image& image, std::int64_t texel, std::uint32_t channel) {
    if (channel < kAlpha) {
        const Vec3 value = read_texel(image, texel);
        return channel == 0 ? value.x : channel == 1 ? value.y : value.z;
    }
    if (image.channels < 4) return 1.0f;
    const auto i = to_size(4 * texel + kAlpha);
    constexpr float kByte = 255.0f, kWord = 65535.0f;
    if (image.bits == 8) return static_cast<float>(image.bytes[i]) / kByte;
    if (image.bits == 16) return static_cast<float>(image.words[i]) / kWord;
    return image.bits == 32 ? image.floats[i] : 1.0f;
}

std::string read_grey(const std::string& path, std::uint32_t channel, Grey& grey) {
    Image image;
    image.path = path;
    const std::string fault = ReadImageFile(path, image, FloatStorage::floats);
    if (!fault.empty() || image.width < 1) return "cannot read " + path + ": " + fault;
    grey.width = image.width;
    grey.height = image.height;
    for (int y = 0; y < image.height; ++y)
        for (int x = 0; x < image.width; ++x) {
            const std::int64_t texel = std::int64_t{image.height - 1 - y} * image.width + x;
            grey.values.push_back(channel_of(image, texel, channel));
        }
    return {};
}

float value_of(const GreyTerm& term, float texel) {
    float value = std::clamp(term.scale * texel, 0.0f, 1.0f);
    if (term.threshold >= 0.0f) value = value >= term.threshold ? 1.0f : 0.0f;
    return term.reversed ? 1.0f - value : value;
}

// Pictures of other sizes are read at the nearest texel.
void multiply(Grey& product, const GreyTerm& term, const Grey& grey) {
    if (product.values.empty()) {
        product = grey;
        std::fill(product.values.begin(), product.values.end(), 1.0f);
    }
    for (int y = 0; y < product.height; ++y)
        for (int x = 0; x < product.width; ++x) {
            const auto from_y = static_cast<std::int64_t>(y) * grey.height / product.height;
            const auto from_x = static_cast<std::int64_t>(x) * grey.width / product.width;
            const float texel = at(grey.values, from_y * grey.width + from_x);
            product.values[grid_place(x, y, product.width)] *= value_of(term, texel);
        }
}

// Slopes of heights, which reach a texel at most, by central differences around the edges.
Vec3 normal_at(const Grey& heights, int x, int y) {
    constexpr float kSteepness = 4.0f; // texels from black to white
    const auto at = [&](int column, int row) {
        column = (column + heights.width) % heights.width;
        row = (row + heights.height) % heights.height;
        return heights.values[grid_place(column, row, heights.width)];
    };
    const float right = 0.5f * kSteepness * (at(x + 1, y) - at(x - 1, y));
    const float up = 0.5f * kSteepness * (at(x, y - 1) - at(x, y + 1));
    const float length = std::sqrt(right * right + up * up + 1.0f);
    return {0.5f - 0.5f * right / length, 0.5f - 0.5f * up / length, 0.5f + 0.5f / length};
}

std::string write_grey(const Grey& grey, bool as_normals, const std::string& path) {
    Pixels pixels = {grey.width, grey.height, {}};
    for (int y = 0; y < grey.height; ++y)
        for (int x = 0; x < grey.width; ++x) {
            const float value = grey.values[grid_place(x, y, grey.width)];
            const Vec3 color = as_normals ? normal_at(grey, x, y) : Vec3{value, value, value};
            pixels.values.push_back(color + Vec3{kHalfStep, kHalfStep, kHalfStep});
        }
    return WritePixels(path, pixels);
}

// A file that goes again.
struct Temporary {
    std::string path;

    ~Temporary() {
        std::error_code none;
        if (!path.empty()) fs::remove(path, none);
    }
};

std::string source_of(const ImportedScene& scene, const PictureSources& sources,
                      std::int32_t image) {
    const auto i = to_size(image);
    return sources.files[i].empty() ? scene.images[i].name : sources.files[i];
}

std::string write_bytes(const ImportedImage& image, const std::string& path) {
    const std::string fault =
        ReplaceFile(path, {reinterpret_cast<const char*>(image.bytes.data()), image.bytes.size()});
    return fault.empty() ? "" : "cannot write " + path + ": " + fault;
}

// A picture that came inside the imported file lies in a file while it is read.
std::string read_term(const GreyTerm& term, const ImportedScene& scene,
                      const PictureSources& sources, const std::string& beside, Grey& grey) {
    const auto i = to_size(term.image);
    std::string path = sources.files[i];
    Temporary unpacked, plain;
    if (path.empty()) {
        path = beside + ".source" + fs::path(scene.images[i].name).extension().string();
        unpacked.path = path;
        const std::string fault = write_bytes(scene.images[i], path);
        if (!fault.empty()) return fault;
    }
    if (NeedsPlainBytes(path)) {
        plain.path = beside + ".plain.png";
        if (WritePlainBytes(path, plain.path)) path = plain.path;
    }
    return read_grey(path, term.channel, grey);
}

std::string make_picture(const PictureFile& picture, const ImportedScene& scene,
                         const PictureSources& sources, const std::string& path) {
    Grey product;
    for (const GreyTerm& term : picture.terms) {
        Grey grey;
        const std::string fault = read_term(term, scene, sources, path, grey);
        if (!fault.empty()) return fault;
        multiply(product, term, grey);
    }
    return write_grey(product, picture.normals_of_height, path);
}

} // namespace

PictureSources FindPictures(const std::string& folder, bool strict, ImportedScene& scene) {
    PictureSources sources;
    sources.files.resize(scene.images.size());
    for (std::size_t i = 0; i < scene.images.size(); ++i) {
        const ImportedImage& image = scene.images[i];
        if (!image.bytes.empty()) continue;
        if (strict && LeadsOutside(image.name)) {
            sources.fault = "names " + image.name + ", which lies outside its folder";
            return sources;
        }
        sources.files[i] = find_below(folder, image.name);
        if (!sources.files[i].empty()) continue;
        scene.dropped.push_back("picture " + image.name + ", which is not there");
        forget(scene, i);
    }
    return sources;
}

std::string WritePicture(const PictureFile& picture, const ImportedScene& scene,
                         const PictureSources& sources, bool link, const std::string& path) {
    if (picture.copy_of < 0) return make_picture(picture, scene, sources, path);
    const auto i = to_size(picture.copy_of);
    const std::string& source = sources.files[i];
    std::error_code error;
    if (source.empty()) {
        const std::string fault = write_bytes(scene.images[i], path);
        if (!fault.empty()) return fault;
    } else if (link && !NeedsPlainBytes(source)) {
        fs::create_symlink(fs::absolute(source), path, error);
    } else {
        fs::copy_file(source, path, error);
    }
    if (error) return "cannot write " + path + ": " + error.message();
    const std::string fault = HeaderOf(path, FormatBySignature(path)).fault;
    if (!fault.empty())
        return "picture " + source_of(scene, sources, picture.copy_of) + ' ' + fault;
    if (NeedsPlainBytes(path) && !WritePlainBytes(path, path))
        return "picture " + source_of(scene, sources, picture.copy_of) + " cannot be read";
    return {};
}

} // namespace mh
