// One list of fields a record serves both directions.
// SPDX-License-Identifier: MIT
#include "import/scene_stream.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <type_traits>

namespace mh {

namespace {

template<typename T, typename... Candidates>
constexpr bool kIsOneOf = (std::is_same_v<T, Candidates> || ...);

template<typename T>
constexpr bool kIsArray = kIsOneOf<T, Vec2, Vec3, Matrix, UvMatrix, std::array<std::uint32_t, 3>>;

template<typename T>
constexpr bool kIsPlain = std::is_arithmetic_v<T> || std::is_enum_v<T> || kIsArray<T>;

template<typename Stream, typename T>
requires kIsPlain<T>

void pass(Stream& stream, T& value) {
    stream.raw(&value, sizeof value);
}

template<typename Stream, typename T>
void pass_all(Stream& stream, T& values) {
    using Value = typename T::value_type;
    stream.resize(values);
    if constexpr (kIsPlain<Value> || std::is_same_v<T, std::string>)
        stream.raw(values.data(), values.size() * sizeof(Value));
    else
        for (Value& value : values)
            pass(stream, value);
}

template<typename Stream>
void pass(Stream& stream, std::string& text) {
    pass_all(stream, text);
}

template<typename Stream, typename T>
void pass(Stream& stream, std::vector<T>& values) {
    pass_all(stream, values);
}

template<typename Stream, typename... Fields>
void pass_fields(Stream& stream, Fields&... fields) {
    (pass(stream, fields), ...);
}

template<typename Stream>
void pass(Stream& stream, ImportedImage& i) {
    pass_fields(stream, i.name, i.bytes);
}

template<typename Stream>
void pass(Stream& stream, ImportedMap& m) {
    pass_fields(stream, m.image, m.uv_set, m.wrap_u, m.wrap_v, m.uv_matrix);
}

template<typename Stream>
void pass(Stream& stream, ImportedMaterial& m) {
    pass_fields(stream, m.name, m.base, m.alpha, m.alpha_cutoff, m.alpha_mode, m.metallic,
                m.roughness, m.ior, m.transmission, m.thickness, m.attenuation_distance,
                m.attenuation_color, m.emission, m.normal_scale, m.clearcoat, m.clearcoat_roughness,
                m.sheen, m.sheen_roughness, m.unlit);
    for (ImportedMap& map : m.maps)
        pass(stream, map);
}

template<typename Stream>
void pass(Stream& stream, ImportedMesh& m) {
    pass_fields(stream, m.name, m.material, m.positions, m.normals, m.uv_sets, m.colors,
                m.triangles);
}

template<typename Stream>
void pass(Stream& stream, ImportedNode& n) {
    pass_fields(stream, n.name, n.parent, n.matrix, n.meshes);
}

template<typename Stream>
void pass(Stream& stream, ImportedLight& l) {
    pass_fields(stream, l.name, l.node, l.kind, l.color, l.position, l.direction, l.inner_rad,
                l.outer_rad);
}

template<typename Stream>
void pass(Stream& stream, ImportedCamera& c) {
    pass_fields(stream, c.name, c.node, c.position, c.look, c.up, c.fov_rad, c.aspect);
}

template<typename Stream>
void pass(Stream& stream, ImportAnswer& answer) {
    std::uint32_t version = kImportVersion, end = kImportVersion;
    ImportedScene& s = answer.scene;
    pass_fields(stream, version, answer.fault, s.format, s.up, s.unit_m, s.duration_s, s.images,
                s.materials, s.meshes, s.nodes, s.lights, s.cameras, s.approximated, s.dropped,
                end);
    if (version != kImportVersion || end != kImportVersion) stream.good = false;
}

struct Writer {
    const std::function<bool(std::span<const std::byte>)>& put;
    bool good = true;

    void raw(const void* bytes, std::size_t count) {
        if (good && count > 0) good = put({static_cast<const std::byte*>(bytes), count});
    }

    template<typename T>
    void resize(const T& values) {
        std::uint64_t count = values.size();
        raw(&count, sizeof count);
    }
};

struct Reader {
    std::span<const std::byte> left;
    bool good = true;

    void raw(void* bytes, std::size_t count) {
        good = good && count <= left.size();
        if (!good || count == 0) return;
        std::memcpy(bytes, left.data(), count);
        left = left.subspan(count);
    }

    // An element takes at least as many bytes as its length alone, or as a plain value.
    template<typename T>
    void resize(T& values) {
        using Value = typename T::value_type;
        constexpr std::size_t kLeast = kIsPlain<Value> ? sizeof(Value) : sizeof(std::uint64_t);
        std::uint64_t count = 0;
        raw(&count, sizeof count);
        good = good && count <= left.size() / kLeast;
        if (good) values.resize(count);
    }
};

bool finite(float x) {
    return std::isfinite(x);
}

bool finite(const Vec2& v) {
    return finite(v.x) && finite(v.y);
}

bool finite(const UvMatrix& row) {
    return std::all_of(row.begin(), row.end(), [](float x) { return finite(x); });
}

bool finite(const Vec3& v) {
    return finite(v.x) && finite(v.y) && finite(v.z);
}

template<typename... Values>
bool all_finite(const Values&... values) {
    return (finite(values) && ...);
}

template<typename T>
bool array_finite(const std::vector<T>& values) {
    for (const T& value : values)
        if (!finite(value)) return false;
    return true;
}

bool is_sound(const ImportedMap& map, std::size_t images) {
    return map.image >= -1 && map.image < static_cast<std::int64_t>(images)
           && map.wrap_u <= WrapMode::mirror && map.wrap_v <= WrapMode::mirror
           && finite(map.uv_matrix);
}

bool is_sound(const ImportedMaterial& m, std::size_t images) {
    for (const ImportedMap& map : m.maps)
        if (!is_sound(map, images)) return false;
    return m.alpha_mode <= AlphaMode::blend
           && all_finite(m.base, m.alpha, m.alpha_cutoff, m.metallic, m.roughness, m.ior,
                         m.transmission, m.thickness, m.attenuation_distance, m.attenuation_color,
                         m.emission, m.normal_scale, m.clearcoat, m.clearcoat_roughness, m.sheen,
                         m.sheen_roughness);
}

bool is_sound(const ImportedMesh& mesh, std::size_t materials) {
    const std::size_t vertices = mesh.positions.size();
    const auto fits = [&](std::size_t size) { return size == 0 || size == vertices; };
    if (mesh.material >= materials || !fits(mesh.normals.size()) || !fits(mesh.colors.size()))
        return false;
    for (const std::vector<Vec2>& set : mesh.uv_sets)
        if (!fits(set.size()) || !array_finite(set)) return false;
    for (const auto& corners : mesh.triangles)
        for (const std::uint32_t corner : corners)
            if (corner >= vertices) return false;
    return array_finite(mesh.positions) && array_finite(mesh.normals) && array_finite(mesh.colors);
}

bool is_sound(const ImportedNode& node, std::size_t number, std::size_t meshes) {
    if (node.parent < -1 || node.parent >= static_cast<std::int64_t>(number)) return false;
    for (const std::uint32_t mesh : node.meshes)
        if (mesh >= meshes) return false;
    for (const double entry : node.matrix)
        if (!std::isfinite(entry)) return false;
    return true;
}

template<typename T>
bool stands_on_node(const T& item, std::size_t nodes) {
    return item.node >= -1 && item.node < static_cast<std::int64_t>(nodes);
}

bool is_sound(const ImportedScene& s) {
    for (const ImportedMaterial& material : s.materials)
        if (!is_sound(material, s.images.size())) return false;
    for (const ImportedMesh& mesh : s.meshes)
        if (!is_sound(mesh, s.materials.size())) return false;
    for (std::size_t i = 0; i < s.nodes.size(); ++i)
        if (!is_sound(s.nodes[i], i, s.meshes.size())) return false;
    for (const ImportedLight& l : s.lights)
        if (!stands_on_node(l, s.nodes.size()) || l.kind > LightKind::unknown
            || !all_finite(l.color, l.position, l.direction, l.inner_rad, l.outer_rad))
            return false;
    for (const ImportedCamera& c : s.cameras)
        if (!stands_on_node(c, s.nodes.size())
            || !all_finite(c.position, c.look, c.up, c.fov_rad, c.aspect))
            return false;
    return s.up <= 2 && std::isfinite(s.unit_m) && s.unit_m > 0.0 && std::isfinite(s.duration_s);
}

} // namespace

bool WriteAnswer(const ImportAnswer& answer,
                 const std::function<bool(std::span<const std::byte>)>& put) {
    Writer writer = {put};
    pass(writer, const_cast<ImportAnswer&>(answer)); // the writer changes nothing
    return writer.good;
}

bool ReadAnswer(std::span<const std::byte> bytes, ImportAnswer& answer) {
    Reader reader = {bytes};
    pass(reader, answer);
    return reader.good && reader.left.empty() && is_sound(answer.scene);
}

} // namespace mh
