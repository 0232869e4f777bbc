// Scene files into records: every kind of block, and files that are cut, absurd or oddly written.
// SPDX-License-Identifier: MIT
#include "scene/scene_reader.h"

#include "geometry/state.h"
#include "geometry/strands.h"
#include "lights/sky_light.h"
#include "lights/state.h"
#include "math/roots.h"
#include "output/image_writer.h"
#include "output/state.h"
#include "run/state.h"
#include "shading/state.h"
#include "support/expect.h"
#include "support/fresh_scene.h"

#include <filesystem>
#include <locale>
#include <sstream>
#include <tuple>

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
    const RendererSettingsRecord& render = RendererSettings;
    EXPECT_EQ(render.clamp, (Vec3{1, 2, 3}));
    EXPECT_EQ(std::tuple(render.estimator, render.seed, render.noise, render.adaptive),
              std::tuple(Estimator::exact, 7, 0.01f, true));
    EXPECT_EQ(std::tuple(render.ray_depth, render.photon_depth, render.sample, render.bounce,
                         render.distance, render.resolution, render.radius, DisplayGamma,
                         ImageSearchPaths.back()),
              std::tuple(5, 9, 10, 2, 0.0f, 0.25f, 0.5f, 1.8f, "textures"));

    EXPECT_TRUE(ImageWriting.exr_floats);
    ASSERT_EQ(Cameras.size(), 1u);
    const Camera& camera = Cameras[0];
    EXPECT_EQ(std::tuple(camera.name, camera.height, camera.region_y0, camera.region_x1,
                         camera.projection, camera.aovs.size()),
              std::tuple("front camera", 200, 2, 3, Projection::spherical, 2u));
    EXPECT_EQ(camera.poses[0].target, (Vec3{4, 5, 6}));
    EXPECT_EQ(camera.poses[1].field_of_view, 50.0f); // a single pose is both
    EXPECT_EQ(camera.poses[0].bokeh, 0.5f);
    EXPECT_EQ(camera.aovs[0].image.path, "beauty.hdr");
    EXPECT_EQ(camera.aovs[1].channel, 1u | 2048u);

    const PointLight& light = PointLights.at(0);
    EXPECT_EQ(std::tuple(light.photons, light.outer_angle, light.offset, light.ior,
                         light.link.names.at(0), light.aov_list.at(0).channel),
              std::tuple(5000000000, 30.0f, 0.2f, 1.5f, "red", 1u));
    EXPECT_EQ(ParallelLights.at(0).axis, (Vec3{0, 0, -1}));
    EXPECT_EQ(SkyLight.image.path, "sky.hdr");
    EXPECT_EQ(SkyLight.north, (Vec3{1, 0, 0}));
    EXPECT_EQ(SkyLight.zenith, (Vec3{0, 1, 0}));
    EXPECT_EQ((Vec3{SkyLight.turbidity, SkyLight.stretch, SkyLight.albedo}), (Vec3{3, 4, 5}));
    const Medium& air = SkyLight.medium;
    EXPECT_EQ(std::tuple(air.transmittance, air.average_cosine, air.albedo),
              std::tuple(Vec3{0.5f, 0.6f, 0.7f}, 0.8f, Vec3{1, 2, 3}));
    EXPECT_EQ(GeometryLight.sample, 16);

    ASSERT_EQ(Shaders.size(), 2u);
    const Shader& shader = Shaders[1];
    const SurfaceLayer& layer = shader.layers.at(0);
    const ShaderElement& map = layer.elements[7];
    EXPECT_EQ(layer.elements[4].color, (Vec3{9, 8, 7}));
    EXPECT_EQ(map.color, (Vec3{1, 1, 1}));
    EXPECT_EQ(std::tuple(map.pixel_sampler, map.uv_matrix.m[2][1], map.uv_matrix_identity,
                         map.color_matrix.m[2][2], map.color_matrix_identity),
              std::tuple(PixelSampler::nearest, 8.0f, false, 3.0f, false));
    EXPECT_EQ(std::tuple(layer.virtual_light, layer.window, layer.sideness),
              std::tuple(true, false, Sideness::back));
    EXPECT_EQ(std::tuple(layer.elements[15].color, layer.microfacet, layer.diffuse_model),
              std::tuple(Vec3{6, 5, 4}, Microfacet::ggx_separable, DiffuseModel::oren_nayar));
    EXPECT_EQ(std::tuple(shader.name, shader.visibility, shader.reverse_winding,
                         shader.displacement.vectors.at(0).level, Textures.at(0).path),
              std::tuple("red", Visibility::light_only, true, 4, "bumps.png"));

    const Object& object = Objects.at(0);
    const Instance& instance = object.instances.at(0);
    EXPECT_EQ(std::tuple(object.name, object.default_shader, instance.object_name,
                         instance.matrix.m[1][3]),
              std::tuple("room", 1u, "chair", 6.0f));
}

TEST_F(SceneReader, PutsTheValuesOfEveryBlockIntoTheirRecords) {
    read(kEveryBlock);
    expect_every_block();
}

TEST_F(SceneReader, ReadsAByteOrderMarkWindowsLineEndsAndALastLineWithoutOne) {
    const std::size_t start = kEveryBlock.find("render"); // behind comments
    std::string text = "\xEF\xBB\xBF";
    for (const char c : kEveryBlock.substr(start, kEveryBlock.size() - 1 - start))
        text += c == '\n' ? std::string("\r\n") : std::string(1, c);
    read(text);
    expect_every_block();
}

TEST_F(SceneReader, KeepsFieldsWhoseValuesAreMissingOrBad) {
    read("camera\nresolution 100 wide\nregion 5\nsample 99999999999\nior\nexposure 1.5 x 7\n"
         "projection \"Spherical\"\nend\nshader\nname\nsurface_shader\nwindow\nvirtual_light yes\n"
         "sideness both\nlambertian\ncolor 0.25\nend\nend\nend");
    const Camera& camera = Cameras.at(0);
    EXPECT_EQ(std::tuple(camera.width, camera.height, camera.region_x0, camera.region_y1,
                         camera.sample, camera.ior, camera.projection),
              std::tuple(100, 540, 5, 1048576, 17, 1.0f, Projection::pinhole));
    EXPECT_EQ(camera.exposure, (Vec3{1.5f, 1.0f, 1.0f}));
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

TEST_F(SceneReader, OpensTheSlotOfEachKey) {
    std::istringstream names("lambertian transmissive glossy specular emissive diffusion "
                             "shadow_transparency normal weight anisotropy roughness angle ior "
                             "thickness"); // there is no key of element 13
    std::string text = "shader\nsurface_shader\n", name;
    for (int i = 0; names >> name; ++i)
        text += name + "\ncolor " + std::to_string(i) + "\nend\n";
    read(text);
    for (std::size_t i = 0; i < 14; ++i)
        EXPECT_EQ(Shaders[0].layers.at(0).elements[i < 13 ? i : 14].color.x, static_cast<float>(i));
}

TEST_F(SceneReader, HidesFromWhomTheLastKeyTells) {
    const std::pair<std::string, Visibility> cases[] = {
        {"camera_primary 0\nlight_primary 0", Visibility::camera_only},
        {"invisible 1\nlight_primary 1", Visibility::hidden},
        {"light_primary 0\ncamera_primary 2\ninvisible 0", Visibility::light_only}};
    for (const auto& [keys, visibility] : cases) {
        read("shader\ngeometry_shader\n" + keys + "\nend\nend\n");
        EXPECT_EQ(Shaders[0].visibility, visibility) << keys;
    }
}

TEST_F(SceneReader, PlacesFilesByTheStepsAboveThem) {
    folder.write("a.obj", "v 1 0 0\nv 1 1 0\nv 1 0 1\nvn 1 0 0\nf 1//1 2//1 3//1\n");
    folder.write("a.fur", "segment 2\nposition 1 0 0\nposition 1 1 0\nposition 1 2 0\n");
    read("object\n translate 1 0 0\n rotate 90 0 0 2\n scale -2 2 2\n obj \"a.obj\"\n"
         " obj \"a.obj\"\n z_up 1\n matrix 1 0 0 0 0 1 0 0 0 0 1 5 0 0 0 1\n radius 0.5 0.25\n"
         " strands \"whole\"\n fur \"a.fur\"\n scale 3\n fur \"a.fur\"\nend\n");
    const std::vector<Part>& parts = Objects.at(0).parts;
    ASSERT_EQ(parts.size(), 4u);
    for (const Part& mesh : {parts[0], parts[1]}) { // steps hold until another follows the file
        const std::vector<Vec3>& p = mesh.positions;
        test::expect_near(p.at(0), {0, 4, 0}, 1e-6f); // (1 0 0), (2 0 0), (0 2 0), (-0 4 0)
        test::expect_near(p.at(1), {2, 4, 0}, 1e-6f);
        const auto& v = mesh.triangles.at(0).vertex; // still wound as its normal says
        test::expect_near(normalize(cross(p[v[1]] - p[v[0]], p[v[2]] - p[v[0]])), {0, 1, 0}, 1e-6f);
        test::expect_near(unpack_unit(mesh.normals.at(0)), {0, 1, 0}, 1e-6f);
    }
    test::expect_near(parts[2].positions.at(1), {1, 0, 6}, 1e-6f);
    test::expect_near(parts[3].positions.at(1), {3, 3, 0}, 1e-6f);
    EXPECT_EQ(parts[3].scalar_arrays[0].values, (std::vector{0.5f, 0.375f, 0.25f}));
    EXPECT_EQ(TangentCount(parts[3]), 3u); // one more than segments
    read("object\n z_up 1\n fit 4\n translate 1 0 0\n fur \"a.fur\"\nend\n");
    test::expect_near(Objects[1].parts.at(0).positions.at(1), {1, 0, 2}, 1e-6f);
    read("object\n rotate 180 1 2 3\n obj \"a.obj\"\nend\n"); // p to 2 a (a p) - p
    const std::vector<Vec3>& oblique = Objects[2].parts.at(0).positions;
    test::expect_near(7.0f * oblique.at(1), {-4, -1, 9}, 1e-5f);
    test::expect_near(7.0f * oblique.at(2), {-3, 8, 5}, 1e-5f);
    EXPECT_EQ(scene.take_report(), "");
    for (const char* step :
         {"scale 0", "fit -1", "scale 1 2", "rotate 9 0 0 0", "matrix 1", "radius 1 2"}) {
        read("object\n " + std::string(step) + "\n obj \"a.obj\"\nend\n");
        EXPECT_NE(scene.take_report().find("line 2: "), std::string::npos) << step;
        test::expect_near(Objects.back().parts.at(0).positions.at(1), {1, 1, 0}, 0.0f);
    }
}

TEST_F(SceneReader, TurnsTheSkyAboutItsZenith) {
    read("sky_light\nrotation 90\nend\n");
    InitializeSkyLight();
    const auto& m = SkyLight.to_sky.m; // east, which was along x, is where north was
    test::expect_near({m[0][0], m[0][1], m[0][2]}, {0, 1, 0}, 1e-6f);
    test::expect_near({m[1][0], m[1][1], m[1][2]}, {-1, 0, 0}, 1e-6f);
}

TEST_F(SceneReader, GivesTheMaterialOfAShaderToAllItsLayers) {
    read("shader\nsurface_shader\nend\nmaterial \"solid\"\nsurface_shader\nend\n"
         "surface_shader\nmaterial \"thin\"\nend\nend\n");
    const std::vector<SurfaceLayer>& layers = Shaders.at(0).layers;
    ASSERT_EQ(layers.size(), 3u);
    EXPECT_EQ(std::tuple(layers[0].material, layers[1].material, layers[2].material),
              std::tuple(Material::solid, Material::solid, Material::thin));
}

TEST_F(SceneReader, ReadsEachTextureOfAMeshAsWhatItIs) {
    read("object\nnormal_texture \"n\"\nuv_texture \"u\"\ntangent_texture \"t\"\n"
         "position_texture \"p\"\ntriangle_texture \"f\"\nparticle_texture \"d\"\nend\n");
    std::string missing;
    for (const char* name : {"p", "u", "n", "t", "f", "d"})
        missing += "error :( \timage - " + std::string(name) + "\tcannot be found\n" + test::kRule;
    EXPECT_EQ(scene.take_report(), missing);
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

TEST_F(SceneReader, EndsAFileWhereItsRecordsDoNotFitIntoMemory) {
    std::string text;
    for (int i = 0; i < 20000; ++i)
        text += "shader\nname \"" + std::to_string(i) + "\"\nend\n";
    read(text);
    EXPECT_EQ(Shaders.size(), 20001u); // with "undefined"
    scene.take_report();
    const test::FakeMachine full(24e9, 0.0);
    read("object\nname last\nend\n" + text);
    EXPECT_EQ(Objects.size(), 1u); // what takes little is read
    EXPECT_NE(scene.take_report().find("needs more memory than there is; it is read up to line"),
              std::string::npos);
}

} // namespace
} // namespace mh
