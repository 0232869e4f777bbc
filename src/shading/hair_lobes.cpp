// Values, densities and samples of the three fibre lobes. Called per light sample and bounce by all
// threads; reads the tables only.
// SPDX-License-Identifier: MIT
#include "math/at.h"
#include "math/constants.h"
#include "math/random.h"
#include "math/roots.h"
#include "run/estimator.h"
#include "shading/fibre.h"
#include "shading/fresnel.h"
#include "shading/hair_table.h"
#include "shading/images.h"

#include <algorithm>
#include <cmath>

namespace mh {

namespace {

// Horner's scheme; coefficients from the constant one on.
template<std::size_t N>
constexpr double polynomial(double x, const double (&coefficients)[N]) {
    double value = coefficients[N - 1];
    for (std::size_t k = N - 1; k-- > 0;)
        value = coefficients[k] + x * value;
    return value;
}

double guarded_log(double x) {
    constexpr double kSmallest = 1e-10, kOfLess = -10.0;
    return x >= kSmallest ? std::log(x) : kOfLess;
}

// Modified Bessel function of order 0, [AbramowitzStegun64] 9.8.1 and 9.8.2; x >= 0.
double bessel_i0(double x) {
    constexpr double kSplit = 3.75;
    constexpr double kSmallArguments[] = {1.0,       3.5156229, 3.0899424, 1.2067492,
                                          0.2659732, 0.0360768, 0.0045813};
    constexpr double kLargeArguments[] = {0.39894228,  0.01328592,  0.00225319,
                                          -0.00157565, 0.00916281,  -0.02057706,
                                          0.02635537,  -0.01647633, 0.00392377};
    const double t = x / kSplit;
    if (x < kSplit) return polynomial(t * t, kSmallArguments);
    return std::exp(x) / std::sqrt(x) * polynomial(1.0 / t, kLargeArguments);
}

// Two directions seen from the axis of the fibre.
struct Inclinations {
    float sin_i = 0.0f, cos_i = 0.0f; // of the incoming direction
    float sin_o = 0.0f, cos_o = 0.0f; // of the outgoing one
    float cos_phi = 0.0f;             // of the angle between them across the axis
};

Inclinations inclinations_of(const Vec3& axis, const Vec3& outgoing, const Vec3& incoming) {
    Inclinations s;
    s.sin_i = dot(incoming, axis);
    s.sin_o = dot(outgoing, axis);
    const Vec3 across_i = normalize(incoming - s.sin_i * axis);
    const Vec3 across_o = normalize(outgoing - s.sin_o * axis);
    s.cos_i = dot(incoming, across_i);
    s.cos_o = dot(outgoing, across_o);
    s.cos_phi = std::clamp(dot(across_i, across_o), -1.0f, 1.0f);
    return s;
}

// Sine and cosine of the viewer's inclination as a lobe sees it, turned with the scales.
struct Turned {
    float sine = 0.0f, cosine = 0.0f;
};

Turned turned(const HairTable& table, std::size_t lobe, float sine, float cosine) {
    const Vec2 turn = table.turn[lobe];
    return {sine * turn.x + cosine * turn.y, std::fabs(cosine * turn.x - sine * turn.y)};
}

// Longitudinal function of one lobe, [dEon11], and its logarithm where sinh and I0 have no
// finite values. In double: the exponents nearly cancel.
float longitudinal(const HairTable& table, std::size_t lobe, const Inclinations& s) {
    constexpr float kWide = 0.2f;
    constexpr double kAsymptotic = 12.0, kLogTwo = 0.6931472;
    const double v = static_cast<double>(table.variance[lobe]);
    const Turned o = turned(table, lobe, s.sin_o, s.cos_o);
    const double x = static_cast<double>(s.cos_i) * static_cast<double>(o.cosine) / v;
    const double y = -static_cast<double>(s.sin_i) * static_cast<double>(o.sine) / v;
    if (table.variance[lobe] >= kWide)
        return static_cast<float>(std::exp(y) * static_cast<double>(table.csch_term[lobe])
                                  * bessel_i0(x));
    const double scale = kLogTwo - 1.0 / v + guarded_log(1.0 / (2.0 * v));
    if (x <= kAsymptotic)
        return static_cast<float>(std::exp(y + scale + guarded_log(bessel_i0(x))));
    const double log_two_pi = std::log(static_cast<double>(kTwoPi));
    return static_cast<float>(
        std::exp(x + y + scale + 0.5 * (guarded_log(1.0 / x) + 1.0 / (8.0 * x) - log_two_pi)));
}

Vec3 longitudinals(const HairTable& table, const Inclinations& s) {
    return {longitudinal(table, 0, s), longitudinal(table, 1, s), longitudinal(table, 2, s)};
}

// Row or column of a table for a share of its range in [0, 1]; NaN gives 0. The classic estimator
// reads the last one, where light goes straight on, at the very end alone.
int table_place(float share) {
    constexpr float kLast = kHairTableSize - 1;
    const float place = (is_exact() ? float{kHairTableSize} : kLast) * share;
    return place > 0.0f ? static_cast<int>(std::min(place, kLast)) : 0;
}

std::int64_t table_index(const HairTable& table, const Inclinations& s) {
    const int column = table_place(std::acos(s.cos_phi) / kPi);
    const float theta_o = std::atan2(s.sin_o, s.cos_o);
    const float theta =
        has_two_widths(table) ? theta_o : 0.5f * (std::atan2(s.sin_i, s.cos_i) - theta_o);
    const int row = table_place(std::fabs(theta / (0.5f * kPi)));
    return kHairTableSize * row + column;
}

// Reflectance at the facet that mirrors one direction into the other.
float mirror_fresnel(float f0, const Vec3& a, const Vec3& b) {
    const float cosine = std::clamp(dot(a, b), -1.0f, 1.0f);
    return schlick(f0, std::cos(0.5f * std::acos(cosine)));
}

// Cosine with the mirrored cone, density exp(c / v) in c [dEon13]; in double, since sinh leaves the
// range of float below 0.1 radians.
float sample_cone(const HairTable& table, std::size_t lobe) {
    constexpr float kSmallestDraw = 1e-8f, kNarrow = 0.1f;
    const double v = static_cast<double>(table.variance[lobe]);
    const double r = static_cast<double>(std::max(kSmallestDraw, random_unit()));
    const double c =
        table.alpha[lobe] < kNarrow
            ? 1.0 + v * (guarded_log(r) + guarded_log(1.0 - (r - 1.0) / r * std::exp(-2.0 / v)))
            : v * guarded_log(std::exp(-1.0 / v) + 2.0 * r * std::sinh(1.0 / v));
    return static_cast<float>(std::clamp(c, -1.0, 1.0));
}

float sample_gaussian() {
    const float r1 = random_unit();
    const float r2 = random_unit();
    const auto log_r1 = static_cast<float>(guarded_log(static_cast<double>(r1)));
    return safe_root(-2.0f * log_r1) * std::cos(kTwoPi * r2);
}

// What TT and TRT return of the light that enters along the path.
Vec3 passed_share(const HairTable& table, int lobe, const FibrePath& path) {
    const float f = path.fresnel;
    const Vec3 passed = path.absorption * ((1.0f - f) * (1.0f - f));
    if (lobe == 1) return passed;
    const Vec3 trt = path.absorption * passed * f;
    return has_two_widths(table) ? trt * series_of_reflections(path) : trt;
}

Vec3 lobe_attenuation(const HairTable& table, int lobe, const FibrePath& path,
                      const Vec3& direction, const Vec3& outgoing) {
    if (lobe > 0) return passed_share(table, lobe, path);
    return splat(has_two_widths(table) ? path.fresnel
                                       : mirror_fresnel(table.f0, direction, outgoing));
}

struct LobePick {
    int lobe = 0;
    float probability = 1.0f;
};

// One of the three in proportion to what each returns along the path, so that bounces from fibre to
// fibre keep their weight; a part of the choice is even, for paths that are known roughly.
LobePick pick_lobe(const HairTable& table, const FibrePath& path) {
    constexpr float kEven = 0.1f / 3.0f;
    if (!table.sample_all_lobes) return {};
    std::array<float, 3> share = {path.fresnel, mean(passed_share(table, 1, path)),
                                  mean(passed_share(table, 2, path))};
    const float total = share[0] + share[1] + share[2];
    for (float& each : share)
        each = kEven + (1.0f - 3.0f * kEven) * each / total;
    const float u = random_unit();
    const int lobe = u < share[0] ? 0 : u < share[0] + share[1] ? 1 : 2;
    return {lobe, share[to_size(lobe)]};
}

} // namespace

void hair_glossy(const HairTable& table, const Vec3& outgoing, const Vec3& incoming,
                 const SurfacePoint& point, std::array<Vec3, 3>& lobes, Vec3& density) {
    const Inclinations s = inclinations_of(point.tangent, outgoing, incoming);
    const Vec3 m = longitudinals(table, s);
    const std::int64_t index = table_index(table, s);
    density = s.cos_i * s.cos_i * m * read_texel(table.pdf_image, index);
    const float fresnel =
        has_two_widths(table) ? 1.0f : mirror_fresnel(table.f0, incoming, outgoing);
    lobes[0] = read_texel(table.r_image, index) * (m.x * fresnel);
    lobes[1] = read_texel(table.tt_image, index) * m.y;
    lobes[2] = read_texel(table.trt_image, index) * m.z;
}

Vec3 hair_lobe_pdf(const HairTable& table, const Vec3& outgoing, const Vec3& incoming,
                   const SurfacePoint& point) {
    const Inclinations s = inclinations_of(point.tangent, outgoing, incoming);
    const Vec3 energy = read_texel(table.pdf_image, table_index(table, s));
    return s.cos_i * s.cos_i * longitudinals(table, s) * energy;
}

int sample_hair(const HairTable& table, float h, const SurfacePoint& point, Vec3& direction,
                Vec3& attenuation) {
    const Vec3 axis = point.tangent;
    const float sin_o = dot(point.outgoing, axis);
    const Vec3 w = normalize(point.outgoing - sin_o * axis);
    const Vec3 u = cross(w, axis);
    const float theta_o = std::atan2(sin_o, dot(point.outgoing, w));

    const FibrePath seen = fibre_path(table, h, std::cos(theta_o));
    const auto [lobe, probability] = pick_lobe(table, seen);
    const auto k = to_size(lobe);
    const float c = sample_cone(table, k);
    const float turn = kTwoPi * random_unit();
    const float x = 0.5f * kPi - (theta_o + std::atan2(table.turn[k].y, table.turn[k].x));
    const float sin_i = std::clamp(
        c * std::cos(x) + safe_root(1.0f - c * c) * std::cos(turn) * std::sin(x), -1.0f, 1.0f);
    const float cos_i = safe_root(1.0f - sin_i * sin_i);

    // sin_i is that of the mirrored cone: the difference of the inclinations is the sum of the
    // angles. Bounces of R alone take it for that of the direction itself.
    const float theta_i = std::atan2(sin_i, cos_i);
    const float sum_of_angles = table.sample_all_lobes ? theta_i + theta_o : theta_i - theta_o;
    const float cos_d = std::cos(0.5f * sum_of_angles);
    const FibrePath path = has_two_widths(table) ? seen : fibre_path(table, h, cos_d);
    const float p = static_cast<float>(lobe);
    const float phi = p * kPi - 2.0f * path.gamma_i + 2.0f * p * path.gamma_t
                      + table.azimuth[k] * sample_gaussian();
    direction = cos_i * (std::sin(phi) * u + std::cos(phi) * w) - sin_i * axis;
    attenuation = lobe_attenuation(table, lobe, path, direction, point.outgoing);
    attenuation *= 1.0f / probability;
    return lobe;
}

} // namespace mh
