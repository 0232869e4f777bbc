// Products and the polar decomposition.
// SPDX-License-Identifier: MIT
#include "import/linear.h"

#include <cmath>

namespace mh {

Matrix product(const Matrix& a, const Matrix& b) {
    Matrix c = {};
    for (std::size_t row = 0; row < 4; ++row)
        for (std::size_t column = 0; column < 4; ++column)
            for (std::size_t k = 0; k < 4; ++k)
                c[4 * row + column] += a[4 * row + k] * b[4 * k + column];
    return c;
}

Linear product(const Linear& a, const Linear& b) {
    Linear c = {};
    for (std::size_t row = 0; row < 3; ++row)
        for (std::size_t column = 0; column < 3; ++column)
            for (std::size_t k = 0; k < 3; ++k)
                c[3 * row + column] += a[3 * row + k] * b[3 * k + column];
    return c;
}

Linear upper_left_of(const Matrix& m) {
    return {m[0], m[1], m[2], m[4], m[5], m[6], m[8], m[9], m[10]};
}

Vec3 turned(const Linear& m, const Vec3& v) {
    const double x = v.x, y = v.y, z = v.z;
    return {static_cast<float>(m[0] * x + m[1] * y + m[2] * z),
            static_cast<float>(m[3] * x + m[4] * y + m[5] * z),
            static_cast<float>(m[6] * x + m[7] * y + m[8] * z)};
}

Vec3 moved(const Matrix& m, const Vec3& p) {
    const double x = p.x, y = p.y, z = p.z;
    return {static_cast<float>(m[0] * x + m[1] * y + m[2] * z + m[3]),
            static_cast<float>(m[4] * x + m[5] * y + m[6] * z + m[7]),
            static_cast<float>(m[8] * x + m[9] * y + m[10] * z + m[11])};
}

Linear cofactors(const Linear& m) {
    return {m[4] * m[8] - m[5] * m[7], m[5] * m[6] - m[3] * m[8], m[3] * m[7] - m[4] * m[6],
            m[2] * m[7] - m[1] * m[8], m[0] * m[8] - m[2] * m[6], m[1] * m[6] - m[0] * m[7],
            m[1] * m[5] - m[2] * m[4], m[2] * m[3] - m[0] * m[5], m[0] * m[4] - m[1] * m[3]};
}

double determinant(const Linear& m) {
    const Linear c = cofactors(m);
    return m[0] * c[0] + m[1] * c[1] + m[2] * c[2];
}

namespace {

Linear transposed(const Linear& m) {
    return {m[0], m[3], m[6], m[1], m[4], m[7], m[2], m[5], m[8]};
}

double norm(const Linear& m) {
    double sum = 0.0;
    for (const double entry : m)
        sum += entry * entry;
    return std::sqrt(sum);
}

} // namespace

bool is_identity(const Linear& m) {
    constexpr double kRounding = 2e-5; // of products of turns in floats
    const Linear identity = {1, 0, 0, 0, 1, 0, 0, 0, 1};
    for (std::size_t i = 0; i < m.size(); ++i)
        if (!(std::fabs(m[i] - identity[i]) <= kRounding)) return false;
    return true;
}

// Newton's iteration for the polar factor, turn = (turn + turn^-T) / 2, [Higham86].
bool split_turn(const Linear& m, Linear& turn, Linear& stretch) {
    constexpr double kFlat = 1e-9; // of the determinant of the matrix scaled to unit size
    constexpr int kMostSteps = 60;
    const double size = norm(m);
    if (!(size > 0.0) || !std::isfinite(size)) return false;
    turn = m;
    for (double& entry : turn)
        entry /= size;
    if (!(std::fabs(determinant(turn)) > kFlat)) return false;
    for (int step = 0; step < kMostSteps; ++step) {
        const Linear inverse_transposed = cofactors(turn);
        const double scale = 1.0 / determinant(turn);
        double change = 0.0;
        for (std::size_t i = 0; i < turn.size(); ++i) {
            const double next = 0.5 * (turn[i] + scale * inverse_transposed[i]);
            change += std::fabs(next - turn[i]);
            turn[i] = next;
        }
        if (change < 1e-13) break;
    }
    if (determinant(turn) < 0.0)
        for (double& entry : turn)
            entry = -entry;
    stretch = product(transposed(turn), m);
    return true;
}

} // namespace mh
