// Digests of scenes.
// SPDX-License-Identifier: MIT
#include "pieces/scene_digest.h"

#include "files.h"
#include "geometry/state.h"
#include "lights/state.h"
#include "math/digest.h"
#include "output/camera.h"
#include "pieces/byte_fields.h"
#include "run/state.h"
#include "shading/images.h"
#include "shading/state.h"
#include "version.h"

#include <algorithm>
#include <filesystem>
#include <sstream>

namespace mh {

namespace {

template<typename T>
void digest_array(Digest& digest, const std::vector<T>& values) {
    add(digest, bytes_of(values));
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

void digest_image_of(Digest& digest, Image& image) {
    if (image.path.empty()) return;
    LoadImage(image); // lights load theirs later
    digest_image(digest, image);
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
    digest_image_of(digest, SkyLight.image);
    digest_image_of(digest, SkyLight.backdrop);
    return digest.value;
}

std::string PictureSettings() {
    const Camera& camera = *ActiveCamera();
    const RendererSettingsRecord& settings = RendererSettings;
    const bool gathers = settings.distance > 0.0f && settings.resolution > 0.0f;
    std::ostringstream text;
    text << "resolution " << camera.width << 'x' << camera.height << ", gather " << settings.sample
         << ", bounce " << settings.bounce << ", ray depth " << settings.ray_depth << ", mode "
         << (gathers ? "gather" : "path") << ", estimator "
         << (settings.estimator == Estimator::exact ? "exact" : "classic")
         << (settings.adaptive ? ", adaptive" : "") << ", seed "
         << (settings.seed < 0 ? "none" : std::to_string(settings.seed)) << ", camera "
         << camera.name << " at " << camera.poses[0].position.x << ' ' << camera.poses[0].position.y
         << ' ' << camera.poses[0].position.z;
    return text.str();
}

Identity IdentityOf(const Arguments& arguments) {
    return {ProgramVersion() + ' ' + CommitName(), SceneDigest(arguments.scene),
            PictureSettings() + ", camera number " + std::to_string(arguments.camera.value_or(0))};
}

} // namespace mh
