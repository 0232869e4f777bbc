// Four floats or integers side by side, in the vector types of g++ and clang, and the bytes of
// texels that become such: SSE2 where there is any, plain code elsewhere, with bit-identical
// results.
// SPDX-License-Identifier: MIT
#pragma once

#include "math/vec3.h"

#include <cmath>
#include <cstdint>
#include <cstring>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace mh {

using Float4 = float __attribute__((vector_size(16)));
using Int4 = std::int32_t __attribute__((vector_size(16)));

inline Float4 to_float(Int4 v) {
    return __builtin_convertvector(v, Float4);
}

// Towards 0; every lane is in the range of integers.
inline Int4 truncate(Float4 v) {
    return __builtin_convertvector(v, Int4);
}

inline Int4 round_down(Float4 v) {
    const Int4 cut = truncate(v);
    return cut + (to_float(cut) > v);
}

using Double2 = double __attribute__((vector_size(16)));
using Long2 = std::int64_t __attribute__((vector_size(16)));

inline Float4 load4(const float* p) {
    Float4 v;
    std::memcpy(&v, p, sizeof v);
    return v;
}

inline void store4(float* p, Float4 v) {
    std::memcpy(p, &v, sizeof v);
}

// Two numbers that stand side by side, in lanes 0 and 1; the others are 0.
template<typename Vector, typename Two>
Vector load_two(const Two& two) {
    static_assert(sizeof two == sizeof(std::int64_t));
    std::int64_t bits = 0;
    std::memcpy(&bits, &two, sizeof bits);
    return reinterpret_cast<Vector>(Long2{bits, 0});
}

// Lanes 0 and 1 as one integer.
template<typename Vector>
std::int64_t first_two(Vector v) {
    return reinterpret_cast<Long2>(v)[0];
}

// g++ returns a Vec3 made of three floats by three stores that one load reads back, which makes it
// wait for them; of two stores it needs none.
inline Vec3 first_three(Float4 v) {
    const std::int64_t two = first_two(v);
    Vec3 result;
    std::memcpy(static_cast<void*>(&result), &two, sizeof two);
    result.z = v[2];
    return result;
}

#ifdef __SSE2__

// The second where the first is not a number.
inline Float4 min4(Float4 a, Float4 b) {
    return _mm_min_ps(a, b);
}

inline Float4 max4(Float4 a, Float4 b) {
    return _mm_max_ps(a, b);
}

inline Float4 root4(Float4 v) {
    return _mm_sqrt_ps(v);
}

// Whether a comparison is true in lanes 0 to 2.
inline bool all_three(Int4 is_true) {
    return (_mm_movemask_ps(reinterpret_cast<__m128>(is_true)) & 7) == 7;
}

inline bool all_four(Int4 is_true) {
    return _mm_movemask_ps(reinterpret_cast<__m128>(is_true)) == 15;
}

// Lanes 0 and 1, and lanes 2 and 3.
inline Double2 lower_doubles(Float4 v) {
    return _mm_cvtps_pd(v);
}

inline Double2 upper_doubles(Float4 v) {
    return _mm_cvtps_pd(_mm_movehl_ps(v, v));
}

// Four bytes as floats.
inline Float4 load_bytes(const std::uint8_t* p) {
    int bits = 0;
    std::memcpy(&bits, p, sizeof bits);
    const __m128i zero = _mm_setzero_si128();
    const __m128i words = _mm_unpacklo_epi8(_mm_cvtsi32_si128(bits), zero);
    return _mm_cvtepi32_ps(_mm_unpacklo_epi16(words, zero));
}

#else

inline Float4 min4(Float4 a, Float4 b) {
    return a < b ? a : b;
}

inline Float4 max4(Float4 a, Float4 b) {
    return a > b ? a : b;
}

inline Float4 root4(Float4 v) {
    return Float4{std::sqrt(v[0]), std::sqrt(v[1]), std::sqrt(v[2]), std::sqrt(v[3])};
}

inline bool all_three(Int4 is_true) {
    return (is_true[0] & is_true[1] & is_true[2]) != 0;
}

inline bool all_four(Int4 is_true) {
    return (is_true[0] & is_true[1] & is_true[2] & is_true[3]) != 0;
}

inline Double2 lower_doubles(Float4 v) {
    return Double2{v[0], v[1]};
}

inline Double2 upper_doubles(Float4 v) {
    return Double2{v[2], v[3]};
}

inline Float4 load_bytes(const std::uint8_t* p) {
    return Float4{static_cast<float>(p[0]), static_cast<float>(p[1]), static_cast<float>(p[2]),
                  static_cast<float>(p[3])};
}

#endif

} // namespace mh
