// Checkpoints of a render.
// SPDX-License-Identifier: MIT
#include "checkpoint.h"

#include "atomic_file.h"
#include "geometry/state.h"
#include "integrate/output_images.h"
#include "integrate/whole_frames.h"
#include "math/digest.h"
#include "output/camera.h"
#include "output/file_writer.h"
#include "run/state.h"
#include "shading/state.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <sstream>

namespace mh {

namespace {

constexpr std::string_view kMagic = "moonhare checkpoint 2\n";

template<typename T>
void digest_array(Digest& digest, const std::vector<T>& values) {
    add(digest, {reinterpret_cast<const char*>(values.data()), values.size() * sizeof(T)});
}

void digest_files(Digest& digest, const std::string& directory) {
    std::vector<std::string> names;
    for (const char* folder : {"shader", "render", "light", "camera", "geometry"}) {
        std::error_code error;
        const std::filesystem::path path = std::filesystem::path(directory) / folder;
        for (std::filesystem::directory_iterator entry(path, error), end; !error && entry != end;
             entry.increment(error))
            if (entry->path().extension() == ".mh") names.push_back(entry->path().string());
    }
    std::sort(names.begin(), names.end());
    for (const std::string& name : names) {
        std::string content;
        ReadWholeFile(name, content);
        add(digest, std::filesystem::path(name).filename().string());
        add(digest, content);
    }
}

void digest_part(Digest& digest, const Part& part) {
    digest_array(digest, part.positions);
    digest_array(digest, part.triangles);
    digest_array(digest, part.tetragons);
    digest_array(digest, part.cylinders);
    digest_array(digest, part.particles);
    for (const VertexArray<Vec2>& array : part.vec2_arrays)
        digest_array(digest, array.values);
}

void digest_image(Digest& digest, const Image& image) {
    digest_array(digest, image.bytes);
    digest_array(digest, image.words);
    digest_array(digest, image.floats);
    digest_array(digest, image.rgbe);
}

// Fields one after the other; false once the bytes have run out.
struct Bytes {
    std::string_view rest;
    bool good = true;
};

template<typename T>
void put(std::string& bytes, const T& value) {
    bytes.append(reinterpret_cast<const char*>(&value), sizeof value);
}

template<typename T>
void take(Bytes& bytes, T& value) {
    bytes.good = bytes.good && bytes.rest.size() >= sizeof value;
    if (!bytes.good) return;
    std::memcpy(&value, bytes.rest.data(), sizeof value);
    bytes.rest.remove_prefix(sizeof value);
}

void take_text(Bytes& bytes, std::string& text) {
    std::uint64_t size = 0;
    take(bytes, size);
    bytes.good = bytes.good && size <= bytes.rest.size();
    if (!bytes.good) return;
    text = bytes.rest.substr(0, size);
    bytes.rest.remove_prefix(size);
}

void put_image(std::string& bytes, const SavedImage& image) {
    put(bytes, image.width);
    put(bytes, image.height);
    put(bytes, image.channels);
    put(bytes, static_cast<std::uint64_t>(image.values.size()));
    bytes.append(reinterpret_cast<const char*>(image.values.data()),
                 image.values.size() * sizeof(float));
}

void take_image(Bytes& bytes, SavedImage& image) {
    std::uint64_t count = 0;
    take(bytes, image.width);
    take(bytes, image.height);
    take(bytes, image.channels);
    take(bytes, count);
    bytes.good = bytes.good && count <= bytes.rest.size() / sizeof(float);
    if (!bytes.good) return;
    image.values.resize(count);
    const std::size_t size = count * sizeof(float);
    if (size > 0) std::memcpy(image.values.data(), bytes.rest.data(), size);
    bytes.rest.remove_prefix(size);
}

std::uint64_t sum_of(std::string_view bytes) {
    Digest digest;
    add(digest, bytes);
    return digest.value;
}

bool same_size(const SavedImage& saved, const Image& image) {
    return saved.width == image.width && saved.height == image.height
           && saved.channels == image.channels && saved.values.size() == image.floats.size();
}

} // namespace

std::uint64_t SceneDigest(const std::string& directory) {
    Digest digest;
    digest_files(digest, directory);
    for (const Object& object : Objects)
        for (const Part& part : object.parts)
            digest_part(digest, part);
    for (const Image& image : Textures)
        digest_image(digest, image);
    return digest.value;
}

std::string SettingsText() {
    const Camera& camera = *ActiveCamera();
    const RendererSettingsRecord& settings = RendererSettings;
    std::ostringstream text;
    text << "resolution " << camera.width << 'x' << camera.height << ", region " << camera.region_x0
         << ',' << camera.region_y0 << ',' << camera.region_x1 << ',' << camera.region_y1
         << ", gather " << settings.sample << ", bounce " << settings.bounce << ", ray depth "
         << settings.ray_depth << ", mode " << (settings.final_gather ? "gather" : "path")
         << ", estimator " << (settings.estimator == Estimator::exact ? "exact" : "classic")
         << ", seed " << (settings.seed < 0 ? "none" : std::to_string(settings.seed)) << ", camera "
         << camera.name << " at " << camera.poses[0].position.x << ' ' << camera.poses[0].position.y
         << ' ' << camera.poses[0].position.z;
    return text.str();
}

Checkpoint TakeCheckpoint(std::uint64_t scene) {
    Checkpoint checkpoint = {FrameIndex, ActiveCamera()->sample, scene, SettingsText(), {}};
    ForEachOutput([&](Aov& aov, Filling filling) {
        if (!grows(filling)) return;
        Image image = OfWholeFrames(aov.image);
        checkpoint.images.push_back(
            {image.width, image.height, image.channels, std::move(image.floats)});
    });
    return checkpoint;
}

bool RestoreImages(const Checkpoint& checkpoint) {
    std::vector<std::pair<Image*, Filling>> images;
    ForEachOutput([&](Aov& aov, Filling filling) {
        if (grows(filling)) images.push_back({&aov.image, filling});
    });
    if (images.size() != checkpoint.images.size()) return false;
    for (std::size_t i = 0; i < images.size(); ++i)
        if (!same_size(checkpoint.images[i], *images[i].first)) return false;
    const float share =
        static_cast<float>(checkpoint.sample) / static_cast<float>(ActiveCamera()->sample);
    for (std::size_t i = 0; i < images.size(); ++i) {
        images[i].first->floats = checkpoint.images[i].values;
        if (images[i].second == Filling::sum && share != 1.0f) scale(*images[i].first, share);
    }
    return true;
}

std::string WriteCheckpoint(const std::string& path, const Checkpoint& checkpoint) {
    std::string bytes(kMagic);
    put(bytes, checkpoint.frames);
    put(bytes, checkpoint.sample);
    put(bytes, checkpoint.scene);
    put(bytes, static_cast<std::uint64_t>(checkpoint.settings.size()));
    bytes += checkpoint.settings;
    put(bytes, static_cast<std::uint64_t>(checkpoint.images.size()));
    for (const SavedImage& image : checkpoint.images)
        put_image(bytes, image);
    put(bytes, sum_of(bytes));
    return ReplaceFile(path, bytes);
}

std::string ReadCheckpoint(const std::string& path, Checkpoint& checkpoint) {
    std::string content;
    if (!ReadWholeFile(path, content)) return "cannot be read";
    if (!content.starts_with(kMagic)) return "is no checkpoint";
    std::uint64_t sum = 0;
    if (content.size() < kMagic.size() + sizeof sum) return "is damaged";
    const std::string_view body(content.data(), content.size() - sizeof sum);
    std::memcpy(&sum, content.data() + body.size(), sizeof sum);
    if (sum != sum_of(body)) return "is damaged";
    Bytes bytes = {body.substr(kMagic.size())};
    std::uint64_t count = 0;
    take(bytes, checkpoint.frames);
    take(bytes, checkpoint.sample);
    take(bytes, checkpoint.scene);
    take_text(bytes, checkpoint.settings);
    take(bytes, count);
    for (std::uint64_t i = 0; bytes.good && i < count; ++i)
        take_image(bytes, checkpoint.images.emplace_back());
    return bytes.good && bytes.rest.empty() ? std::string() : "is damaged";
}

} // namespace mh
