// Keys of the block "object": geometry files are read into new parts as their keys come.
// SPDX-License-Identifier: MIT
#include "geometry/hair_reader.h"
#include "geometry/mesh_file.h"
#include "geometry/mesh_loader.h"
#include "geometry/obj_reader.h"
#include "geometry/objects.h"
#include "math/at.h"
#include "scene/blocks.h"
#include "shading/shaders.h"

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

void read_texture_mesh(ObjectReading& reading, const std::string& image) {
    reading.mesh.triangle = image;
    ReadTextureMesh(reading.mesh, next_part(reading));
}

void read_particles(ObjectReading& reading, const std::string& image) {
    ReadParticleTexture(next_part(reading), image);
}

void set_shader(ObjectReading& reading, const std::string& shader) {
    reading.object->default_shader_name = shader;
    reading.object->default_shader = static_cast<std::uint32_t>(FindOrAddShader(shader));
}

void read_hair(ObjectReading& reading, const std::string& file) {
    ReadHair(next_part(reading), FindGeometryFile(file));
}

void read_fur(ObjectReading& reading, const std::string& file) {
    ReadFur(next_part(reading), FindGeometryFile(file));
}

void read_obj(ObjectReading& reading, const std::string& file) {
    MeshLoader loader;
    loader.splits_polygons = reading.splits_polygons;
    ReadObj(loader, FindGeometryFile(file));
    AssembleMesh(loader, next_part(reading));
}

void read_mesh(ObjectReading& reading, const std::string& file) {
    ReadMeshFile(FindGeometryFile(file), next_part(reading));
}

void set_polygons(ObjectReading& reading, const std::string& text) {
    if (text == "split") reading.splits_polygons = true;
    if (text == "drop") reading.splits_polygons = false;
}

constexpr const char* kPolygons[] = {"drop", "split"};

using ObjectKeys = KeysOf<ObjectReading>;
using InstanceKeys = KeysOf<Instance>;

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
    with(ObjectKeys::text<read_obj>("obj"), Role::geometry_file),
    with(ObjectKeys::text<read_mesh>("mesh"), Role::geometry_file),
};

} // namespace

constexpr Block kObjectBlock = {"object", kObjectKeys};

} // namespace mh
