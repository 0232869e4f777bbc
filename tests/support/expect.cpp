// Checks and small builders that the tests of several folders share.
// SPDX-License-Identifier: MIT
#include "support/expect.h"

#include "geometry/objects.h"
#include "lights/gaffer.h"
#include "lights/state.h"
#include "math/at.h"
#include "output/aov.h"
#include "shading/images.h"
#include "shading/state.h"
#include "support/fresh_scene.h"

#include <cmath>

#include <gtest/gtest.h>

namespace mh::test {

Vec3 polygon_light(const std::vector<Vec3>& corners, const Vec3& from) {
    double sum[3] = {};
    for (std::size_t i = 0; i < corners.size(); ++i) {
        const Vec3 p = corners[i] - from, q = corners[(i + 1) % corners.size()] - from;
        const double a[3] = {double{p.x}, double{p.y}, double{p.z}};
        const double b[3] = {double{q.x}, double{q.y}, double{q.z}};
        double normal[3], square = 0.0, along = 0.0;
        for (int k = 0; k < 3; ++k) {
            const int l = (k + 1) % 3, m = (k + 2) % 3;
            normal[k] = a[m] * b[l] - a[l] * b[m];
            square += normal[k] * normal[k];
            along += a[k] * b[k];
        }
        const double angle = std::atan2(std::sqrt(square), along);
        for (int k = 0; k < 3; ++k)
            sum[k] += square > 0.0 ? 0.5 * angle * normal[k] / std::sqrt(square) : 0.0;
    }
    return {static_cast<float>(sum[0]), static_cast<float>(sum[1]), static_cast<float>(sum[2])};
}

void expect_near(const Vec3& a, const Vec3& b, float tolerance) {
    EXPECT_NEAR(a.x, b.x, tolerance);
    EXPECT_NEAR(a.y, b.y, tolerance);
    EXPECT_NEAR(a.z, b.z, tolerance);
}

double chi_square(const std::vector<int>& counts, const std::vector<double>& expected) {
    double sum = 0.0;
    for (std::size_t i = 0; i < counts.size(); ++i)
        sum += (counts[i] - expected[i]) * (counts[i] - expected[i]) / expected[i];
    return sum;
}

double chi_square(const std::vector<int>& counts, double expected) {
    return chi_square(counts, std::vector<double>(counts.size(), expected));
}

std::string printed_by(const std::function<void()>& act) {
    CapturedOutput output;
    act();
    return output.take();
}

ShaderElement& slot(Shader& shader, Element element, std::size_t layer) {
    return at(shader.layers[layer].elements, element);
}

int add_texel_image(const std::string& name, const Vec3& texel) {
    const int index = FindOrAddImage(name);
    Image& image = at(Textures, index);
    AllocateImage(image, 1, 1, 3, 32, false);
    set_texel(image, 0, texel);
    image.loaded = true;
    return index;
}

Aov& add_aov(std::vector<Aov>& list, Channel channel) {
    Aov& aov = at(list, AddAov(list));
    aov.channel |= static_cast<std::uint32_t>(channel);
    aov.image.path.clear();
    return aov;
}

Part empty_part() {
    Object object;
    AddPart(object);
    return object.parts[0];
}

PointLight& add_point_light(const Vec3& position, int photons) {
    PointLight& light = at(PointLights, AddPointLight());
    light.position = position;
    light.inner_angle = light.outer_angle = 181.0f;
    light.offset = 0.0f;
    light.photons = photons;
    return light;
}

ParallelLight& add_parallel_light(const Vec3& axis, int photons) {
    ParallelLight& light = at(ParallelLights, AddParallelLight());
    light.axis = axis;
    light.offset = 0.0f;
    light.photons = photons;
    return light;
}

} // namespace mh::test
