// The example scenes, once from their files and once built by exported calls alone: the pictures
// agree. The calls are derived from the records that the reader made.
// SPDX-License-Identifier: MIT
#include "frame/moonhare.h"
#include "geometry/objects.h"
#include "geometry/state.h"
#include "lights/state.h"
#include "math/at.h"
#include "math/packed_unit.h"
#include "output/state.h"
#include "run/state.h"
#include "scene/scene_reader.h"
#include "shading/state.h"
#include "support/expect.h"
#include "support/fresh_scene.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <tuple>

#include <gtest/gtest.h>

namespace mh {
namespace {

constexpr int kSize = 32, kFrames = 16;

// The records of a scene directory.
auto read_scene(const std::string& scene) {
    GeometrySearchPaths = {scene + "geometry", scene, ""};
    for (const char* folder : {"shader", "render", "light", "camera", "geometry"})
        ScanSceneFolder(scene + folder);
    return std::make_tuple(RendererSettings, Cameras, Shaders, Objects, PointLights, ParallelLights,
                           SkyLight, GeometryLight);
}

using Records = decltype(read_scene({}));

void call_renderer(const RendererSettingsRecord& settings) {
    mhSetRendererSample(settings.sample);
    mhSetRendererRayDepth(settings.ray_depth);
    mhSetRendererPhotonDepth(settings.photon_depth);
    mhSetRendererBounce(settings.bounce);
    mhSetRendererDistance(settings.distance);
    mhSetRendererResolution(settings.resolution);
    mhSetRendererRadius(settings.radius);
    mhSetRendererClamp(settings.clamp.x, settings.clamp.y, settings.clamp.z);
}

void call_camera(const Camera& record) {
    const int camera = mhAddCamera();
    mhSetCameraProjection(camera, static_cast<mhProjection>(record.projection));
    for (int i = 0; i < 2; ++i) {
        const CameraPose& pose = at(record.poses, i);
        mhSetCameraTime(camera, static_cast<float>(i));
        mhSetCameraPosition(camera, pose.position.x, pose.position.y, pose.position.z);
        mhSetCameraTarget(camera, pose.target.x, pose.target.y, pose.target.z);
        mhSetCameraUpVector(camera, pose.up_vector.x, pose.up_vector.y, pose.up_vector.z);
        mhSetCameraFOV(camera, pose.field_of_view);
    }
}

void call_layer(int shader, const SurfaceLayer& record) {
    const int layer = mhAddSurfaceShader(shader);
    mhSetSurfaceSideness(shader, layer, static_cast<mhSideness>(record.sideness));
    mhSetSurfaceMaterial(shader, layer, static_cast<mhMaterial>(record.material));
    mhSetSurfaceVirtualLight(shader, layer, record.virtual_light);
    for (int i = 0; i < kElementCount; ++i) {
        const ShaderElement& slot = at(record.elements, i);
        const auto element = static_cast<mhElement>(i);
        mhSetSurfaceColor(shader, layer, element, slot.color.x, slot.color.y, slot.color.z);
        if (slot.image.empty()) continue;
        mhSetSurfaceImage(shader, layer, element, slot.image.c_str(), slot.gamma, nullptr, nullptr);
    }
}

void call_shader(const Shader& record) {
    const int shader = mhAddShader();
    mhSetShaderName(shader, record.name.c_str());
    mhSetShaderVisibility(shader, static_cast<mhVisibility>(record.visibility));
    mhSetShaderSmoothAngle(shader, record.smooth_angle);
    for (const SurfaceLayer& layer : record.layers)
        call_layer(shader, layer);
    for (const ShaderElement& slot : record.displacement.vectors) {
        const int layer = mhAddDisplacementShader(shader);
        mhSetDisplacementVector(shader, layer, slot.color.x, slot.color.y, slot.color.z);
        mhSetDisplacementLevel(shader, layer, slot.level);
        mhSetDisplacementImage(shader, layer, slot.image.c_str(), slot.gamma, nullptr, nullptr);
    }
}

std::vector<float> floats_of(const std::vector<PackedUnit>& units) {
    std::vector<float> floats;
    for (const PackedUnit& unit : units)
        for (const std::int8_t component : {unit.x, unit.y, unit.z})
            floats.push_back(static_cast<float>(component));
    return floats;
}

template<typename Face>
void call_faces(int object, int part, const std::vector<Face>& faces,
                void (*add)(int, int, int, const int*)) {
    for (const Face& face : faces) {
        mhSetShaderID(object, part, static_cast<int>(face.shader));
        add(object, part, 1, reinterpret_cast<const int*>(face.vertex.data()));
    }
}

void call_part(int object, const Part& record) {
    const int part = mhAddPart(object);
    for (const Vec3& p : record.positions)
        mhAddPositions(object, part, 1, &p.x);
    mhAddNormals(object, part, static_cast<int>(record.normals.size()),
                 floats_of(record.normals).data());
    mhAddTangents(object, part, static_cast<int>(record.tangents.size()),
                  floats_of(record.tangents).data());
    for (const Vec2& uv : uvs(record))
        mhAddUVs(object, part, 1, &uv.x);
    mhAddRadii(object, part, static_cast<int>(radii(record).size()), radii(record).data());
    call_faces(object, part, record.triangles, mhAddTriangles);
    call_faces(object, part, record.tetragons, mhAddTetragons);
    mhAddCylinders(object, part, static_cast<int>(record.cylinders.size()),
                   reinterpret_cast<const int*>(record.cylinders.data()));
    mhSetShaderID(object, part, static_cast<int>(record.shader_id));
}

int index_of(const std::vector<Object>& objects, const std::string& name) {
    for (std::size_t i = 0; i < objects.size(); ++i)
        if (objects[i].name == name) return static_cast<int>(i);
    return -1;
}

// A part that names no shader takes its object's, which has no call: the caller gives it.
void call_objects(std::vector<Object> objects) {
    for (Object& record : objects) {
        const int object = mhAddObject();
        mhSetObjectName(object, record.name.c_str());
        for (Part& part : record.parts) {
            if (part.shader_id == 0) part.shader_id = record.default_shader;
            call_part(object, part);
        }
    }
    for (std::size_t i = 0; i < objects.size(); ++i) {
        for (Instance& record : objects[i].instances) {
            const int object = static_cast<int>(i), instance = mhAddInstance(object);
            mhSetInstance(object, instance, index_of(objects, record.object_name), record.matrix.m);
        }
    }
}

void call_point_light(const PointLight& record) {
    const int light = mhAddPointLight();
    mhSetPointLightColor(light, record.color.x, record.color.y, record.color.z);
    mhSetPointLightPosition(light, record.position.x, record.position.y, record.position.z);
    mhSetPointLightDirection(light, record.direction.x, record.direction.y, record.direction.z);
    mhSetPointLightBlur(light, record.blur);
    mhSetPointLightOffset(light, record.offset);
    mhSetPointLightInnerAngle(light, record.inner_angle);
    mhSetPointLightOuterAngle(light, record.outer_angle);
    mhSetPointLightSample(light, record.sample);
    mhSetPointLightPhoton(light, static_cast<int>(record.photons));
}

void call_parallel_light(const ParallelLight& record) {
    const int light = mhAddParallelLight();
    mhSetParallelLightColor(light, record.color.x, record.color.y, record.color.z);
    mhSetParallelLightDirection(light, record.axis.x, record.axis.y, record.axis.z);
    mhSetParallelLightBlur(light, record.blur);
    mhSetParallelLightOffset(light, record.offset);
    mhSetParallelLightSample(light, record.sample);
    mhSetParallelLightPhoton(light, static_cast<int>(record.photons));
}

void call_sky(const SkyLightRecord& sky) {
    mhSetSkyLightImage(sky.image.path.c_str());
    mhSetSkyLightBackdrop(sky.backdrop.path.c_str());
    mhSetSkyLightColor(sky.color.x, sky.color.y, sky.color.z);
    mhSetSkyLightNorth(sky.north.x, sky.north.y, sky.north.z);
    mhSetSkyLightZenith(sky.zenith.x, sky.zenith.y, sky.zenith.z);
    mhSetSkyLightSample(sky.sample);
}

void call_scene(const Records& records) {
    const auto& [settings, cameras, shaders, objects, point_lights, parallel_lights, sky, lamps] =
        records;
    call_renderer(settings);
    std::ranges::for_each(cameras, call_camera);
    std::for_each(shaders.begin() + 1, shaders.end(), call_shader);
    call_objects(objects);
    std::ranges::for_each(point_lights, call_point_light);
    std::ranges::for_each(parallel_lights, call_parallel_light);
    call_sky(sky);
    mhSetGeometryLightSample(lamps.sample);
}

// The mean of a few small frames from this one on, and the end of the scene. Images stand in the
// scene's folder.
std::vector<float> small_picture(const std::string& scene, int first) {
    ImageSearchPaths = {scene + "image", scene, ""};
    mhSetCameraResolution(0, kSize, kSize);
    mhSetCameraSample(0, kFrames);
    mhSetRendererClamp(1, 1, 1); // the edge of a lamp is noisy
    mhSetSkyLightPhoton(200000);
    mhSetGeometryLightPhoton(200000);
    mhInitialize();
    std::vector<float> frame(3 * kSize * kSize), sum(3 * kSize * kSize);
    for (int i = 0; i < kFrames; ++i) {
        mhRenderPixels(kSize * kSize, frame.data(), first + i);
        for (std::size_t k = 0; k < sum.size(); ++k)
            sum[k] += frame[k] / kFrames;
    }
    mhFinalize();
    mhShutdown();
    return sum;
}

// Means over squares of 8 by 8 pixels, all channels together.
std::vector<float> block_means(const std::vector<float>& picture) {
    constexpr std::size_t kBlock = 8, kBlocks = kSize / kBlock;
    std::vector<float> means(kBlocks * kBlocks);
    for (std::size_t i = 0; i < picture.size(); ++i) {
        const std::size_t x = i / 3 % kSize, y = i / 3 / kSize;
        means[y / kBlock * kBlocks + x / kBlock] += picture[i] / (3 * kBlock * kBlock);
    }
    return means;
}

struct Examples : testing::TestWithParam<const char*> {};

TEST_P(Examples, LookTheSameFromFilesAndFromCalls) {
    const std::string scene = std::string(MOONHARE_SOURCE_DIR "/examples/") + GetParam() + "/";
    const test::TemporaryFolder folder;
    std::vector<float> from_files, from_calls;
    const std::string report = test::printed_by([&] {
        mhStartup();
        const Records records = read_scene(scene);
        from_files = block_means(small_picture(scene, 0));
        mhStartup();
        call_scene(records);
        from_calls = block_means(small_picture(scene, kFrames)); // the same points again
    });

    // Noise of a block: 1024 samples of a picture whose samples differ by about their mean.
    for (std::size_t i = 0; i < from_files.size(); ++i)
        EXPECT_NEAR(from_calls[i], from_files[i], 0.02f + 0.1f * from_files[i]) << "block " << i;
    EXPECT_EQ(report.find("error :("), std::string::npos) << report;
}

INSTANTIATE_TEST_SUITE_P(All, Examples,
                         testing::Values("cornell", "still_life", "instances", "sky", "hair",
                                         "displacement"));

} // namespace
} // namespace mh
