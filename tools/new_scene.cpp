// The command "new": a scene to begin with.
// SPDX-License-Identifier: MIT
#include "files.h"
#include "layout.h"
#include "output/file_writer.h"

#include <filesystem>
#include <iostream>

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
    clamp 20 20 20
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
    {"geometry/scene.mh",
     R"(# Lengths have the unit of the mesh; z is up. Put your own file in place of this one.
object
    name room
    obj "scene.obj"
end
)"},
    {"geometry/scene.obj",
     R"(# A floor, and a box on it. Faces run counter-clockwise seen from their front.
usemtl floor
v -200 -200 0
v 200 -200 0
v 200 200 0
v -200 200 0
f 1 2 3 4
usemtl paint
v -0.7 -0.7 0
v 0.7 -0.7 0
v 0.7 0.7 0
v -0.7 0.7 0
v -0.7 -0.7 1.4
v 0.7 -0.7 1.4
v 0.7 0.7 1.4
v -0.7 0.7 1.4
f 5 6 10 9
f 6 7 11 10
f 7 8 12 11
f 8 5 9 12
f 9 10 11 12
)"},
};

bool is_free(const fs::path& folder) {
    std::error_code error;
    if (!fs::exists(fs::symlink_status(folder, error))) return true;
    return fs::is_directory(folder, error) && fs::is_empty(folder, error) && !error;
}

std::string write(const fs::path& path, const char* content) {
    std::error_code error;
    fs::create_directories(path.parent_path(), error);
    return error ? error.message() : ReplaceFile(path.string(), content);
}

} // namespace

int MakeScene(const Arguments& arguments) {
    const fs::path folder = arguments.scene;
    if (!is_free(folder)) {
        Complain(folder.string() + " exists already; nothing is written");
        return kWrongUse;
    }
    for (const SceneFile& file : kFiles) {
        const fs::path path = folder / file.name;
        const std::string reason = write(path, file.content);
        if (reason.empty()) continue;
        Complain(path.string() + " cannot be written: " + reason);
        return kNotWritten;
    }
    std::cout << "moonhare " << folder.string() << " renders it to beauty.hdr, and\n"
              << "moonhare convert beauty.hdr beauty.png makes a picture to look at.\n"
              << std::flush;
    return kDone;
}

} // namespace mh
