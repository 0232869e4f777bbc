// Texts of glTF files: whatever the extensions say, materials stay such that a scene can be made of
// them.
// SPDX-License-Identifier: MIT
#include "harness.h"
#include "import/gltf_extensions.h"
#include "import/scene_stream.h"

#include <cstdlib>

namespace mh::fuzz {

namespace {

// Two that texts match without numbers, or with few.
ImportedScene materials() {
    ImportedScene scene;
    scene.materials.resize(2);
    for (ImportedMaterial& material : scene.materials)
        material.metallic = 1.0f;
    scene.materials[0].emission = {1.0f, 0.5f, 0.0f};
    scene.materials[1].name = "a";
    return scene;
}

bool passes_stream(const ImportAnswer& answer) {
    std::string bytes;
    WriteAnswer(answer, [&](std::span<const std::byte> piece) {
        bytes.append(reinterpret_cast<const char*>(piece.data()), piece.size());
        return true;
    });
    ImportAnswer again;
    return ReadAnswer(std::as_bytes(std::span(bytes)), again);
}

} // namespace

void Try(std::string_view input) {
    ImportAnswer answer;
    answer.scene = materials();
    ReadGltfExtensions(input, answer.scene);
    if (!passes_stream(answer)) std::abort();
}

} // namespace mh::fuzz
