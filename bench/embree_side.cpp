// The same scenes and rays through Embree's single-ray calls.
// SPDX-License-Identifier: MIT
#include "embree_side.h"

#include "accel/hair_curve.h"
#include "geometry/objects.h"
#include "math/clock.h"
#include "math/constants.h"

#include <algorithm>
#include <cstring>

#include <embree3/rtcore.h>

namespace mh::bench {

namespace {

RTCGeometry triangle_geometry(RTCDevice device, const Mesh& mesh, RTCBuildQuality quality) {
    RTCGeometry geometry = rtcNewGeometry(device, RTC_GEOMETRY_TYPE_TRIANGLE);
    rtcSetGeometryBuildQuality(geometry, quality);
    void* positions =
        rtcSetNewGeometryBuffer(geometry, RTC_BUFFER_TYPE_VERTEX, 0, RTC_FORMAT_FLOAT3,
                                sizeof(Vec3), mesh.positions.size());
    std::memcpy(positions, mesh.positions.data(), mesh.positions.size() * sizeof(Vec3));
    void* indices = rtcSetNewGeometryBuffer(geometry, RTC_BUFFER_TYPE_INDEX, 0, RTC_FORMAT_UINT3,
                                            sizeof mesh.triangles[0], mesh.triangles.size());
    std::memcpy(indices, mesh.triangles.data(), mesh.triangles.size() * sizeof mesh.triangles[0]);
    rtcCommitGeometry(geometry);
    return geometry;
}

RTCScene scene_of(RTCDevice device, RTCGeometry geometry, RTCBuildQuality quality) {
    RTCScene scene = rtcNewScene(device);
    rtcSetSceneBuildQuality(scene, quality);
    rtcAttachGeometry(scene, geometry);
    rtcReleaseGeometry(geometry);
    rtcCommitScene(scene);
    return scene;
}

RTCScene instance_scene(RTCDevice device, RTCScene base, const std::vector<Mat4>& matrices,
                        RTCBuildQuality quality) {
    RTCScene scene = rtcNewScene(device);
    rtcSetSceneBuildQuality(scene, quality);
    for (const Mat4& m : matrices) {
        RTCGeometry instance = rtcNewGeometry(device, RTC_GEOMETRY_TYPE_INSTANCE);
        rtcSetGeometryInstancedScene(instance, base);
        rtcSetGeometryTransform(instance, 0, RTC_FORMAT_FLOAT3X4_ROW_MAJOR, &m.m[0][0]);
        rtcCommitGeometry(instance);
        rtcAttachGeometry(scene, instance);
        rtcReleaseGeometry(instance);
    }
    rtcCommitScene(scene);
    return scene;
}

EmbreeScene make_scene(const Scene& scene, const std::string& isa, RTCBuildQuality quality,
                       int threads = 1) {
    EmbreeScene result;
    result.name = (quality == RTC_BUILD_QUALITY_HIGH ? "high " : "medium ") + isa;
    RTCDevice device =
        rtcNewDevice(("threads=" + std::to_string(threads) + ",set_affinity=0,isa=" + isa).c_str());
    result.device = device;
    const std::int64_t start = microseconds_now();
    RTCScene top = scene_of(device, triangle_geometry(device, scene.mesh, quality), quality);
    if (!scene.instances.empty()) {
        result.base = top;
        top = instance_scene(device, top, scene.instances, quality);
    }
    result.top = top;
    result.build_seconds = static_cast<double>(seconds_since(start));
    return result;
}

} // namespace

std::vector<EmbreeScene> MakeEmbreeScenes(const Scene& scene) {
    std::vector<EmbreeScene> scenes;
    for (const RTCBuildQuality quality : {RTC_BUILD_QUALITY_MEDIUM, RTC_BUILD_QUALITY_HIGH}) {
        scenes.push_back(make_scene(scene, "avx2", quality));
        if (__builtin_cpu_supports("avx512f"))
            scenes.push_back(make_scene(scene, "avx512", quality));
    }
    return scenes;
}

EmbreeScene MakeEmbreeMesh(const Scene& scene, int threads) {
    return make_scene(scene, "avx2", RTC_BUILD_QUALITY_MEDIUM, threads);
}

EmbreeScene MakeEmbreeHair(const Part& part) {
    RTCDevice device = rtcNewDevice("threads=1,set_affinity=0");
    RTCGeometry curves = rtcNewGeometry(device, RTC_GEOMETRY_TYPE_FLAT_BEZIER_CURVE);
    const std::size_t count = part.cylinders.size();
    auto* points = static_cast<float*>(rtcSetNewGeometryBuffer(
        curves, RTC_BUFFER_TYPE_VERTEX, 0, RTC_FORMAT_FLOAT4, 4 * sizeof(float), 4 * count));
    auto* first = static_cast<std::uint32_t*>(rtcSetNewGeometryBuffer(
        curves, RTC_BUFFER_TYPE_INDEX, 0, RTC_FORMAT_UINT, sizeof(std::uint32_t), count));
    for (std::size_t i = 0; i < count; ++i) {
        const std::uint32_t v = part.cylinders[i];
        const Vec3 p0 = part.positions[v], p1 = part.positions[v + 1];
        const Vec3 t0 = unpack_unit(part.tangents[v]), t1 = unpack_unit(part.tangents[v + 1]);
        first[i] = static_cast<std::uint32_t>(4 * i);
        for (const Vec3& p : {p0, p0 + (1.0f / 3.0f) * t0, p1 - (1.0f / 3.0f) * t1, p1}) {
            const float values[] = {p.x, p.y, p.z, radii(part)[v]};
            points = std::copy(values, values + 4, points);
        }
    }
    rtcSetGeometryTessellationRate(curves, kHairPieces);
    rtcCommitGeometry(curves);
    EmbreeScene result;
    result.device = device;
    result.top = scene_of(device, curves, RTC_BUILD_QUALITY_MEDIUM);
    return result;
}

void FreeEmbreeScene(EmbreeScene& scene) {
    rtcReleaseScene(static_cast<RTCScene>(scene.top));
    if (scene.base != nullptr) rtcReleaseScene(static_cast<RTCScene>(scene.base));
    rtcReleaseDevice(static_cast<RTCDevice>(scene.device));
}

float embree_closest(const EmbreeScene& scene, const BenchRay& ray) {
    RTCRayHit query;
    query.ray = {ray.origin.x,
                 ray.origin.y,
                 ray.origin.z,
                 0.0f,
                 ray.direction.x,
                 ray.direction.y,
                 ray.direction.z,
                 0.0f,
                 kFar,
                 0xFFFFFFFFu,
                 0,
                 0};
    query.hit.geomID = RTC_INVALID_GEOMETRY_ID;
    query.hit.instID[0] = RTC_INVALID_GEOMETRY_ID;
    RTCIntersectContext context;
    rtcInitIntersectContext(&context);
    rtcIntersect1(static_cast<RTCScene>(scene.top), &context, &query);
    return query.hit.geomID == RTC_INVALID_GEOMETRY_ID ? kFar : query.ray.tfar;
}

bool embree_occluded(const EmbreeScene& scene, const BenchRay& ray) {
    RTCRay query = {ray.origin.x,
                    ray.origin.y,
                    ray.origin.z,
                    0.0f,
                    ray.direction.x,
                    ray.direction.y,
                    ray.direction.z,
                    0.0f,
                    ray.distance,
                    0xFFFFFFFFu,
                    0,
                    0};
    RTCIntersectContext context;
    rtcInitIntersectContext(&context);
    rtcOccluded1(static_cast<RTCScene>(scene.top), &context, &query);
    return query.tfar < 0.0f;
}

} // namespace mh::bench
