// Reading of meshes and particles from images. Elements follow the rows of the image as it is
// stored, the bottom row first.
// SPDX-License-Identifier: MIT
#include "geometry/texture_mesh.h"

#include "geometry/mesh_loader.h"
#include "geometry/objects.h"
#include "math/at.h"
#include "math/memory.h"
#include "run/report.h"
#include "shading/images.h"

#include <cmath>

namespace mh {

namespace {

// Texels of integer images are read as multiples of this.
constexpr float kStep = 255.0f;

// What a pixel becomes at most: a face with its corners, and a vertex, while both are held twice.
constexpr double kBytesOfPixel = 160.0;

std::int64_t pixels(const Image& image) {
    return std::int64_t{image.width} * image.height;
}

Image load(const std::string& path) {
    Image image;
    image.path = path;
    LoadImage(image, FloatStorage::floats);
    if (FitsMemory(kBytesOfPixel * static_cast<double>(pixels(image)))) return image;
    ReportError("object - " + path + " of " + std::to_string(pixels(image))
                + " elements needs more memory than there is; it is left out");
    return {};
}

std::vector<Vec3> read_vectors(const std::string& path) {
    const Image image = load(path);
    std::vector<Vec3> values(to_size(pixels(image)));
    for (std::size_t i = 0; i < values.size(); ++i)
        values[i] = read_texel(image, static_cast<std::int64_t>(i));
    return values;
}

std::vector<Vec2> read_pairs(const std::string& path) {
    std::vector<Vec2> pairs;
    for (const Vec3& v : read_vectors(path))
        pairs.push_back({v.x, v.y});
    return pairs;
}

// A whole number from a channel: what an integer image stores, the value of a float image rounded.
std::uint32_t index_from(const Image& image, float channel) {
    constexpr float kLargest = 4e9f; // below 2^32
    const bool integers = !image.rgbe_encoded && (image.bits == 8 || image.bits == 16);
    const float value = std::round(integers ? channel * kStep : channel);
    return value >= 0.0f && value < kLargest ? static_cast<std::uint32_t>(value) : kAbsent;
}

std::vector<LoaderFace> read_triangles(const std::string& path) {
    const Image image = load(path);
    std::vector<LoaderFace> faces(to_size(pixels(image)));
    for (std::size_t i = 0; i < faces.size(); ++i) {
        const Vec3 texel = read_texel(image, static_cast<std::int64_t>(i));
        const std::array<float, 3> channels = {texel.x, texel.y, texel.z};
        for (std::size_t c = 0; c < channels.size(); ++c) {
            const std::uint32_t index = index_from(image, channels[c]);
            faces[i].corner[c] = {index, index, index, index};
        }
    }
    return faces;
}

// The fourth channel of a pixel, in the scale of the others.
float fourth_channel(const Image& image, std::size_t pixel) {
    const std::size_t i = 4 * pixel + 3;
    if (image.bits == 8) return static_cast<float>(image.bytes[i]) / kStep;
    if (image.bits == 16) return static_cast<float>(image.words[i]) / kStep;
    return image.bits == 32 ? image.floats[i] : static_cast<float>(image.doubles[i]);
}

} // namespace

void ReadTextureMesh(const TextureMesh& mesh, Part& part) {
    MeshLoader loader;
    loader.path = mesh.triangle;
    loader.positions = read_vectors(mesh.position);
    loader.uvs = read_pairs(mesh.uv);
    loader.normals = read_vectors(mesh.normal);
    loader.tangents = read_vectors(mesh.tangent);
    loader.triangles = read_triangles(mesh.triangle);
    AssembleMesh(loader, part);
}

void ReadParticleTexture(Part& part, const std::string& image_path) {
    const Image image = load(image_path);
    const auto count = to_size(pixels(image));
    if (count == 0) return;
    if (image.channels < 4)
        return ReportError("object - " + image_path + " has no fourth channel for the radius");
    for (std::size_t i = 0; i < count; ++i) {
        part.particles.push_back(static_cast<std::uint32_t>(part.positions.size()));
        part.positions.push_back(read_texel(image, static_cast<std::int64_t>(i)));
        radii(part).push_back(fourth_channel(image, i));
    }
}

} // namespace mh
