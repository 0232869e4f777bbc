// Rules on objects and instances.
// SPDX-License-Identifier: MIT
#include "check/block_rules.h"
#include "geometry/types.h"
#include "math/matrix.h"
#include "scene/blocks.h"

#include <algorithm>
#include <cmath>

namespace mh {

namespace {

bool names_two_shaders(const ClosedBlock& closed) {
    const std::vector<GivenKey>& given = closed.block.given;
    return std::count_if(
               given.begin(), given.end(),
               [](const GivenKey& g) { return g.key->name == std::string_view("shader"); })
           > 1;
}

// An image of a mesh's vertices that no image of triangles follows.
bool mesh_without_triangles(const ClosedBlock& closed) {
    bool waits = false;
    for (const GivenKey& given : closed.block.given) {
        const std::string_view key = given.key->name;
        if (key == "triangle_texture") waits = false;
        waits = waits || key == "position_texture" || key == "uv_texture" || key == "normal_texture"
                || key == "tangent_texture";
    }
    return waits;
}

// A key that acts on the files that follow, where none does.
bool shapes_no_file(const ClosedBlock& closed) {
    const auto acts_on_files = [](const Key& key) {
        for (const char* name : {"polygons", "strands", "radius", "translate", "rotate", "scale",
                                 "fit", "matrix", "z_up", "y_up"})
            if (key.name == std::string_view(name)) return true;
        return false;
    };
    const std::vector<GivenKey>& given = closed.block.given;
    const auto is_file = [](const GivenKey& g) {
        return g.key->role == Role::geometry_file || g.key->role == Role::image_file;
    };
    const auto last_file = std::find_if(given.rbegin(), given.rend(), is_file);
    return std::any_of(given.rbegin(), last_file,
                       [&](const GivenKey& g) { return acts_on_files(*g.key); });
}

bool triangles_without_positions(const ClosedBlock& closed) {
    return gives(closed, "triangle_texture")
           && record_of<ObjectReading>(closed).mesh.position.empty();
}

bool holds_nothing(const ClosedBlock& closed) {
    const Object& object = *record_of<ObjectReading>(closed).object;
    return object.parts.empty() && object.instances.empty();
}

bool places_nothing(const ClosedBlock& closed) {
    return !gives(closed, "object");
}

bool moves_in_last_row(const ClosedBlock& closed) {
    const auto& m = record_of<Instance>(closed).matrix.m;
    return m[3][0] != 0.0f || m[3][1] != 0.0f || m[3][2] != 0.0f || m[3][3] != 1.0f;
}

bool has_no_inverse(const ClosedBlock& closed) {
    Mat4 inverse;
    return !invert(record_of<Instance>(closed).matrix, inverse);
}

bool is_not_rigid(const ClosedBlock& closed) {
    constexpr float kRounding = 2e-3f; // of numbers written with three digits
    if (moves_in_last_row(closed) || has_no_inverse(closed)) return false;
    const Mat3 a = upper_left(record_of<Instance>(closed).matrix);
    const Mat3 square = transpose(a) * a;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            if (!(std::fabs(square.m[i][j] - (i == j ? 1.0f : 0.0f)) <= kRounding)) return true;
    return false;
}

constexpr BlockRule kRules[] = {
    {"object", "shader", Severity::warning, When::always, names_two_shaders,
     "an object has one shader: this line replaces the one before"},
    {"object", "position_texture", Severity::warning, When::always, mesh_without_triangles,
     "no \"triangle_texture\" follows: the images of its vertices are not read"},
    {"object", nullptr, Severity::warning, When::always, shapes_no_file,
     "a key that acts on the files below it stands below the last one"},
    {"object", "triangle_texture", Severity::fault, When::always, triangles_without_positions,
     "\"triangle_texture\" without \"position_texture\" before it: it makes no faces"},
    {"object", nullptr, Severity::warning, When::always, holds_nothing, "\"object\" holds nothing"},
    {"instance", nullptr, Severity::fault, When::always, places_nothing,
     "\"instance\" without \"object\": it places nothing"},
    {"instance", "matrix", Severity::fault, When::always, moves_in_last_row,
     "the last row of the matrix is not 0 0 0 1; a translation is the last column"},
    {"instance", "matrix", Severity::fault, When::always, has_no_inverse,
     "the matrix has no inverse: the instance is left out"},
    {"instance", "matrix", Severity::warning, When::always, is_not_rigid,
     "the matrix is not rigid: distances inside the instance differ from those "
     "outside, and what it holds may be hidden by things farther away"},
};

} // namespace

const std::span<const BlockRule> kObjectRules = kRules;

} // namespace mh
