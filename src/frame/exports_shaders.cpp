// Exported functions: shaders, their surface layers and displacement layers.
// SPDX-License-Identifier: MIT
#include "frame/host_calls.h"
#include "frame/moonhare.h"
#include "shading/images.h"
#include "shading/shaders.h"
#include "shading/state.h"

#include <cstring>

namespace mh {

namespace {

Shader* shader_at(const char* call, int shader) {
    return MayBuild(call, Phase::shaders) ? RecordAt(call, Shaders, "shader", shader) : nullptr;
}

SurfaceLayer* layer_at(const char* call, int shader, int layer) {
    Shader* record = shader_at(call, shader);
    return record == nullptr ? nullptr : RecordAt(call, record->layers, "layer", layer);
}

ShaderElement* slot_at(const char* call, int shader, int layer, mhElement element) {
    SurfaceLayer* record = layer_at(call, shader, layer);
    if (record == nullptr) return nullptr;
    if (!IsAtMost(call, "element", element, kElementCount - 1)) return nullptr;
    return &record->elements[element];
}

ShaderElement* displacement_at(const char* call, int shader, int layer) {
    Shader* record = shader_at(call, shader);
    if (record == nullptr) return nullptr;
    return RecordAt(call, record->displacement.vectors, "displacement layer", layer);
}

// The matrices stay without effect: the flags that switch them on are not touched. The path enters
// the image table now, so that the texture phase loads it.
void set_image(const char* call, ShaderElement* slot, const char* path, float gamma,
               const float (*color_matrix)[4], const float (*uv_matrix)[3]) {
    if (slot == nullptr || !IsGiven(call, "the path", path)) return;
    slot->image = path;
    FindOrAddImage(slot->image);
    slot->gamma = gamma;
    if (color_matrix != nullptr)
        std::memcpy(slot->color_matrix.m, color_matrix, sizeof slot->color_matrix.m);
    if (uv_matrix != nullptr) std::memcpy(slot->uv_matrix.m, uv_matrix, sizeof slot->uv_matrix.m);
}

} // namespace

extern "C" {

MH_API int mhAddShader(void) try { return MayBuild(__func__, Phase::shaders) ? AddShader() : -1; }
MH_CATCH(-1)

MH_API void mhSetShaderName(int shader, const char* name) try {
    Shader* record = shader_at(__func__, shader);
    if (record != nullptr && IsGiven(__func__, "the text", name)) RenameShader(*record, name);
}
MH_CATCH()

MH_API void mhSetShaderVisibility(int shader, mhVisibility visibility) try {
    Shader* record = shader_at(__func__, shader);
    if (record == nullptr) return;
    if (!IsAtMost(__func__, "visibility", visibility, mhVisibilityAll)) return;
    record->visibility = static_cast<Visibility>(visibility);
}
MH_CATCH()

MH_API void mhSetShaderSmoothAngle(int shader, float degrees) try {
    if (Shader* record = shader_at(__func__, shader)) record->smooth_angle = degrees;
}
MH_CATCH()

MH_API void mhSetShaderRoundCorner(int shader, float radius) try {
    if (Shader* record = shader_at(__func__, shader)) record->round_corner = radius;
}
MH_CATCH()

MH_API void mhSetShaderTime([[maybe_unused]] int shader, [[maybe_unused]] float time) {}

MH_API int mhAddSurfaceShader(int shader) try {
    Shader* record = shader_at(__func__, shader);
    return record == nullptr ? -1 : AddSurfaceLayer(*record);
}
MH_CATCH(-1)

MH_API void mhSetSurfaceColor(int shader, int layer, mhElement element, float r, float g,
                              float b) try {
    if (ShaderElement* slot = slot_at(__func__, shader, layer, element)) slot->color = {r, g, b};
}
MH_CATCH()

MH_API void mhSetSurfaceImage(int shader, int layer, mhElement element, const char* path,
                              float gamma, const float (*color_matrix)[4],
                              const float (*uv_matrix)[3]) try {
    set_image(__func__, slot_at(__func__, shader, layer, element), path, gamma, color_matrix,
              uv_matrix);
}
MH_CATCH()

MH_API void mhSetSurfaceMaterial(int shader, int layer, mhMaterial material) try {
    SurfaceLayer* record = layer_at(__func__, shader, layer);
    if (record == nullptr || !IsAtMost(__func__, "material", material, mhMaterialThin)) return;
    record->material = static_cast<Material>(material);
}
MH_CATCH()

MH_API void mhSetSurfaceSideness(int shader, int layer, mhSideness sideness) try {
    SurfaceLayer* record = layer_at(__func__, shader, layer);
    if (record == nullptr || !IsAtMost(__func__, "sideness", sideness, mhSidenessBoth)) return;
    record->sideness = static_cast<Sideness>(sideness);
}
MH_CATCH()

MH_API void mhSetSurfaceVirtualLight(int shader, int layer, bool on) try {
    if (SurfaceLayer* record = layer_at(__func__, shader, layer)) record->virtual_light = on;
}
MH_CATCH()

MH_API int mhAddDisplacementShader(int shader) try {
    Shader* record = shader_at(__func__, shader);
    if (record == nullptr) return -1;
    record->displacement.vectors.emplace_back();
    return static_cast<int>(record->displacement.vectors.size()) - 1;
}
MH_CATCH(-1)

MH_API void mhSetDisplacementVector(int shader, int layer, float x, float y, float z) try {
    if (ShaderElement* slot = displacement_at(__func__, shader, layer)) slot->color = {x, y, z};
}
MH_CATCH()

MH_API void mhSetDisplacementLevel(int shader, int layer, int level) try {
    if (ShaderElement* slot = displacement_at(__func__, shader, layer)) slot->level = level;
}
MH_CATCH()

MH_API void mhSetDisplacementImage(int shader, int layer, const char* path, float gamma,
                                   const float (*color_matrix)[4],
                                   const float (*uv_matrix)[3]) try {
    set_image(__func__, displacement_at(__func__, shader, layer), path, gamma, color_matrix,
              uv_matrix);
}
MH_CATCH()

} // extern "C"

} // namespace mh
