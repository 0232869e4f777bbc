// The exported functions in one process: what they store, and what they answer to bad input.
// SPDX-License-Identifier: MIT
#include "frame/moonhare.h"
#include "geometry/objects.h"
#include "geometry/state.h"
#include "integrate/state.h"
#include "lights/state.h"
#include "output/state.h"
#include "run/report.h"
#include "run/state.h"
#include "shading/state.h"
#include "support/fresh_scene.h"

#include <functional>
#include <limits>

#include <gtest/gtest.h>
#include <malloc.h>

namespace mh {
namespace {

// A started library; its report is captured, its files go to a folder that vanishes.
struct Exports : testing::Test {
    test::TemporaryFolder folder;
    test::CapturedOutput report;

    Exports() {
        mhStartup();
        mhSetSkyLightPhoton(0);
        mhSetGeometryLightPhoton(0);
    }

    ~Exports() override {
        mhFinalize();
        mhShutdown();
    }

    int add_camera(int width, int height) {
        const int camera = mhAddCamera();
        mhSetCameraResolution(camera, width, height);
        for (const float time : {0.0f, 1.0f}) {
            mhSetCameraTime(camera, time);
            mhSetCameraPosition(camera, 0, 0, 4);
            mhSetCameraUpVector(camera, 0, 1, 0);
            mhSetCameraFOV(camera, 40);
        }
        return camera;
    }

    // Number of error lines since the last call.
    int errors() {
        const std::string text = report.take();
        int count = 0;
        for (std::size_t at = 0; (at = text.find("error :( \t", at)) != text.npos; ++at)
            ++count;
        return count;
    }
};

// Cameras take a channel, lights add theirs to the one that they have.
TEST_F(Exports, StoreChannelsNamesAndMatrices) {
    const float matrix[4][4] = {{2, 0, 0, 0}, {0, 2, 0, 0}, {0, 0, 2, 0}, {0, 0, 0, 1}};
    mhAddCamera();
    mhAddPointLight();
    EXPECT_EQ(mhAddCameraAOV(0), 1);
    EXPECT_EQ(mhAddPointLightAOV(0), 0);
    mhSetCameraAOVChannel(0, 1, mhChannelLambertian);
    mhSetPointLightAOVChannel(0, 0, mhChannelLambertian);
    EXPECT_EQ(Cameras[0].aovs[1].channel, 4u);
    EXPECT_EQ(PointLights[0].aov_list[0].channel, 5u);

    mhSetCameraName(0, "camera");
    mhSetCameraAOVName(0, 1, "file");
    mhSetCameraAOVUserData(0, 1, "wind");
    mhSetGeometryLightAOVShaderName(mhAddGeometryLightAOV(), "lamp");
    const Aov& aov = Cameras[0].aovs[1];
    EXPECT_EQ(Cameras[0].name + aov.image.path + aov.user_data, "camerafilewind");
    EXPECT_EQ(GeometryLight.aov_list[0].shader_name, "lamp");

    const int shader = mhAddShader(), layer = mhAddSurfaceShader(shader);
    mhSetSurfaceImage(shader, layer, mhElementGlossy, "a.png", 2.2f, matrix, nullptr);
    const ShaderElement& slot = Shaders[1].layers[0].elements[2];
    EXPECT_EQ(slot.color_matrix.m[1][1], 2.0f);
    EXPECT_TRUE(slot.color_matrix_identity && slot.uv_matrix_identity); // matrices stay off
    EXPECT_EQ(Textures.at(0).path, "a.png");
}

// What the examples do not append, and what none of them appends.
TEST_F(Exports, AppendVertexDataAndFacesThatAreFarAway) {
    const float values[] = {3, 0, 0, -2, 0, 0};
    const int indices[] = {0, 1, 1000000};
    mhAddPart(mhAddObject());
    mhAddNormals(0, 0, 2, values);
    mhAddTriangles(0, 0, 1, indices);
    mhAddParticles(0, 0, 2, indices);
    mhAddVertexData(0, 0, "motion", 1, 3, values);
    mhAddVertexData(0, 0, "wind", 3, 1, values);
    mhAddVertexData(0, 0, "none", 0, 2, values);
    const Part& part = Objects[0].parts[0];
    EXPECT_EQ(part.normals, (std::vector<PackedUnit>{{127, 0, 0}, {-127, 0, 0}}));
    EXPECT_EQ(part.triangles[0].vertex[2], 1000000u);
    EXPECT_EQ(part.particles, (std::vector<std::uint32_t>{0, 1}));
    EXPECT_EQ(part.vec3_arrays.back().values, (std::vector<Vec3>{{3, 0, 0}}));
    EXPECT_EQ(part.scalar_arrays.back().values, (std::vector<float>{3, 0, 0}));
    EXPECT_EQ(part.vec2_arrays.size(), 1u);
    EXPECT_EQ(errors(), 0);
}

TEST_F(Exports, ReachTheSkyWithTheNameOfTheGeometryLightAndKeepTheChosenMode) {
    mhSetSkyLightColor(1, 2, 3);
    mhSetGeometryLightSample(5);
    mhFinalizeGeometryLight();
    EXPECT_EQ(SkyLight.color, (Vec3{0.75f, 0.75f, 0.75f}));
    EXPECT_EQ(GeometryLight.sample, 5);
    mhSetRendererDistance(0);
    mhSetRendererRadius(3);
    mhFinalizeRenderer();
    EXPECT_EQ(RendererSettings.distance, 0.0f);
    EXPECT_EQ(RendererSettings.radius, 1.0f);
    mhInitializeGeometryLight();
    mhInitializeSkyLight();
    EXPECT_EQ(errors(), 0);
}

TEST_F(Exports, HandOutTheKeptReportInPieces) {
    mhKeepReport(true);
    ReportText("first, then second");
    char text[16] = "0123456789abcde";
    EXPECT_EQ(mhTakeReport(5, text), 5);
    EXPECT_EQ(std::string(text), "first56789abcde");
    EXPECT_EQ(mhTakeReport(7, text), 7);
    EXPECT_EQ(std::string(text), ", then 789abcde");
    EXPECT_EQ(mhTakeReport(15, text), 7); // with the end of the line
    EXPECT_EQ(mhTakeReport(15, text), 0);
    mhKeepReport(false);
}

TEST_F(Exports, HandOutFramesWhoseMeanIsTheBeautyImage) {
    const int camera = add_camera(5, 4);
    mhSetCameraRegion(camera, 1, 1, 4, 3);
    mhSetCameraSample(camera, 2);
    mhInitialize();
    float first[18], second[19] = {};
    mhRenderPixels(6, first, 0);
    mhRenderPixels(1000, second, 1); // no more than the region has
    const std::vector<float>& beauty = Cameras[0].aovs[0].image.floats;
    for (std::size_t y = 0; y < 2; ++y)
        for (std::size_t x = 0; x < 9; ++x)
            EXPECT_NEAR(beauty[15 * (y + 1) + 3 + x], (first[9 * y + x] + second[9 * y + x]) / 2,
                        1e-6f);
    EXPECT_EQ(second[18], 0.0f);
    EXPECT_EQ(beauty[0], 0.0f);
    EXPECT_EQ(errors(), 1); // there is no object
}

// Heap in use after each of many whole runs, in bytes; the sanitizers' heaps answer 0.
TEST_F(Exports, HundredRunsLeaveNoMemoryBehind) {
    mhFinalize();
    mhShutdown();
    std::size_t after_first_runs = 0;
    for (int run = 0; run < 100; ++run) {
        mhGo(MOONHARE_SOURCE_DIR "/tests/frame/transcripts/triangle/");
        report.take();
        if (run == 10) after_first_runs = mallinfo2().uordblks;
    }
    constexpr std::size_t kNoise = 16384; // what the runtimes keep
    EXPECT_LT(mallinfo2().uordblks, after_first_runs + kNoise);
    mhStartup();
}

// Hosts that forget mhFinalize, or call it too late, get one line and a working library.
TEST_F(Exports, ShutDownFinalisesWhatAHostHasLeft) {
    for (const bool late : {false, true}) {
        add_camera(2, 2);
        mhAddPart(mhAddObject());
        mhInitialize();
        mhRender();
        report.take();
        mhShutdown();
        if (late) mhFinalize();
        const std::string lines = report.take();
        EXPECT_EQ(lines.find("error :( \tmhShutdown - the scene was not finalised"),
                  lines.find("error"));
        EXPECT_EQ(lines.rfind("error"), lines.find("error"));
        EXPECT_TRUE(Cameras.empty() && Objects.empty());
        mhStartup();
        EXPECT_EQ(mhAddObject(), 0);
        EXPECT_EQ(errors(), 0);
        mhFinalize();
        mhShutdown();
        EXPECT_EQ(errors(), 0);
        mhStartup();
        mhSetSkyLightPhoton(0);
        mhSetGeometryLightPhoton(0);
    }
}

TEST_F(Exports, SettingsOutsideTheirRangeAreLimitedWhenTheRendererStartsAgain) {
    const float corners[] = {-2, -2, 0, 2, -2, 0, 2, 2, 0};
    const int triangle[] = {0, 1, 2};
    add_camera(2, 2);
    mhAddPart(mhAddObject());
    mhAddPositions(0, 0, 3, corners);
    mhAddTriangles(0, 0, 1, triangle);
    mhSetRendererResolution(0);
    mhInitialize();
    EXPECT_TRUE(IntegrateState.density_grids[0].cells.empty());
    mhSetRendererClamp(-1, 2, 3);
    mhSetRendererRayDepth(0);
    mhSetRendererPhotonDepth(-7);
    mhSetRendererBounce(-1);
    mhSetRendererResolution(1);
    mhInitializeRenderer();
    EXPECT_EQ(RendererSettings.clamp, (Vec3{0, 2, 3}));
    EXPECT_EQ(RendererSettings.ray_depth, 1);
    EXPECT_EQ(RendererSettings.photon_depth, 1);
    EXPECT_EQ(RendererSettings.bounce, 1);
    EXPECT_EQ(IntegrateState.density_grids[0].cells.size(), 9u); // an area of 8 in cells below 1
}

TEST_F(Exports, RunAfterASceneThatWasFinalisedPhaseByPhase) {
    add_camera(2, 2);
    mhInitialize();
    mhRender();
    for (const auto finalize :
         {mhFinalizeRenderer, mhFinalizeGaffer, mhFinalizeSkyLight, mhFinalizeAccelerator,
          mhFinalizeCameras, mhFinalizeShaders, mhShutdown})
        finalize();
    report.take();
    mhGo(MOONHARE_SOURCE_DIR "/tests/frame/transcripts/triangle/");
    EXPECT_EQ(errors(), 0);
    mhStartup();
}

// Every sort of bad input, with the call that each line has to name.
TEST_F(Exports, RefuseBadInputWithOneLineForEachCallAndKind) {
    const float values[3] = {};
    const int indices[4] = {};
    mhAddCamera();
    mhAddPart(mhAddObject());
    mhAddSurfaceShader(mhAddShader());

    const std::pair<std::string, std::function<void()>> cases[] = {
        {"mhSetCameraName - the text is a null pointer", [] { mhSetCameraName(0, nullptr); }},
        {"mhSetCameraAOVName - there is no AOV 1", [] { mhSetCameraAOVName(0, 1, "x"); }},
        {"mhSetCameraProjection - projection is 2", [] { mhSetCameraProjection(0, 2); }},
        {"mhAddPart - there is no object 7", [] { EXPECT_EQ(mhAddPart(7), -1); }},
        {"mhAddPositions - there is no part 3", [&] { mhAddPositions(0, 3, 1, values); }},
        {"mhAddPositions - count is -5", [&] { mhAddPositions(0, 0, -5, values); }},
        {"mhAddTriangles - count is -2147483648",
         [&] { mhAddTriangles(0, 0, std::numeric_limits<int>::min(), indices); }},
        {"mhAddVertexData - components is 4", [&] { mhAddVertexData(0, 0, "x", 1, 4, values); }},
        {"mhSetShaderID - there is no shader 2", [] { mhSetShaderID(0, 0, 2); }},
        {"mhSetInstance - there is no object 9", [] { mhSetInstance(0, 0, 9, nullptr); }},
        {"mhSetSurfaceColor - element is 16", [] { mhSetSurfaceColor(1, 0, 16, 1, 1, 1); }},
        {"mhSetSurfaceColor - there is no layer 1", [] { mhSetSurfaceColor(1, 1, 0, 1, 1, 1); }},
        {"mhSetShaderVisibility - visibility is 255", [] { mhSetShaderVisibility(1, 255); }},
        {"mhSetSkyLightShaderLink - there is no shader -3", [] { mhSetSkyLightShaderLink(-3); }},
        {"mhRender - must come after mhInitialize", [] { mhRender(); }},
        {"mhGo - the directory is a null pointer", [] { mhGo(nullptr); }},
        {"mhStartup - has run already", [] { mhStartup(); }},
    };

    errors();
    for (const auto& [call, make] : cases) {
        make();
        make();
        const std::string told = report.take();
        const std::size_t at = told.find("error :( \t" + call);
        EXPECT_NE(at, std::string::npos) << told;
        EXPECT_EQ(told.rfind("error :( \t"), at) << told; // once
    }
    EXPECT_EQ(Cameras[0].poses[0].field_of_view, CameraPose().field_of_view);
    EXPECT_TRUE(Objects[0].parts[0].positions.empty() && Objects[0].parts[0].triangles.empty());
}

TEST_F(Exports, KeepTheOrderOfCalls) {
    add_camera(4, 4);
    mhAddObject();
    mhInitialize();
    errors();
    mhInitialize();
    mhInitializeAccelerator();
    EXPECT_EQ(mhAddObject(), -1);
    EXPECT_EQ(mhAddCameraAOV(0), -1);
    mhSetCameraResolution(0, 4096, 4096);
    EXPECT_EQ(errors(), 5);
    mhSetCameraRegion(0, -3, 2, 900, 900); // between frames: cut to the image
    mhSetCameraSample(0, 0);
    mhRender();
    EXPECT_EQ(errors(), 0);
    mhRender();
    mhInitializeRenderer();
    mhFinalizeShaders();
    mhRenderPixels(0, nullptr, 0);
    EXPECT_EQ(errors(), 3);
    mhFinalize();
    EXPECT_EQ(mhAddObject(), -1);
    mhStartup();
    EXPECT_EQ(mhAddObject(), 0);
    mhInitialize();
    EXPECT_EQ(errors(), 0); // mhAddObject was told off already
}

} // namespace
} // namespace mh
