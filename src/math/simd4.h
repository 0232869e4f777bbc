// The four bytes of a texel as floats side by side: SSE2 where there is any, plain loops elsewhere,
// with bit-identical results.
// SPDX-License-Identifier: MIT
#pragma once

#include "math/vec3.h"

#include <cstdint>
#include <cstring>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace mh {

#ifdef __SSE2__

struct Texel4 {
    __m128 v;
};

inline Texel4 load_bytes(const std::uint8_t* p) {
    int bits = 0;
    std::memcpy(&bits, p, sizeof(bits));
    const __m128i zero = _mm_setzero_si128();
    const __m128i words = _mm_unpacklo_epi8(_mm_cvtsi32_si128(bits), zero);
    return {_mm_cvtepi32_ps(_mm_unpacklo_epi16(words, zero))};
}

inline Texel4 operator+(Texel4 a, Texel4 b) {
    return {_mm_add_ps(a.v, b.v)};
}

inline Texel4 operator*(float s, Texel4 a) {
    return {_mm_mul_ps(_mm_set1_ps(s), a.v)};
}

inline Vec3 first_three(Texel4 a) {
    alignas(16) float values[4];
    _mm_store_ps(values, a.v);
    return {values[0], values[1], values[2]};
}

#else

struct Texel4 {
    float v[4];
};

inline Texel4 load_bytes(const std::uint8_t* p) {
    return {static_cast<float>(p[0]), static_cast<float>(p[1]), static_cast<float>(p[2]),
            static_cast<float>(p[3])};
}

inline Texel4 operator+(Texel4 a, Texel4 b) {
    return {a.v[0] + b.v[0], a.v[1] + b.v[1], a.v[2] + b.v[2], a.v[3] + b.v[3]};
}

inline Texel4 operator*(float s, Texel4 a) {
    return {s * a.v[0], s * a.v[1], s * a.v[2], s * a.v[3]};
}

inline Vec3 first_three(Texel4 a) {
    return {a.v[0], a.v[1], a.v[2]};
}

#endif

} // namespace mh
