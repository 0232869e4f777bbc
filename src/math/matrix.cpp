// Matrix products and inverses.
// SPDX-License-Identifier: MIT
#include "math/matrix.h"

#include <array>
#include <cmath>
#include <cstddef>
#include <utility>

namespace mh {

namespace {

template<std::size_t N, typename Matrix>
Matrix product(const Matrix& a, const Matrix& b) {
    Matrix r;
    for (std::size_t i = 0; i < N; ++i) {
        for (std::size_t j = 0; j < N; ++j) {
            r.m[i][j] = 0.0f;
            for (std::size_t k = 0; k < N; ++k)
                r.m[i][j] += a.m[i][k] * b.m[k][j];
        }
    }
    return r;
}

// Gauss-Jordan elimination with partial pivots, in double: a float determinant would lose matrices
// of small scale.
template<std::size_t N, typename Matrix>
bool invert_by_elimination(const Matrix& a, Matrix& inverse) {
    std::array<std::array<double, 2 * N>, N> rows = {};
    for (std::size_t i = 0; i < N; ++i) {
        for (std::size_t j = 0; j < N; ++j)
            rows[i][j] = a.m[i][j];
        rows[i][N + i] = 1.0;
    }
    for (std::size_t column = 0; column < N; ++column) {
        std::size_t pivot = column;
        for (std::size_t i = column + 1; i < N; ++i) {
            if (std::fabs(rows[i][column]) > std::fabs(rows[pivot][column])) pivot = i;
        }
        std::swap(rows[column], rows[pivot]);
        const double scale = 1.0 / rows[column][column];
        if (!std::isfinite(scale)) return false;
        for (double& value : rows[column])
            value *= scale;
        for (std::size_t i = 0; i < N; ++i) {
            if (i == column) continue;
            const double factor = rows[i][column];
            for (std::size_t j = 0; j < 2 * N; ++j)
                rows[i][j] -= factor * rows[column][j];
        }
    }
    Matrix result;
    for (std::size_t i = 0; i < N; ++i) {
        for (std::size_t j = 0; j < N; ++j) {
            result.m[i][j] = static_cast<float>(rows[i][N + j]);
            if (!std::isfinite(result.m[i][j])) return false;
        }
    }
    inverse = result;
    return true;
}

} // namespace

Mat3 operator*(const Mat3& a, const Mat3& b) {
    return product<3>(a, b);
}

Mat4 operator*(const Mat4& a, const Mat4& b) {
    return product<4>(a, b);
}

Mat3 transpose(const Mat3& a) {
    Mat3 r;
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j)
            r.m[i][j] = a.m[j][i];
    }
    return r;
}

Mat3 upper_left(const Mat4& a) {
    Mat3 r;
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j)
            r.m[i][j] = a.m[i][j];
    }
    return r;
}

bool invert(const Mat4& a, Mat4& inverse) {
    return invert_by_elimination<4>(a, inverse);
}

bool invert(const Mat3& a, Mat3& inverse) {
    return invert_by_elimination<3>(a, inverse);
}

} // namespace mh
