// Keys of the block "object": geometry files are read into new parts as their keys come.
// SPDX-License-Identifier: MIT
#include "geometry/hair_reader.h"
#include "geometry/mesh_file.h"
#include "geometry/mesh_loader.h"
#include "geometry/obj_reader.h"
#include "geometry/objects.h"
#include "geometry/placement.h"
#include "geometry/strands.h"
#include "math/at.h"
#include "scene/blocks.h"
#include "shading/shaders.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace mh {

namespace {

Part& next_part(ObjectReading& reading) {
    return at(reading.object->parts, AddPart(*reading.object));
}

std::string& name(ObjectReading& reading) {
    return reading.object->name;
}

Instance& next_instance(ObjectReading& reading) {
    Object& object = *reading.object;
    return at(object.instances, AddInstance(object));
}

template<std::string TextureMesh::*image>
std::string& pending(ObjectReading& reading) {
    return reading.mesh.*image;
}

// What the keys before a file ask of the part that it gave.
void finish_part(ObjectReading& reading, Part& part) {
    if (reading.fit > 0.0f) {
        PlacePart(part, reading.before_fit);
        FitPart(part, reading.fit);
    }
    PlacePart(part, reading.placement);
    if (reading.root_radius > 0.0f) SetRadii(part, reading.root_radius, reading.tip_radius);
    part.whole_strands = reading.whole_strands;
    reading.placed = true;
}

void read_texture_mesh(ObjectReading& reading, const std::string& image) {
    Part& part = next_part(reading);
    reading.mesh.triangle = image;
    ReadTextureMesh(reading.mesh, part);
    finish_part(reading, part);
}

void read_particles(ObjectReading& reading, const std::string& image) {
    Part& part = next_part(reading);
    ReadParticleTexture(part, image);
    finish_part(reading, part);
}

void set_shader(ObjectReading& reading, const std::string& shader) {
    reading.object->default_shader_name = shader;
    reading.object->default_shader = static_cast<std::uint32_t>(FindOrAddShader(shader));
}

void read_hair(ObjectReading& reading, const std::string& file) {
    Part& part = next_part(reading);
    ReadHair(part, FindGeometryFile(file));
    finish_part(reading, part);
}

void read_fur(ObjectReading& reading, const std::string& file) {
    Part& part = next_part(reading);
    ReadFur(part, FindGeometryFile(file));
    finish_part(reading, part);
}

void read_obj(ObjectReading& reading, const std::string& file) {
    MeshLoader loader;
    loader.splits_polygons = reading.splits_polygons;
    ReadObj(loader, FindGeometryFile(file));
    Part& part = next_part(reading);
    AssembleMesh(loader, part);
    finish_part(reading, part);
}

void read_mesh(ObjectReading& reading, const std::string& file) {
    Part& part = next_part(reading);
    ReadMeshFile(FindGeometryFile(file), part);
    finish_part(reading, part);
}

void set_polygons(ObjectReading& reading, const std::string& text) {
    if (text == "split") reading.splits_polygons = true;
    if (text == "drop") reading.splits_polygons = false;
}

void set_strands(ObjectReading& reading, const std::string& text) {
    if (text == "whole") reading.whole_strands = true;
    if (text == "cut") reading.whole_strands = false;
}

// Steps follow one another up to a file; the first one behind it starts anew.
void begin_step(ObjectReading& reading) {
    if (!reading.placed) return;
    reading.placed = false;
    reading.placement = {};
    reading.fit = 0.0f;
}

void add_step(ObjectReading& reading, const Mat4& step) {
    begin_step(reading);
    reading.placement = step * reading.placement;
}

// The steps so far decide only what is up and how it is turned.
void fit(ObjectReading& reading, const Values& values) {
    begin_step(reading);
    reading.before_fit = std::exchange(reading.placement, {});
    reading.fit = values.reals[0];
}

Vec3 vector_of(const Values& values, std::size_t first) {
    return {values.reals[first], values.reals[first + 1], values.reals[first + 2]};
}

void translate(ObjectReading& reading, const Values& values) {
    add_step(reading, Translation(vector_of(values, 0)));
}

void rotate(ObjectReading& reading, const Values& values) {
    add_step(reading, Rotation(values.reals[0], vector_of(values, 1)));
}

// One factor is all three.
void scale(ObjectReading& reading, const Values& values) {
    const float first = values.reals[0];
    add_step(reading, Scaling(values.count == 1 ? splat(first) : vector_of(values, 0)));
}

Mat4 matrix_of(const Values& values) {
    Mat4 matrix;
    FieldOf<Mat4>::put(matrix, values, 0);
    return matrix;
}

void transform(ObjectReading& reading, const Values& values) {
    add_step(reading, matrix_of(values));
}

constexpr Vec3 kTipAxis = {1.0f, 0.0f, 0.0f}; // turns y into z

void make_z_up(ObjectReading& reading, const Values& values) {
    if (values.wholes[0] == 1) add_step(reading, Rotation(90.0f, kTipAxis));
}

void make_y_up(ObjectReading& reading, const Values& values) {
    if (values.wholes[0] == 1) add_step(reading, Rotation(-90.0f, kTipAxis));
}

// A strand has the radius of its root up to its tip without a second number.
void set_radius(ObjectReading& reading, const Values& values) {
    reading.root_radius = values.reals[0];
    reading.tip_radius = values.reals[values.count > 1 ? 1 : 0];
}

bool all_finite(const Values& values) {
    return std::all_of(values.reals.begin(), values.reals.begin() + values.count,
                       [](float x) { return std::isfinite(x); });
}

bool is_turn(const Values& values) {
    return all_finite(values) && !(vector_of(values, 1) == Vec3{});
}

bool is_scale(const Values& values) {
    const auto first = values.reals.begin(), end = first + values.count;
    return values.count != 2 && all_finite(values)
           && std::none_of(first, end, [](float x) { return x == 0.0f; });
}

bool is_size(const Values& values) {
    return std::isfinite(values.reals[0]) && values.reals[0] > 0.0f;
}

bool is_transform(const Values& values) {
    return IsPlacement(matrix_of(values));
}

bool is_switch(const Values& values) {
    return values.wholes[0] == 0 || values.wholes[0] == 1;
}

bool is_radius(const Values& values) {
    const float root = values.reals[0], tip = values.count > 1 ? values.reals[1] : root;
    return std::isfinite(root) && root > 0.0f && tip >= 0.0f && tip <= root;
}

constexpr const char* kPolygons[] = {"drop", "split"};
constexpr const char* kStrands[] = {"cut", "whole"};
constexpr const char* kSwitch = "0 or 1";

using ObjectKeys = KeysOf<ObjectReading>;
using InstanceKeys = KeysOf<Instance>;

// A key of numbers that a wrong one leaves without effect, with a warning.
template<void (*function)(ObjectReading&, const Values&)>
constexpr Key step(const char* name, ValueKind kind, int count, const char* wanted,
                   bool (*accepts)(const Values& values)) {
    return strict({name, kind, count,
                   [](void* record, const Values& values) {
                       function(*static_cast<ObjectReading*>(record), values);
                   }},
                  wanted, accepts);
}

constexpr Key kInstanceKeys[] = {
    InstanceKeys::value<&Instance::matrix>("matrix"),
    with(InstanceKeys::word<&Instance::object_name>("object"), Role::object_name),
    stored(with(InstanceKeys::word<&Instance::shader_name>("shader"), Role::shader_name)),
};
constexpr Block kInstanceBlock = {"instance", kInstanceKeys};

constexpr Key kObjectKeys[] = {
    with(ObjectKeys::word<name>("name"), Role::defines_object),
    ObjectKeys::sub_block<next_instance>("instance", kInstanceBlock),
    with(ObjectKeys::value<pending<&TextureMesh::uv>>("uv_texture"), Role::image_file),
    with(ObjectKeys::value<pending<&TextureMesh::position>>("position_texture"), Role::image_file),
    with(ObjectKeys::value<pending<&TextureMesh::normal>>("normal_texture"), Role::image_file),
    with(ObjectKeys::value<pending<&TextureMesh::tangent>>("tangent_texture"), Role::image_file),
    with(ObjectKeys::text<read_texture_mesh>("triangle_texture"), Role::image_file),
    with(ObjectKeys::text<read_particles>("particle_texture"), Role::image_file),
    with(ObjectKeys::text<set_shader>("shader"), Role::shader_name),
    with(ObjectKeys::text<read_hair>("hair"), Role::geometry_file),
    with(ObjectKeys::text<read_fur>("fur"), Role::geometry_file),
    one_of(ObjectKeys::text<set_polygons>("polygons"), kPolygons),
    one_of(ObjectKeys::text<set_strands>("strands"), kStrands),
    from(1, step<set_radius>("radius", ValueKind::real, 2,
                             "a radius above 0, or one of the root and one of the tip, which is "
                             "not larger",
                             is_radius)),
    step<translate>("translate", ValueKind::real, 3, "three numbers", all_finite),
    step<rotate>("rotate", ValueKind::real, 4, "an angle in degrees and an axis that is not 0 0 0",
                 is_turn),
    from(1,
         step<scale>("scale", ValueKind::real, 3, "one factor or three, none of them 0", is_scale)),
    step<fit>("fit", ValueKind::real, 1, "a size above 0", is_size),
    step<transform>("matrix", ValueKind::real, 16,
                    "16 numbers of an invertible matrix with the last row 0 0 0 1", is_transform),
    step<make_z_up>("z_up", ValueKind::whole, 1, kSwitch, is_switch),
    step<make_y_up>("y_up", ValueKind::whole, 1, kSwitch, is_switch),
    with(ObjectKeys::text<read_obj>("obj"), Role::geometry_file),
    with(ObjectKeys::text<read_mesh>("mesh"), Role::geometry_file),
};

} // namespace

constexpr Block kObjectBlock = {"object", kObjectKeys};

} // namespace mh
