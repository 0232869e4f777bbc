// Whole scene directories, rendered as tiny pictures. An input holds the files of the directory one
// after the other, each behind a line "@@" and its name: see kFiles.
// SPDX-License-Identifier: MIT
#include "frame/phases.h"
#include "frame/types.h"
#include "harness.h"
#include "lights/types.h"
#include "math/box.h"
#include "output/types.h"
#include "shading/types.h"

#include <algorithm>
#include <filesystem>

namespace mh::fuzz {

namespace {

struct File {
    std::string_view name; // in the input
    const char* path;
    bool scene_text = false;
};

constexpr File kFiles[] = {
    {"mh", "geometry/all.mh", true}, {"obj", "geometry/a.obj"}, {"hair", "geometry/a.hair"},
    {"fur", "geometry/a.fur"},       {"png", "image/a.png"},    {"hdr", "image/a.hdr"},
};

void write_file(std::string_view name, std::string_view content) {
    for (const File& file : kFiles)
        if (name == file.name)
            WriteFile(file.path,
                      file.scene_text ? WithoutSeparators(content) : std::string(content));
}

std::string_view take_until(std::string_view& rest, std::string_view end) {
    const std::string_view taken = rest.substr(0, rest.find(end));
    rest.remove_prefix(std::min(taken.size() + end.size(), rest.size()));
    return taken;
}

void write_files(std::string_view input) {
    std::filesystem::create_directory("geometry");
    std::filesystem::create_directory("image");
    take_until(input, "@@");
    while (!input.empty()) {
        const std::string_view name = take_until(input, "\n");
        write_file(name, take_until(input, "@@"));
    }
}

template<typename Number>
void limit(Number& value, Number highest) {
    value = std::min(value, highest);
}

void limit_light(Light& light) {
    limit<std::int64_t>(light.photons, 50);
    limit(light.sample, 2);
}

void limit_lights() {
    for (PointLight& light : PointLights)
        limit_light(light);
    for (ParallelLight& light : ParallelLights)
        limit_light(light);
    limit(SkyLight.photons, 50);
    limit(SkyLight.sample, 4);
    limit(GeometryLight.photons, 50);
    limit(GeometryLight.sample, 2);
}

void limit_pictures() {
    for (Camera& camera : Cameras) {
        limit(camera.width, 6);
        limit(camera.height, 5);
        limit(camera.sample, 2);
    }
}

void limit_rays() {
    limit(RendererSettings.sample, 4);
    limit(RendererSettings.ray_depth, 4);
    limit(RendererSettings.photon_depth, 4);
    limit(RendererSettings.bounce, 2);
}

void limit_displacement() {
    for (Shader& shader : Shaders)
        for (ShaderElement& layer : shader.displacement.vectors)
            limit(layer.level, 2);
}

// Many cells need more memory than a run may take, which ends the process.
void limit_density() {
    constexpr float kCells = 100.0f; // on a face as large as the scene
    Aabb box;
    for (const Object& object : Objects)
        for (const Part& part : object.parts)
            for (const Vec3& position : part.positions)
                merge(box, position);
    if (!(RendererSettings.resolution > 0.0f)) return;
    RendererSettings.resolution = std::max(RendererSettings.resolution, half_area(box) / kCells);
}

} // namespace

void Try(std::string_view input) {
    write_files(input);
    OpenScene("./");
    limit_lights();
    limit_pictures();
    limit_rays();
    limit_displacement();
    limit_density();
    Initialize();
    Render();
    CloseScene();
}

} // namespace mh::fuzz
