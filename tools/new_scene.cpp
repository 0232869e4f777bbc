// The command "new": a scene to begin with.
// SPDX-License-Identifier: MIT
#include "files.h"
#include "layout.h"
#include "output/file_writer.h"

#include <filesystem>
#include <iostream>
#include <span>
#include <string>

namespace mh {

namespace {

namespace fs = std::filesystem;

struct SceneFile {
    const char* name;
    const char* content;
};

constexpr SceneFile kFiles[] = {
    {"camera/camera.mh", R"(# What is seen, how large, and how often each pixel is sampled.
camera
    resolution 640 400
    sample 64
    # The start and the end of the exposure: the same twice stands still.
    pose
        position 3 -6 2.5
        target 0 0 0.7
        up_vector 0 0 1
        # horizontal, in degrees
        field_of_view 35
    end
    pose
        position 3 -6 2.5
        target 0 0 0.7
        up_vector 0 0 1
        field_of_view 35
    end
end
)"},
    {"light/light.mh", R"(# The sun. White paper that faces it shows the colour.
parallel_light
    color 0.85 0.8 0.7
    # half angle of the sun in degrees: softer shadows with more
    blur 2
    sample 64
    # where the light travels to
    direction 1 1.2 -1.6
    # the plain cosine law
    offset 0
end

# The sky: its radiance from everywhere. "image" takes a map of the sky.
sky_light
    color 0.25 0.32 0.45
end
)"},
    {"render/render.mh", R"(render
    # limits rare bright paths that would show as specks
    clamp 4 4 4
    # light without known biases, and the same picture in every run
    estimator "exact"
    seed 0
    # With a distance of 0 paths are traced; docs/final-gathering.md describes the other mode.
    final_gather
        ray_depth 8
        sample 64
        bounce 4
        distance 0
    end
end
)"},
    {"shader/shader.mh",
     R"(# Meshes name these in "usemtl". Colours are linear: 0.5 reflects half of the light.
shader
    name "floor"
    surface_shader
        lambertian
            color 0.5 0.47 0.43
        end
    end
end

# Paint under a clear coat of index 1.5; a rougher coat has a larger roughness.
shader
    name "paint"
    # Faces that meet at less than this share normals, and look round.
    geometry_shader
        smooth_angle 40
    end
    surface_shader
        lambertian
            color 0.55 0.09 0.04
        end
        glossy
            color 1 1 1
        end
        ior
            color 1.5 1.5 1.5
        end
        roughness
            color 0.15 0.15 0.15
        end
    end
end
)"},
    {"geometry/floor.obj",
     R"(# Faces run counter-clockwise seen from their front.
usemtl floor
v -200 -200 0
v 200 -200 0
v 200 200 0
v -200 200 0
f 1 2 3 4
)"},
};

constexpr SceneFile kBox = {"geometry/box.obj",
                            R"(usemtl paint
v -0.7 -0.7 0
v 0.7 -0.7 0
v 0.7 0.7 0
v -0.7 0.7 0
v -0.7 -0.7 1.4
v 0.7 -0.7 1.4
v 0.7 0.7 1.4
v -0.7 0.7 1.4
f 1 2 6 5
f 2 3 7 6
f 3 4 8 7
f 4 1 5 8
f 5 6 7 8
)"};

constexpr const char* kObjectFile = "geometry/scene.mh";
constexpr SceneFile kBoxObject = {kObjectFile, R"(# Lengths have any unit; z is up.
object
    name room
    obj "floor.obj"
    obj "box.obj"
end
)"};

constexpr SceneFile kMeshObject = {kObjectFile, R"(# Lengths have any unit; z is up.
object
    name room
    # of faces that name no shader of this scene
    shader "paint"
    obj "floor.obj"
    # Without this line the mesh has z up already.
    z_up 1
    # degrees about the upright axis
    rotate 0 0 0 1
    # The longest side of the mesh, which stands in the middle of the floor.
    fit 1.8
    polygons "split"
    obj "mesh.obj"
end
)"};

bool is_free(const fs::path& folder) {
    std::error_code error;
    if (!fs::exists(fs::symlink_status(folder, error))) return true;
    return fs::is_directory(folder, error) && fs::is_empty(folder, error) && !error;
}

std::string write(const fs::path& path, const std::string& content) {
    std::error_code error;
    fs::create_directories(path.parent_path(), error);
    return error ? error.message() : ReplaceFile(path.string(), content);
}

struct Written {
    fs::path path; // of what cannot be written
    std::string reason = {};
};

// The mesh as it is, under a name that no quote or file of the scene disturbs, and its object.
Written write_mesh(const fs::path& folder, const fs::path& mesh) {
    std::error_code error;
    const fs::path copy = folder / "geometry/mesh.obj";
    fs::copy_file(mesh, copy, error);
    if (error) return {copy, error.message()};
    const fs::path path = folder / kMeshObject.name;
    return {path, write(path, kMeshObject.content)};
}

Written write_files(const fs::path& folder, std::span<const SceneFile> files) {
    for (const SceneFile& file : files) {
        const fs::path path = folder / file.name;
        if (const std::string reason = write(path, file.content); !reason.empty())
            return {path, reason};
    }
    return {};
}

// Why nothing is to be written; empty to go on.
std::string fault_of(const Arguments& arguments) {
    const std::string &folder = arguments.scene, &mesh = arguments.mesh;
    std::error_code error;
    if (!mesh.empty() && !fs::is_regular_file(mesh, error))
        return mesh + " is not a file; nothing is written";
    if (!mesh.empty() && ExtensionOf(mesh) != ".obj")
        return mesh + " is not an OBJ file; moonhare import " + mesh + ' ' + folder
               + " makes a scene of other formats";
    return is_free(folder) ? "" : folder + " exists already; nothing is written";
}

} // namespace

int MakeScene(const Arguments& arguments) {
    const fs::path folder = arguments.scene, mesh = arguments.mesh;
    if (const std::string fault = fault_of(arguments); !fault.empty()) {
        Complain(fault);
        return kWrongUse;
    }
    constexpr SceneFile kBoxFiles[] = {kBoxObject, kBox};
    Written written = write_files(folder, kFiles);
    if (written.reason.empty())
        written = mesh.empty() ? write_files(folder, kBoxFiles) : write_mesh(folder, mesh);
    if (!written.reason.empty()) {
        Complain(written.path.string() + " cannot be written: " + written.reason);
        return kNotWritten;
    }
    std::cout << "moonhare " << folder.string() << " renders it to beauty.hdr, and\n"
              << "moonhare convert beauty.hdr beauty.png makes a picture to look at.\n"
              << std::flush;
    return kDone;
}

} // namespace mh
