// Scene files into records: every kind of block, and files that are cut, absurd or oddly written.
// SPDX-License-Identifier: MIT
#include "scene/scene_reader.h"

#include "frame/types.h"
#include "geometry/types.h"
#include "lights/types.h"
#include "output/types.h"
#include "shading/types.h"
#include "support/fresh_scene.h"

#include <algorithm>
#include <filesystem>
#include <locale>
#include <random>

#include <gtest/gtest.h>

namespace mh {
namespace {

// A started library, a folder and a reader of texts.
struct SceneReader : testing::Test {
    test::FreshScene scene;
    test::TemporaryFolder folder;

    ~SceneReader() override { DisplayGamma = 2.2f; } // no run resets it

    void read(const std::string& text) {
        folder.write("scene.mh", text);
        EXPECT_TRUE(ReadSceneFile(folder.path + "scene.mh"));
    }
};

const std::string kEveryBlock = test::content_of(MOONHARE_SOURCE_DIR "/tests/scene/every_block.mh");

void expect_every_block() {
    EXPECT_EQ(RendererSettings.clamp, (Vec3{1, 2, 3}));
    EXPECT_EQ(DisplayGamma, 1.8f);
    EXPECT_EQ(RendererSettings.ray_depth, 5);
    EXPECT_EQ(RendererSettings.photon_depth, 8);
    EXPECT_EQ(RendererSettings.distance, 0.0f);
    EXPECT_EQ(ImageSearchPaths.back(), "textures");

    ASSERT_EQ(Cameras.size(), 1u);
    const Camera& camera = Cameras[0];
    EXPECT_EQ(camera.name, "front camera");
    EXPECT_EQ(camera.height, 200);
    EXPECT_EQ(camera.region_y0, 2);
    EXPECT_EQ(camera.region_x1, 3);
    EXPECT_EQ(camera.projection, Projection::spherical);
    EXPECT_EQ(camera.poses[0].target, (Vec3{4, 5, 6}));
    EXPECT_EQ(camera.poses[1].field_of_view, 45.0f); // a single pose is both
    ASSERT_EQ(camera.aovs.size(), 2u);
    EXPECT_EQ(camera.aovs[0].image.path, "beauty.hdr");
    EXPECT_EQ(camera.aovs[1].channel, 1u | 2048u);

    ASSERT_EQ(PointLights.size(), 1u);
    EXPECT_EQ(PointLights[0].photons, 5000000000);
    EXPECT_EQ(PointLights[0].link.names, std::vector<std::string>{"red"});
    EXPECT_EQ(PointLights[0].aov_list.at(0).channel, 1u);
    ASSERT_EQ(ParallelLights.size(), 1u);
    EXPECT_EQ(ParallelLights[0].axis, (Vec3{0, 0, -1}));
    EXPECT_EQ(SkyLight.image.path, "sky.hdr");
    EXPECT_EQ(SkyLight.medium.transmittance, (Vec3{0.5f, 0.6f, 0.7f}));
    EXPECT_EQ(GeometryLight.sample, 16);

    ASSERT_EQ(Shaders.size(), 2u);
    const Shader& shader = Shaders[1];
    const SurfaceLayer& layer = shader.layers.at(0);
    EXPECT_EQ(shader.name, "red");
    EXPECT_EQ(layer.elements[4].color, (Vec3{9, 8, 7}));
    EXPECT_EQ(layer.elements[7].color, (Vec3{1, 1, 1}));
    EXPECT_EQ(layer.elements[7].pixel_sampler, PixelSampler::nearest);
    EXPECT_EQ(layer.elements[7].uv_matrix.m[2][1], 8.0f);
    EXPECT_FALSE(layer.elements[7].uv_matrix_identity);
    EXPECT_TRUE(layer.virtual_light);
    EXPECT_FALSE(layer.window);
    EXPECT_EQ(layer.sideness, Sideness::back);
    EXPECT_EQ(shader.visibility, Visibility::light_only);
    EXPECT_TRUE(shader.reverse_winding);
    EXPECT_EQ(shader.displacement.vectors.at(0).level, 4);
    ASSERT_EQ(Textures.size(), 1u);
    EXPECT_EQ(Textures[0].path, "bumps.png");

    ASSERT_EQ(Objects.size(), 1u);
    EXPECT_EQ(Objects[0].name, "room");
    EXPECT_EQ(Objects[0].default_shader, 1u);
    ASSERT_EQ(Objects[0].instances.size(), 1u);
    EXPECT_EQ(Objects[0].instances[0].object_name, "chair");
    EXPECT_EQ(Objects[0].instances[0].matrix.m[1][3], 6.0f);
}

TEST_F(SceneReader, PutsTheValuesOfEveryBlockIntoTheirRecords) {
    read(kEveryBlock);
    expect_every_block();
}

TEST_F(SceneReader, ReadsWindowsLineEndsAndALastLineWithoutOne) {
    std::string text;
    for (const char c : kEveryBlock.substr(0, kEveryBlock.size() - 1))
        text += c == '\n' ? std::string("\r\n") : std::string(1, c);
    read(text);
    expect_every_block();
}

TEST_F(SceneReader, KeepsFieldsWhoseValuesAreMissingOrBad) {
    read(R"(camera
resolution 100 wide
region 5
sample 99999999999
ior
exposure 1.5 x 7
projection "Spherical"
end
shader
name
surface_shader
window
virtual_light yes
sideness both
lambertian
color 0.25
end
end
end)");
    const Camera& camera = Cameras.at(0);
    EXPECT_EQ(camera.width, 100);
    EXPECT_EQ(camera.height, 540);
    EXPECT_EQ(camera.region_x0, 5);
    EXPECT_EQ(camera.region_y1, 1048576);
    EXPECT_EQ(camera.sample, 17);
    EXPECT_EQ(camera.ior, 1.0f);
    EXPECT_EQ(camera.exposure, (Vec3{1.5f, 1.0f, 1.0f}));
    EXPECT_EQ(camera.projection, Projection::pinhole);
    ASSERT_EQ(Shaders.size(), 2u);
    EXPECT_EQ(Shaders[1].name, ""); // no quotes: an empty string
    EXPECT_FALSE(Shaders[1].layers.at(0).virtual_light);
    EXPECT_EQ(Shaders[1].layers.at(0).elements[0].color, (Vec3{0.25f, 0.0f, 0.0f}));
}

TEST_F(SceneReader, EndsTheCameraWithTheEndOfItsThirdPose) {
    read("camera\npose\nposition 1 0 0\nend\npose\nposition 2 0 0\nend\n"
         "pose\nposition 3 0 0\nsample 5\nend\nsample 6\nend\ncamera\nend\n");
    ASSERT_EQ(Cameras.size(), 2u);
    EXPECT_EQ(Cameras[0].poses[1].position.x, 2.0f);
    EXPECT_EQ(Cameras[0].sample, 5);
}

TEST_F(SceneReader, CombinesChannelsUntilAUserDefinedOne) {
    read("camera\naov\ntype \"lambertian\"\nend\naov\ntype \"glossy\"\ntype \"depth\"\nend\n"
         "aov\ntype \"specular\"\ntype \"wind\"\nend\nend\n");
    ASSERT_EQ(Cameras.at(0).aovs.size(), 4u);
    EXPECT_EQ(Cameras[0].aovs[1].channel, 5u);
    EXPECT_EQ(Cameras[0].aovs[2].channel, 1u | 64u | 16384u);
    EXPECT_EQ(Cameras[0].aovs[3].channel, 32768u);
    EXPECT_EQ(Cameras[0].aovs[3].user_data, "wind");
}

TEST_F(SceneReader, ResetsPartOfTheSkyAtEachOfItsBlocks) {
    read("sky_light\ncolor 1 2 3\nturbidity 4\nimage \"a\"\nend\nsky_light\nsample 3\nend\n"
         "geometry_light\nsample 9\nend\ngeometry_light\nphoton 7\nend\n");
    EXPECT_EQ(SkyLight.color, (Vec3{0.75f, 0.75f, 0.75f}));
    EXPECT_EQ(SkyLight.turbidity, 4.0f);
    EXPECT_EQ(SkyLight.image.path, "a");
    EXPECT_EQ(SkyLight.sample, 3);
    EXPECT_EQ(GeometryLight.sample, 9);
}

TEST_F(SceneReader, ReplacesShadersOfTheSameName) {
    read("object\nshader \"later\"\nend\nshader\nsurface_shader\nend\nsurface_shader\nend\n"
         "name \"later\"\nend\nshader\nopacity 0.5\nend\n");
    ASSERT_EQ(Shaders.size(), 2u);
    EXPECT_EQ(Shaders[1].layers.size(), 2u);
    EXPECT_EQ(Shaders[0].opacity, 0.5f); // a shader without a name is "undefined"
    EXPECT_TRUE(Shaders[0].layers.empty());
}

TEST_F(SceneReader, PassesOverWhatItDoesNotKnowInSilence) {
    read("end\nRender\nclamp 1 1 1\nend\n# camera\n #\n\ncamera # here\n color 1 1 1\n"
         "#sample 3\nsample 4 # four\n camera\n end\nsample 5\n");
    ASSERT_EQ(Cameras.size(), 1u);
    EXPECT_EQ(Cameras[0].sample, 4);
    EXPECT_EQ(RendererSettings.clamp.x, kFar);
    EXPECT_EQ(scene.take_report(), "");
}

TEST_F(SceneReader, EndsAFileAtALineThatIsTooLongAndSaysSoOnce) {
    read("camera\n name \"a\"\n pose\n" + std::string(4096, '#') + "\n end\nend\n");
    EXPECT_EQ(Cameras.at(0).name, "a");
    const std::string report = scene.take_report();
    EXPECT_TRUE(report.starts_with("error :( \tscene - line 4 of ")) << report;
    EXPECT_EQ(report.find("4095 characters"), report.rfind("4095 characters"));
}

TEST_F(SceneReader, ScansRegularFilesByName) {
    folder.write("s/b.mh", "camera\nname \"b\"\nend\n");
    folder.write("s/a.mh", "camera\nname \"a\"\nend\n");
    folder.write("s/a.mh.txt", "camera\nend\n");
    folder.write("s/inner.mh/c.mh", "camera\nend\n");
    folder.write("elsewhere", "camera\nname \"link\"\nend\n");
    std::filesystem::create_symlink(folder.path + "elsewhere", folder.path + "s/link.mh");
    std::filesystem::create_symlink(folder.path + "nowhere", folder.path + "s/lost.mh");
    ScanSceneFolder(folder.path + "s");
    ScanSceneFolder(folder.path + "missing");
    ASSERT_EQ(Cameras.size(), 3u);
    EXPECT_EQ(Cameras[0].name, "a");
    EXPECT_EQ(Cameras[1].name, "b");
    EXPECT_EQ(Cameras[2].name, "link");
    EXPECT_FALSE(ReadSceneFile(folder.path + "s/inner.mh"));
}

// Cut at every place, then with bytes replaced: nothing may be read or written out of bounds, which
// the sanitizers see, and the block in front of the cut is complete.
TEST_F(SceneReader, SurvivesCutAndDamagedFiles) {
    for (std::size_t length = 0; length < kEveryBlock.size(); length += 7)
        read(kEveryBlock.substr(0, length));
    EXPECT_GT(Cameras.size(), 100u);
    EXPECT_TRUE(std::all_of(Cameras.begin(), Cameras.end() - 1,
                            [](const Camera& c) { return c.aovs[0].channel == 1u; }));
    std::mt19937 random(4);
    for (int i = 0; i < 300; ++i) {
        std::string text = kEveryBlock;
        for (int k = 0; k < 20; ++k)
            text[random() % text.size()] = static_cast<char>(random() % 256);
        read(text);
    }
}

// A decimal comma and groups of one digit.
struct ForeignNumbers : std::numpunct<char> {
    char do_decimal_point() const override { return ','; }

    char do_thousands_sep() const override { return '.'; }

    std::string do_grouping() const override { return "\1"; }
};

TEST_F(SceneReader, ReadsNumbersAlikeUnderAnyLocale) {
    folder.write("a.obj", "v 0.25 1.5 -1e-1\nv 1 0 0\nv 0 1000 0\nf 1 2 3\n");
    const std::locale before = std::locale::global({std::locale(), new ForeignNumbers});
    read("camera\n resolution 1320 200\nend\nrender\n gamma 1.75\nend\nobject\n obj "
         "\"a.obj\"\nend\n");
    std::locale::global(before);
    EXPECT_EQ(DisplayGamma, 1.75f);
    ASSERT_EQ(Cameras.size() + Objects.size(), 2u);
    EXPECT_EQ(Cameras[0].width, 1320);
    const std::vector<Vec3>& positions = Objects[0].parts.back().positions;
    ASSERT_EQ(positions.size(), 3u);
    EXPECT_EQ(positions[0], (Vec3{0.25f, 1.5f, -0.1f}));
    EXPECT_EQ(positions[2].y, 1000.0f);
}

} // namespace
} // namespace mh
