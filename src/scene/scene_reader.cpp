// Reads scene files: lines are matched against the tables of keys, and what matches nothing is
// passed over.
// SPDX-License-Identifier: MIT
#include "scene/scene_reader.h"

#include "frame/types.h"
#include "geometry/objects.h"
#include "lights/gaffer.h"
#include "lights/sky_light.h"
#include "output/camera.h"
#include "scene/blocks.h"
#include "scene/line_reader.h"
#include "shading/shaders.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <vector>

namespace mh {

namespace {

constexpr std::int64_t kWideLowest = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kWideHighest = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kNaturalHighest = std::numeric_limits<std::uint32_t>::max();

bool take_value(const Key& key, std::string_view& rest, Values& values) {
    const auto at = static_cast<std::size_t>(values.count);
    switch (key.kind) {
    case ValueKind::whole:
        return take_whole(rest, std::numeric_limits<std::int32_t>::min(),
                          std::numeric_limits<std::int32_t>::max(), values.wholes[at]);
    case ValueKind::wide_whole:
        return take_whole(rest, kWideLowest, kWideHighest, values.wholes[at]);
    case ValueKind::natural:
        return take_whole(rest, -kNaturalHighest, kNaturalHighest, values.wholes[at]);
    case ValueKind::real: return take_real(rest, values.reals[at]);
    case ValueKind::text: values.text = take_quoted(rest); return true;
    case ValueKind::word: {
        std::string_view word;
        if (!take_word(rest, word)) return false;
        values.text = word;
        return true;
    }
    case ValueKind::block: return false;
    }
    std::abort();
}

// As many values as the line has; the first that cannot be read ends the line.
void read_values(const Key& key, std::string_view rest, void* record) {
    Values values;
    while (values.count < key.count && take_value(key, rest, values))
        ++values.count;
    if (values.count > 0) key.store(record, values);
}

const Key* find_key(const Block& block, std::string_view name) {
    const auto key = std::find_if(block.keys.begin(), block.keys.end(),
                                  [&](const Key& candidate) { return candidate.name == name; });
    return key == block.keys.end() ? nullptr : &*key;
}

// Up to the block's "end" or the end of the text. Blocks nest no deeper than their tables do.
void read_block(SceneText& text, const Block& block, void* record) {
    std::string_view line, word;
    while (next_line(text, line)) {
        if (line.starts_with('#') || !take_word(line, word)) continue;
        if (word == "end") return;
        const Key* key = find_key(block, word);
        if (key == nullptr) continue;
        if (key->kind != ValueKind::block)
            read_values(*key, line, record);
        else if (void* opened = key->open(record))
            read_block(text, *key->block, opened);
    }
}

void read_render(SceneText& text) {
    read_block(text, RenderBlock, &RendererSettings);
}

void read_sky_light(SceneText& text) {
    ResetSkyLightBlock(SkyLight);
    read_block(text, SkyLightBlock, &SkyLight);
}

void read_geometry_light(SceneText& text) {
    read_block(text, GeometryLightBlock, &GeometryLight);
}

void read_camera(SceneText& text) {
    Camera camera;
    ResetCamera(camera);
    camera.pose_count = 0;
    read_block(text, CameraBlock, &camera);
    if (camera.pose_count == 1) camera.poses[1] = camera.poses[0];
    Cameras.push_back(camera);
}

void read_point_light(SceneText& text) {
    const int light = AddPointLight();
    read_block(text, PointLightBlock, &PointLights[static_cast<std::size_t>(light)]);
}

void read_parallel_light(SceneText& text) {
    const int light = AddParallelLight();
    read_block(text, ParallelLightBlock, &ParallelLights[static_cast<std::size_t>(light)]);
}

void read_object(SceneText& text) {
    const int object = AddObject();
    ObjectReading reading{&Objects[static_cast<std::size_t>(object)], {}};
    read_block(text, ObjectBlock, &reading);
}

// The whole record is replaced when the name is known already.
void read_shader(SceneText& text) {
    Shader shader;
    read_block(text, ShaderBlock, &shader);
    Shaders[static_cast<std::size_t>(FindOrAddShader(shader.name))] = shader;
}

struct Keyword {
    const char* name;
    void (*read)(SceneText& text);
};

constexpr Keyword kKeywords[] = {
    {"render", read_render},
    {"sky_light", read_sky_light},
    {"geometry_light", read_geometry_light},
    {"camera", read_camera},
    {"point_light", read_point_light},
    {"parallel_light", read_parallel_light},
    {"object", read_object},
    {"shader", read_shader},
};

bool is_regular_file(const std::filesystem::path& path) {
    std::error_code error;
    return std::filesystem::is_regular_file(path, error);
}

} // namespace

bool ReadSceneFile(const std::string& path) {
    if (!is_regular_file(path)) return false;
    std::ifstream file(path, std::ios::binary);
    if (!file) return false;
    SceneText text;
    text.content.assign(std::istreambuf_iterator<char>(file), {});
    std::string_view line, word;
    while (next_line(text, line)) {
        if (line.starts_with('#') || !take_word(line, word)) continue;
        for (const Keyword& keyword : kKeywords) {
            if (word != keyword.name) continue;
            keyword.read(text);
            break;
        }
    }
    return true;
}

void ScanSceneFolder(const std::string& folder) {
    std::vector<std::string> names;
    std::error_code error;
    for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error)) {
        std::string name = entry->path().filename().string();
        if (name.ends_with(".mh")) names.push_back(std::move(name));
    }
    std::sort(names.begin(), names.end());
    for (const std::string& name : names)
        ReadSceneFile(folder + "/" + name);
}

} // namespace mh
