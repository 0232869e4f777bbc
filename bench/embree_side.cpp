// The same scenes and rays through Embree's single-ray calls.
// SPDX-License-Identifier: MIT
#include "embree_side.h"

#include "accel/hair_curve.h"
#include "geometry/objects.h"
#include "math/clock.h"
#include "math/constants.h"
#include "turns.h"

#include <array>
#include <cstring>

#include <embree3/rtcore.h>

namespace mh::bench {

namespace {

bool count_memory(void* counter, ssize_t bytes, bool) {
    auto& memory = *static_cast<EmbreeMemory*>(counter);
    const std::int64_t now = memory.bytes += bytes;
    std::int64_t peak = memory.peak_bytes;
    while (now > peak && !memory.peak_bytes.compare_exchange_weak(peak, now)) {
    }
    return true;
}

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

RTCScene scene_of(RTCDevice device, RTCGeometry geometry, RTCBuildQuality quality,
                  RTCSceneFlags flags = RTC_SCENE_FLAG_NONE) {
    RTCScene scene = rtcNewScene(device);
    rtcSetSceneFlags(scene, flags);
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

EmbreeScene scene_with_device(const std::string& isa, RTCBuildQuality quality, int threads = 1) {
    EmbreeScene result;
    result.name = (quality == RTC_BUILD_QUALITY_HIGH ? "high " : "medium ") + isa;
    result.device =
        rtcNewDevice(("threads=" + std::to_string(threads) + ",set_affinity=0,isa=" + isa).c_str());
    result.memory = std::make_shared<EmbreeMemory>();
    rtcSetDeviceMemoryMonitorFunction(static_cast<RTCDevice>(result.device), count_memory,
                                      result.memory.get());
    return result;
}

EmbreeScene make_scene(const Scene& scene, const std::string& isa, RTCBuildQuality quality,
                       int threads = 1) {
    EmbreeScene result = scene_with_device(isa, quality, threads);
    const auto device = static_cast<RTCDevice>(result.device);
    const std::int64_t start = microseconds_now();
    const double processor_start = seconds(CLOCK_PROCESS_CPUTIME_ID);
    RTCGeometry geometry = triangle_geometry(device, scene.mesh, quality);
    result.mesh_bytes = result.memory->bytes;
    RTCScene top = scene_of(device, geometry, quality);
    if (!scene.instances.empty()) {
        result.base = top;
        top = instance_scene(device, top, scene.instances, quality);
    }
    result.top = top;
    result.build_seconds = static_cast<double>(seconds_since(start));
    result.build_processor_seconds = seconds(CLOCK_PROCESS_CPUTIME_ID) - processor_start;
    return result;
}

// Calls make(isa, quality) for medium and high quality, with AVX2 and with AVX-512 where it is
// there.
template<typename Make>
std::vector<EmbreeScene> every_way(Make make) {
    std::vector<EmbreeScene> scenes;
    for (const RTCBuildQuality quality : {RTC_BUILD_QUALITY_MEDIUM, RTC_BUILD_QUALITY_HIGH}) {
        scenes.push_back(make("avx2", quality));
        if (__builtin_cpu_supports("avx512f")) scenes.push_back(make("avx512", quality));
    }
    return scenes;
}

HairSegment segment_at(const Part& part, std::uint32_t v) {
    return {part.positions[v], part.positions[v + 1], unpack_unit(part.tangents[v]),
            unpack_unit(part.tangents[v + 1])};
}

// Segments that our walks can hit: those without any tangent are never hit.
std::vector<std::uint32_t> drawn_segments(const Part& part) {
    std::vector<std::uint32_t> drawn;
    for (const std::uint32_t v : part.cylinders) {
        const HairSegment s = segment_at(part, v);
        if (s.t0 != Vec3{} || s.t1 != Vec3{}) drawn.push_back(v);
    }
    return drawn;
}

// Points with radii, and the first point of each curve.
RTCGeometry curve_geometry(RTCDevice device, RTCGeometryType type,
                           const std::vector<std::array<float, 4>>& points,
                           const std::vector<std::uint32_t>& first) {
    RTCGeometry geometry = rtcNewGeometry(device, type);
    void* vertices = rtcSetNewGeometryBuffer(geometry, RTC_BUFFER_TYPE_VERTEX, 0, RTC_FORMAT_FLOAT4,
                                             sizeof points[0], points.size());
    std::memcpy(vertices, points.data(), points.size() * sizeof points[0]);
    void* indices = rtcSetNewGeometryBuffer(geometry, RTC_BUFFER_TYPE_INDEX, 0, RTC_FORMAT_UINT,
                                            sizeof first[0], first.size());
    std::memcpy(indices, first.data(), first.size() * sizeof first[0]);
    return geometry;
}

// The curves themselves, flat, cut into as many pieces as ours.
RTCGeometry flat_curves(RTCDevice device, const Part& part) {
    std::vector<std::array<float, 4>> points;
    std::vector<std::uint32_t> first;
    for (const std::uint32_t v : drawn_segments(part)) {
        const HairSegment s = segment_at(part, v);
        const float radius = radii(part)[v];
        first.push_back(static_cast<std::uint32_t>(points.size()));
        for (const Vec3& p : {s.p0, s.p0 + (1.0f / 3.0f) * s.t0, s.p1 - (1.0f / 3.0f) * s.t1, s.p1})
            points.push_back({p.x, p.y, p.z, radius});
    }
    RTCGeometry geometry =
        curve_geometry(device, RTC_GEOMETRY_TYPE_FLAT_BEZIER_CURVE, points, first);
    rtcSetGeometryTessellationRate(geometry, kHairPieces);
    return geometry;
}

// The pieces of the curves as round cylinders.
RTCGeometry round_lines(RTCDevice device, const Part& part) {
    std::vector<std::array<float, 4>> points;
    std::vector<std::uint32_t> first;
    for (const std::uint32_t v : drawn_segments(part)) {
        const float radius = radii(part)[v];
        for (int k = 0; k < kHairPieces; ++k)
            first.push_back(static_cast<std::uint32_t>(points.size()) + static_cast<unsigned>(k));
        for (const Vec3& p : hair_samples(segment_at(part, v)))
            points.push_back({p.x, p.y, p.z, radius});
    }
    return curve_geometry(device, RTC_GEOMETRY_TYPE_ROUND_LINEAR_CURVE, points, first);
}

} // namespace

std::vector<EmbreeScene> MakeEmbreeScenes(const Scene& scene) {
    return every_way(
        [&](const char* isa, RTCBuildQuality quality) { return make_scene(scene, isa, quality); });
}

EmbreeScene MakeRobustEmbreeScene(const Scene& scene) {
    EmbreeScene result = scene_with_device("avx2", RTC_BUILD_QUALITY_MEDIUM);
    const auto device = static_cast<RTCDevice>(result.device);
    RTCGeometry geometry = triangle_geometry(device, scene.mesh, RTC_BUILD_QUALITY_MEDIUM);
    result.top = scene_of(device, geometry, RTC_BUILD_QUALITY_MEDIUM, RTC_SCENE_FLAG_ROBUST);
    return result;
}

EmbreeScene MakeEmbreeMesh(const Scene& scene, int threads) {
    return make_scene(scene, "avx2", RTC_BUILD_QUALITY_MEDIUM, threads);
}

std::vector<EmbreeScene> MakeEmbreeHair(const Part& part, bool round) {
    return every_way([&](const char* isa, RTCBuildQuality quality) {
        EmbreeScene result = scene_with_device(isa, quality);
        result.name = (round ? "round lines, " : "flat curves, ") + result.name;
        const auto device = static_cast<RTCDevice>(result.device);
        RTCGeometry geometry = round ? round_lines(device, part) : flat_curves(device, part);
        rtcSetGeometryBuildQuality(geometry, quality);
        rtcCommitGeometry(geometry);
        result.top = scene_of(device, geometry, quality);
        return result;
    });
}

void FreeEmbreeScene(EmbreeScene& scene) {
    rtcReleaseScene(static_cast<RTCScene>(scene.top));
    if (scene.base != nullptr) rtcReleaseScene(static_cast<RTCScene>(scene.base));
    rtcReleaseDevice(static_cast<RTCDevice>(scene.device));
}

static RTCRay rtc_ray(const Vec3& origin, const Vec3& direction, float limit) {
    return {origin.x,    origin.y, origin.z, 0.0f,        direction.x, direction.y,
            direction.z, 0.0f,     limit,    0xFFFFFFFFu, 0,           0};
}

float embree_closest(const EmbreeScene& scene, const BenchRay& ray) {
    RTCRayHit query;
    query.ray = rtc_ray(ray.origin, ray.direction, kFar);
    query.hit.geomID = RTC_INVALID_GEOMETRY_ID;
    query.hit.instID[0] = RTC_INVALID_GEOMETRY_ID;
    RTCIntersectContext context;
    rtcInitIntersectContext(&context);
    rtcIntersect1(static_cast<RTCScene>(scene.top), &context, &query);
    return query.hit.geomID == RTC_INVALID_GEOMETRY_ID ? kFar : query.ray.tfar;
}

bool embree_occluded(const EmbreeScene& scene, const BenchRay& ray) {
    RTCRay query = rtc_ray(ray.origin, ray.direction, ray.distance);
    RTCIntersectContext context;
    rtcInitIntersectContext(&context);
    rtcOccluded1(static_cast<RTCScene>(scene.top), &context, &query);
    return query.tfar < 0.0f;
}

} // namespace mh::bench
