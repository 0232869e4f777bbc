// Imported scenes: the stream of the helper program, and the mapping of scenes made up from the
// input.
// SPDX-License-Identifier: MIT
#include "harness.h"
#include "import/map_scene.h"
#include "import/scene_stream.h"
#include "import/vertex_colors.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <set>

namespace mh::fuzz {

namespace {

// Bytes of the input, then zeros.
struct Draws {
    std::string_view left;

    unsigned next(unsigned count) {
        if (left.empty()) return 0;
        const auto value = static_cast<unsigned char>(left.front());
        left.remove_prefix(1);
        return value % count;
    }

    float number() {
        constexpr float kOdd[] = {0.0f, 1.0f, -1.0f, 0.5f, 2.0f, 1e-30f, -1e30f, 3.4e38f, 1e-7f};
        return kOdd[next(std::size(kOdd))];
    }

    Vec3 vector() {
        const float x = number();
        const float y = number();
        return {x, y, number()};
    }

    std::string name() {
        constexpr const char* kNames[] = {"",           "a",         "scene", "../../x",
                                          "a\"b\n end", "/etc",      "a_2",   ".",
                                          "\xff\x00z",  "undefined", "a b"};
        return kNames[next(std::size(kNames))];
    }

    std::int32_t index(std::size_t size) {
        return static_cast<std::int32_t>(next(static_cast<unsigned>(size) + 1)) - 1;
    }
};

ImportedMaterial material_of(Draws& draws, std::size_t images) {
    ImportedMaterial m;
    m.name = draws.name();
    m.base = draws.vector();
    m.alpha_mode = static_cast<AlphaMode>(draws.next(3));
    for (float* value : {&m.alpha, &m.alpha_cutoff, &m.metallic, &m.roughness, &m.ior,
                         &m.transmission, &m.thickness, &m.attenuation_distance, &m.normal_scale,
                         &m.clearcoat, &m.clearcoat_roughness, &m.sheen_roughness})
        *value = draws.number();
    m.sheen = draws.vector();
    m.emission = draws.vector();
    m.attenuation_color = draws.vector();
    m.unlit = draws.next(2);
    for (ImportedMap& map : m.maps) {
        map.image = draws.index(images);
        map.uv_set = draws.next(3);
        map.wrap_u = static_cast<WrapMode>(draws.next(3));
        map.uv_matrix = {draws.number(), 1.0f, 0.0f, draws.number(), 1.0f, draws.number()};
    }
    return m;
}

ImportedScene scene_of(Draws& draws) {
    ImportedScene scene;
    scene.up = draws.next(3);
    scene.images.resize(draws.next(3));
    for (ImportedImage& image : scene.images)
        image.name = draws.name();
    for (unsigned i = 0, count = 1 + draws.next(3); i < count; ++i)
        scene.materials.push_back(material_of(draws, scene.images.size()));
    for (unsigned i = 0, count = draws.next(4); i < count; ++i) {
        ImportedMesh& mesh = scene.meshes.emplace_back();
        mesh.name = draws.name();
        mesh.material = draws.next(static_cast<unsigned>(scene.materials.size()));
        for (Vec3& position : mesh.positions = std::vector<Vec3>(3))
            position = draws.vector();
        mesh.triangles.resize(draws.next(3));
        mesh.uv_sets.resize(draws.next(3), std::vector<Vec2>(3, {draws.number(), draws.number()}));
        mesh.colors.resize(draws.next(2) * mesh.positions.size(), draws.vector());
    }
    for (unsigned i = 0, count = draws.next(6); i < count; ++i) {
        ImportedNode& node = scene.nodes.emplace_back();
        node.name = draws.name();
        node.parent = draws.index(i);
        for (double& entry : node.matrix)
            entry = draws.number();
        for (unsigned k = 0; k < scene.meshes.size(); ++k)
            if (draws.next(2) == 1) node.meshes.push_back(k);
    }
    for (unsigned i = 0, count = draws.next(3); i < count; ++i) {
        ImportedLight& light = scene.lights.emplace_back();
        light.name = draws.name();
        light.node = draws.index(scene.nodes.size());
        light.kind = static_cast<LightKind>(draws.next(4));
        light.color = draws.vector();
        light.inner_rad = draws.number();
        light.outer_rad = draws.number();
        ImportedCamera& camera = scene.cameras.emplace_back();
        camera.node = light.node;
        camera.fov_rad = draws.number();
        camera.aspect = draws.number();
    }
    return scene;
}

void demand(bool holds) {
    if (!holds) std::abort();
}

// Every file lies in its folder under a name of its own, every line can be read.
void check(const MappedScene& mapped) {
    std::set<std::string> paths;
    const auto add = [&](const std::string& path) {
        demand(paths.insert(path).second && std::count(path.begin(), path.end(), '/') == 1);
        demand(path.find("/.") == path.npos);
    };
    for (const TextFile& file : mapped.texts) {
        add(file.path);
        constexpr std::size_t kLongestLine = 4095;
        for (std::size_t begin = 0; begin < file.text.size();) {
            const std::size_t end = file.text.find('\n', begin);
            demand(end != file.text.npos && end - begin <= kLongestLine);
            demand(file.text.substr(begin, end - begin).find('\0') == file.text.npos);
            begin = end + 1;
        }
    }
    for (const MeshFile& file : mapped.meshes)
        add(file.path);
    for (const PictureFile& file : mapped.pictures)
        add(file.path);
}

} // namespace

void Try(std::string_view input) {
    ImportAnswer answer;
    if (ReadAnswer(std::as_bytes(std::span(input.data(), input.size())), answer))
        check(MapScene(answer.scene, {}));
    Draws draws = {input};
    answer.scene = scene_of(draws);
    PaintVertexColors(answer.scene);
    check(MapScene(answer.scene, {}));
    std::string bytes; // what was made up passes through the stream
    WriteAnswer(answer, [&](std::span<const std::byte> piece) {
        bytes.append(reinterpret_cast<const char*>(piece.data()), piece.size());
        return true;
    });
    ImportAnswer again;
    demand(ReadAnswer(std::as_bytes(std::span(bytes.data(), bytes.size())), again));
    demand(again.scene.nodes.size() == answer.scene.nodes.size());
}

} // namespace mh::fuzz
