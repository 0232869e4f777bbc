// The room of many lamps.
// SPDX-License-Identifier: MIT
#include "lamp_room.h"

#include "math/vec3.h"

#include <array>
#include <fstream>
#include <random>
#include <string>

namespace mh::bench {

namespace {

constexpr int kLamps = 200, kPowers = 8;

struct ObjFile {
    std::ofstream file;
    int vertices = 0;
};

template<std::size_t N>
void add_face(ObjFile& obj, const std::array<Vec3, N>& corners) {
    for (const Vec3& p : corners)
        obj.file << "v " << p.x << ' ' << p.y << ' ' << p.z << '\n';
    obj.file << 'f';
    for (std::size_t i = 0; i < N; ++i)
        obj.file << ' ' << ++obj.vertices;
    obj.file << '\n';
}

void add_walls(ObjFile& obj) {
    obj.file << "usemtl white\n";
    add_face(obj, std::array<Vec3, 4>{{{-3, -3, 0}, {3, -3, 0}, {3, 3, 0}, {-3, 3, 0}}});
    add_face(obj, std::array<Vec3, 4>{{{-3, -3, 2}, {-3, 3, 2}, {3, 3, 2}, {3, -3, 2}}});
    add_face(obj, std::array<Vec3, 4>{{{-3, 3, 0}, {3, 3, 0}, {3, 3, 2}, {-3, 3, 2}}});
    obj.file << "usemtl red\n";
    add_face(obj, std::array<Vec3, 4>{{{-3, -3, 0}, {-3, 3, 0}, {-3, 3, 2}, {-3, -3, 2}}});
    add_face(obj, std::array<Vec3, 4>{{{3, -3, 0}, {3, -3, 2}, {3, 3, 2}, {3, 3, 0}}});
}

void add_pillar(ObjFile& obj, float x, float y) {
    constexpr float kHalf = 0.2f;
    const std::array<Vec3, 4> foot = {{{x - kHalf, y - kHalf, 0},
                                       {x + kHalf, y - kHalf, 0},
                                       {x + kHalf, y + kHalf, 0},
                                       {x - kHalf, y + kHalf, 0}}};
    const Vec3 up = {0, 0, 2};
    for (std::size_t i = 0; i < foot.size(); ++i) {
        const Vec3 &a = foot[i], &b = foot[(i + 1) % foot.size()];
        add_face(obj, std::array<Vec3, 4>{{a, b, b + up, a + up}});
    }
}

// Under the ceiling, along the back wall and among the pillars, all facing down; power k is every
// kPowers-th lamp.
void add_lamps(ObjFile& obj) {
    std::mt19937 generator(7);
    std::uniform_real_distribution<float> place(-2.8f, 2.8f), height(1.2f, 1.95f);
    for (int power = 0; power < kPowers; ++power) {
        obj.file << "usemtl lamp" << power << '\n';
        for (int i = power; i < kLamps; i += kPowers) {
            const float x = place(generator);
            const float y = place(generator);
            const float z = height(generator);
            constexpr float kSide = 0.06f;
            add_face(obj, std::array<Vec3, 3>{{{x, y, z}, {x, y + kSide, z}, {x + kSide, y, z}}});
        }
    }
}

void write_file(const std::filesystem::path& path, const std::string& text) {
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path) << text;
}

std::string grey_shader(const std::string& name, const std::string& color) {
    return "shader\n\tname \"" + name + "\"\n\tsurface_shader\n\t\tlambertian\n\t\t\tcolor " + color
           + "\n\t\tend\n\tend\nend\n";
}

std::string lamp_shader(int power) {
    const std::string radiance = std::to_string(2 << power);
    return "shader\n\tname \"lamp" + std::to_string(power)
           + "\"\n\tsurface_shader\n\t\tsideness \"face\"\n\t\tvirtual_light 1\n\t\temissive\n"
             "\t\t\tcolor "
           + radiance + ' ' + radiance + ' ' + radiance + "\n\t\tend\n\tend\nend\n";
}

} // namespace

void WriteLampRoom(const std::filesystem::path& scene) {
    const std::filesystem::path geometry = scene / "geometry";
    write_file(geometry / "all.mh", "object\n\tobj \"room.obj\"\nend\n");
    ObjFile obj = {std::ofstream(geometry / "room.obj")};
    add_walls(obj);
    for (const float y : {0.0f, 1.5f})
        for (const float x : {-2.0f, -0.7f, 0.7f, 2.0f})
            add_pillar(obj, x, y);
    add_lamps(obj);
    std::string shaders = grey_shader("white", "0.7 0.7 0.7") + grey_shader("red", "0.6 0.2 0.15");
    for (int power = 0; power < kPowers; ++power)
        shaders += lamp_shader(power);
    write_file(scene / "shader" / "all.mh", shaders);
    write_file(scene / "render" / "all.mh",
               "render\n\tfinal_gather\n\t\tray_depth 12\n\t\tbounce 6\n"
               "\t\tsample 64\n\t\tdistance 0\n\tend\nend\n");
    write_file(scene / "light" / "all.mh", "sky_light\n\tcolor 0 0 0\n\tphoton 0\nend\n"
                                           "geometry_light\n\tsample 64\n\tphoton 0\nend\n");
    const std::string pose =
        "\tpose\n\t\tposition 0 -2.9 1\n\t\ttarget 0 0 0.9\n\t\tup_vector 0 0 1\n"
        "\t\tfield_of_view 70\n\tend\n";
    write_file(scene / "camera" / "all.mh",
               "camera\n\tresolution 256 256\n\tsample 64\n" + pose + pose + "end\n");
}

} // namespace mh::bench
