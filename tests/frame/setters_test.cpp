// Every exported setter: the numbers and texts that it is given stand in the field it is named after.
// SPDX-License-Identifier: MIT
#include "frame/moonhare.h"
#include "frame/types.h"
#include "geometry/types.h"
#include "lights/types.h"
#include "output/types.h"
#include "shading/types.h"
#include "support/expect.h"

#include <array>
#include <source_location>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace mh {
namespace {

using Numbers = std::vector<double>;

void append(Numbers& numbers, const Vec3& v) {
    numbers.insert(numbers.end(), {v.x, v.y, v.z});
}

template<typename T>
void append(Numbers& numbers, T value) {
    numbers.push_back(static_cast<double>(value));
}

template<typename... Fields>
Numbers numbers_of(const Fields&... fields) {
    Numbers numbers;
    (append(numbers, fields), ...);
    return numbers;
}

// The arguments of a setter: 0 for each index, other numbers each time for the values behind them.
// Kinds and switches, of one byte, get a 1.
template<typename... Given>
Numbers arguments_of(std::size_t values) {
    static int next = 2;
    const std::array<std::size_t, sizeof...(Given)> sizes = {sizeof(Given)...};
    Numbers arguments(sizes.size());
    for (std::size_t i = sizes.size() - values; i < sizes.size(); ++i)
        arguments[i] = sizes[i] == 1 ? 1 : next++;
    return arguments;
}

// A check that the setter stores its values in the fields that it is given, in their order.
template<typename... Given>
auto setter(void (*set)(Given...), std::source_location row = std::source_location::current()) {
    return [set, row](const auto&... fields) {
        const std::size_t values = numbers_of(fields...).size();
        Numbers arguments = arguments_of<Given...>(values);
        [&]<std::size_t... I>(std::index_sequence<I...>) {
            set(static_cast<Given>(arguments[I])...);
        }
        (std::index_sequence_for<Given...>());
        arguments.erase(arguments.begin(), arguments.end() - static_cast<std::ptrdiff_t>(values));
        EXPECT_EQ(numbers_of(fields...), arguments) << "line " << row.line();
    };
}

TEST(Setters, StoreNumbersInTheFieldOfTheirName) {
    test::printed_by(mhStartup);
    const auto& settings = RendererSettings;
    setter(mhSetRendererSample)(settings.sample);
    setter(mhSetRendererRayDepth)(settings.ray_depth);
    setter(mhSetRendererPhotonDepth)(settings.photon_depth);
    setter(mhSetRendererBounce)(settings.bounce);
    setter(mhSetRendererDistance)(settings.distance);
    setter(mhSetRendererResolution)(settings.resolution);
    setter(mhSetRendererRadius)(settings.radius);
    setter(mhSetRendererClamp)(settings.clamp);

    mhAddCamera();
    const Camera& camera = Cameras[0];
    const CameraPose& pose = camera.poses[0];
    setter(mhSetCameraResolution)(camera.width, camera.height);
    setter(mhSetCameraRegion)(camera.region_x0, camera.region_y0, camera.region_x1,
                              camera.region_y1);
    setter(mhSetCameraSample)(camera.sample);
    setter(mhSetCameraExposure)(camera.exposure);
    setter(mhSetCameraProjection)(camera.projection);
    setter(mhSetCameraAngleMeasure)(camera.angle_measure);
    setter(mhSetCameraPosition)(pose.position);
    setter(mhSetCameraTarget)(pose.target);
    setter(mhSetCameraUpVector)(pose.up_vector);
    setter(mhSetCameraFOV)(pose.field_of_view);
    setter(mhSetCameraBokeh)(pose.bokeh);

    mhAddSurfaceShader(0);
    mhAddDisplacementShader(0);
    const Shader& shader = Shaders[0];
    const SurfaceLayer& layer = shader.layers[0];
    const ShaderElement& vector = shader.displacement.vectors[0];
    setter(mhSetShaderVisibility)(shader.visibility);
    setter(mhSetShaderSmoothAngle)(shader.smooth_angle);
    setter(mhSetShaderRoundCorner)(shader.round_corner);
    setter(mhSetSurfaceColor)(layer.elements[0].color);
    setter(mhSetSurfaceMaterial)(layer.material);
    setter(mhSetSurfaceSideness)(layer.sideness);
    setter(mhSetSurfaceVirtualLight)(layer.virtual_light);
    setter(mhSetDisplacementVector)(vector.color);
    setter(mhSetDisplacementLevel)(vector.level);

    mhAddPointLight();
    const PointLight& point = PointLights[0];
    setter(mhSetPointLightColor)(point.color);
    setter(mhSetPointLightDirection)(point.direction);
    setter(mhSetPointLightPosition)(point.position);
    setter(mhSetPointLightBlur)(point.blur);
    setter(mhSetPointLightOffset)(point.offset);
    setter(mhSetPointLightInnerAngle)(point.inner_angle);
    setter(mhSetPointLightOuterAngle)(point.outer_angle);
    setter(mhSetPointLightSample)(point.sample);
    setter(mhSetPointLightPhoton)(point.photons);
    mhAddParallelLight();
    const ParallelLight& parallel = ParallelLights[0];
    setter(mhSetParallelLightColor)(parallel.color);
    setter(mhSetParallelLightDirection)(parallel.axis);
    setter(mhSetParallelLightBlur)(parallel.blur);
    setter(mhSetParallelLightOffset)(parallel.offset);
    setter(mhSetParallelLightSample)(parallel.sample);
    setter(mhSetParallelLightPhoton)(parallel.photons);
    setter(mhSetSkyLightColor)(SkyLight.color);
    setter(mhSetSkyLightNorth)(SkyLight.north);
    setter(mhSetSkyLightZenith)(SkyLight.zenith);
    setter(mhSetSkyLightSample)(SkyLight.sample);
    setter(mhSetSkyLightPhoton)(SkyLight.photons);
    setter(mhSetGeometryLightSample)(GeometryLight.sample);
    setter(mhSetGeometryLightPhoton)(GeometryLight.photons);
    test::printed_by([] {
        mhFinalize();
        mhShutdown();
    });
}

} // namespace
} // namespace mh
