// Checks and small builders that the tests of several folders share.
// SPDX-License-Identifier: MIT
#pragma once

#include "geometry/types.h"
#include "lights/types.h"
#include "math/vec3.h"
#include "output/types.h"
#include "shading/types.h"

#include <functional>
#include <limits>
#include <string>
#include <vector>

namespace mh::test {

// What the report prints as a rule.
const std::string kRule = std::string(80, '_') + "\n\n";

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kTolerance = 1e-5f; // a few roundings of unit vectors

// Integral of the direction over the solid angle of a polygon, for a viewer on the side from which
// its corners run anticlockwise: light of radiance 1 on a surface is its product with the
// normal.
Vec3 polygon_light(const std::vector<Vec3>& corners, const Vec3& from);

void expect_near(const Vec3& a, const Vec3& b, float tolerance = kTolerance);

// Chi-square of counts against their expectation, or one expectation for all.
double chi_square(const std::vector<int>& counts, const std::vector<double>& expected);
double chi_square(const std::vector<int>& counts, double expected);

// 99.9 % points of the chi-square distribution with so many degrees of freedom.
constexpr double kChiSquare15 = 37.7, kChiSquare99 = 148.2;

// What act() prints to std::cout.
std::string printed_by(const std::function<void()>& act);

ShaderElement& slot(Shader& shader, Element element, std::size_t layer = 0);

// An image of one texel in Textures; returns its index.
int add_texel_image(const std::string& name, const Vec3& texel);

// An AOV of this channel at the end of a list, without a file.
Aov& add_aov(std::vector<Aov>& list, Channel channel);

// With arrays for radii and uvs.
Part empty_part();

// Down to the horizon, of the default colour; a point light is full in all directions.
PointLight& add_point_light(const Vec3& position, int photons = 0);
ParallelLight& add_parallel_light(const Vec3& axis, int photons = 0);

} // namespace mh::test
