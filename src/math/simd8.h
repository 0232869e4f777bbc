// Eight floats, four floats or four doubles side by side: AVX2 where the including source is
// compiled for it, plain loops elsewhere, with bit-identical results. Everything has internal
// linkage, so that sources compiled for different processors can be linked together.
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <type_traits>

#ifdef __AVX2__
#include <immintrin.h>
#endif

namespace mh {
namespace {

// The bits of a float; unlike std::bit_cast it never becomes a function of its own.
inline std::uint32_t float_bits(float x) {
    return __builtin_bit_cast(std::uint32_t, x);
}

// Four integers side by side, in the vector type of g++ and clang.
using BitLanes4 = std::uint32_t __attribute__((vector_size(16)));

// All bits in the lanes of negative numbers, none in the others and in the last.
inline BitLanes4 signs_of(float a, float b, float c) {
    using FloatLanes4 = float __attribute__((vector_size(16)));
    using IntLanes4 = std::int32_t __attribute__((vector_size(16)));
    const auto bits = reinterpret_cast<IntLanes4>(FloatLanes4{a, b, c, 0.0f});
    return reinterpret_cast<BitLanes4>(bits >> 31);
}

inline float exact_root(float x) {
    return __builtin_sqrtf(x);
}

// For every set of bits of eight, the numbers of those that are set, falling.
struct FallingBits {
    std::uint8_t bit[256][8];
};

constexpr FallingBits falling_bits() {
    FallingBits table = {};
    for (unsigned set = 0; set < 256; ++set) {
        int count = 0;
        for (unsigned bit = 8; bit-- > 0;)
            if ((set >> bit & 1u) != 0) table.bit[set][count++] = static_cast<std::uint8_t>(bit);
    }
    return table;
}

alignas(64) constexpr FallingBits kFallingBits = falling_bits();

#ifdef __AVX2__

struct Float8 {
    __m256 v;
};

struct Lanes4 {
    __m128 v;
};

struct Double4 {
    __m256d v;
};

// What holds in each lane.
struct Mask8 {
    __m256 v;
};

struct Mask4 {
    __m128 v;
};

// Stores those of eight numbers whose bit is set, the last one first; writes all eight places.
inline void store_falling(std::uint32_t* to, const std::uint32_t (&from)[8], unsigned set) {
    const __m128i bytes = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(kFallingBits.bit[set]));
    const __m256i all = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(from));
    const __m256i some = _mm256_permutevar8x32_epi32(all, _mm256_cvtepu8_epi32(bytes));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(to), some);
}

// The same with four.
inline void store_falling(std::uint32_t* to, const std::uint32_t (&from)[4], unsigned set) {
    const __m128i bytes = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(kFallingBits.bit[set]));
    const __m128i all = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
    const __m128 some = _mm_permutevar_ps(_mm_castsi128_ps(all), _mm_cvtepu8_epi32(bytes));
    _mm_storeu_ps(reinterpret_cast<float*>(to), some);
}

// The type of the lanes is named at the call; doubles are widened floats. One float stands where a
// template wants lanes.
template<typename F>
inline F load(const float* p) {
    if constexpr (std::is_same_v<F, Float8>)
        return {_mm256_loadu_ps(p)};
    else if constexpr (std::is_same_v<F, Lanes4>)
        return {_mm_loadu_ps(p)};
    else if constexpr (std::is_same_v<F, Double4>)
        return {_mm256_cvtps_pd(_mm_loadu_ps(p))};
    else
        return *p;
}

inline void store(float* p, Float8 a) {
    _mm256_storeu_ps(p, a.v);
}

inline void store(float* p, Lanes4 a) {
    _mm_storeu_ps(p, a.v);
}

inline void store(double* p, Double4 a) {
    _mm256_storeu_pd(p, a.v);
}

template<typename F>
inline F fill(float s) {
    if constexpr (std::is_same_v<F, Float8>)
        return {_mm256_set1_ps(s)};
    else if constexpr (std::is_same_v<F, Lanes4>)
        return {_mm_set1_ps(s)};
    else if constexpr (std::is_same_v<F, Double4>)
        return {_mm256_set1_pd(static_cast<double>(s))};
    else
        return s;
}

inline Float8 operator+(Float8 a, Float8 b) {
    return {_mm256_add_ps(a.v, b.v)};
}

inline Float8 operator-(Float8 a, Float8 b) {
    return {_mm256_sub_ps(a.v, b.v)};
}

inline Float8 operator*(Float8 a, Float8 b) {
    return {_mm256_mul_ps(a.v, b.v)};
}

inline Float8 operator/(Float8 a, Float8 b) {
    return {_mm256_div_ps(a.v, b.v)};
}

inline Lanes4 operator+(Lanes4 a, Lanes4 b) {
    return {_mm_add_ps(a.v, b.v)};
}

inline Lanes4 operator-(Lanes4 a, Lanes4 b) {
    return {_mm_sub_ps(a.v, b.v)};
}

inline Lanes4 operator*(Lanes4 a, Lanes4 b) {
    return {_mm_mul_ps(a.v, b.v)};
}

inline Lanes4 operator/(Lanes4 a, Lanes4 b) {
    return {_mm_div_ps(a.v, b.v)};
}

inline Double4 operator+(Double4 a, Double4 b) {
    return {_mm256_add_pd(a.v, b.v)};
}

inline Double4 operator-(Double4 a, Double4 b) {
    return {_mm256_sub_pd(a.v, b.v)};
}

inline Double4 operator*(Double4 a, Double4 b) {
    return {_mm256_mul_pd(a.v, b.v)};
}

// The greater; b when one of them is NaN.
inline Float8 max(Float8 a, Float8 b) {
    return {_mm256_max_ps(a.v, b.v)};
}

inline Lanes4 max(Lanes4 a, Lanes4 b) {
    return {_mm_max_ps(a.v, b.v)};
}

// The smaller; b when one of them is NaN.
inline Float8 min(Float8 a, Float8 b) {
    return {_mm256_min_ps(a.v, b.v)};
}

inline Lanes4 min(Lanes4 a, Lanes4 b) {
    return {_mm_min_ps(a.v, b.v)};
}

inline Float8 root(Float8 a) {
    return {_mm256_sqrt_ps(a.v)};
}

inline Float8 absolute(Float8 a) {
    return {_mm256_andnot_ps(_mm256_set1_ps(-0.0f), a.v)};
}

// Lane k takes lane k + 1, the last one the first.
inline Double4 rotate(Double4 a) {
    return {_mm256_permute4x64_pd(a.v, 0x39)};
}

// Bit k is set where the comparison holds in lane k; never for NaN.
inline unsigned less(Float8 a, Float8 b) {
    return static_cast<unsigned>(_mm256_movemask_ps(_mm256_cmp_ps(a.v, b.v, _CMP_LT_OQ)));
}

inline unsigned less(Lanes4 a, Lanes4 b) {
    return static_cast<unsigned>(_mm_movemask_ps(_mm_cmplt_ps(a.v, b.v)));
}

inline Mask8 at_most(Float8 a, Float8 b) {
    return {_mm256_cmp_ps(a.v, b.v, _CMP_LE_OQ)};
}

inline Mask4 at_most(Lanes4 a, Lanes4 b) {
    return {_mm_cmple_ps(a.v, b.v)};
}

inline Mask8 operator&(Mask8 a, Mask8 b) {
    return {_mm256_and_ps(a.v, b.v)};
}

inline Mask4 operator&(Mask4 a, Mask4 b) {
    return {_mm_and_ps(a.v, b.v)};
}

inline unsigned bits_of(Mask8 a) {
    return static_cast<unsigned>(_mm256_movemask_ps(a.v));
}

inline unsigned bits_of(Mask4 a) {
    return static_cast<unsigned>(_mm_movemask_ps(a.v));
}

inline unsigned less_equal(Float8 a, Float8 b) {
    return bits_of(at_most(a, b));
}

inline unsigned less_equal(Lanes4 a, Lanes4 b) {
    return bits_of(at_most(a, b));
}

inline unsigned less_equal(Double4 a, Double4 b) {
    return static_cast<unsigned>(_mm256_movemask_pd(_mm256_cmp_pd(a.v, b.v, _CMP_LE_OQ)));
}

#else

template<typename T, std::uint32_t N>
struct Lanes {
    T v[N];
};

using Float8 = Lanes<float, 8>;
using Lanes4 = Lanes<float, 4>;
using Double4 = Lanes<double, 4>;

template<std::uint32_t N, typename Operation>
inline auto each(Operation operation) {
    Lanes<decltype(operation(0u)), N> result;
    for (std::uint32_t k = 0; k < N; ++k)
        result.v[k] = operation(k);
    return result;
}

template<std::uint32_t N, typename Condition>
inline unsigned bits(Condition condition) {
    unsigned result = 0;
    for (std::uint32_t k = 0; k < N; ++k)
        result |= static_cast<unsigned>(condition(k)) << k;
    return result;
}

template<std::uint32_t N>
inline void store_falling(std::uint32_t* to, const std::uint32_t (&from)[N], unsigned set) {
    for (std::uint32_t k = 0; k < N; ++k)
        to[k] = from[kFallingBits.bit[set][k]];
}

template<typename F>
inline F load(const float* p) {
    if constexpr (std::is_same_v<F, float>) {
        return *p;
    } else {
        F result;
        for (auto& lane : result.v)
            lane = *p++;
        return result;
    }
}

template<typename T, std::uint32_t N>
inline void store(T* p, const Lanes<T, N>& a) {
    for (std::uint32_t k = 0; k < N; ++k)
        p[k] = a.v[k];
}

template<typename F>
inline F fill(float s) {
    if constexpr (std::is_same_v<F, float>) {
        return s;
    } else {
        F result;
        for (auto& lane : result.v)
            lane = s;
        return result;
    }
}

template<typename T, std::uint32_t N>
inline Lanes<T, N> operator+(const Lanes<T, N>& a, const Lanes<T, N>& b) {
    return each<N>([&](std::uint32_t k) { return a.v[k] + b.v[k]; });
}

template<typename T, std::uint32_t N>
inline Lanes<T, N> operator-(const Lanes<T, N>& a, const Lanes<T, N>& b) {
    return each<N>([&](std::uint32_t k) { return a.v[k] - b.v[k]; });
}

template<typename T, std::uint32_t N>
inline Lanes<T, N> operator*(const Lanes<T, N>& a, const Lanes<T, N>& b) {
    return each<N>([&](std::uint32_t k) { return a.v[k] * b.v[k]; });
}

template<typename T, std::uint32_t N>
inline Lanes<T, N> operator/(const Lanes<T, N>& a, const Lanes<T, N>& b) {
    return each<N>([&](std::uint32_t k) { return a.v[k] / b.v[k]; });
}

template<typename T, std::uint32_t N>
inline Lanes<T, N> max(const Lanes<T, N>& a, const Lanes<T, N>& b) {
    return each<N>([&](std::uint32_t k) { return a.v[k] > b.v[k] ? a.v[k] : b.v[k]; });
}

template<typename T, std::uint32_t N>
inline Lanes<T, N> min(const Lanes<T, N>& a, const Lanes<T, N>& b) {
    return each<N>([&](std::uint32_t k) { return a.v[k] < b.v[k] ? a.v[k] : b.v[k]; });
}

inline Float8 root(const Float8& a) {
    return each<8>([&](std::uint32_t k) { return exact_root(a.v[k]); });
}

inline Float8 absolute(const Float8& a) {
    return each<8>([&](std::uint32_t k) { return __builtin_fabsf(a.v[k]); });
}

inline Double4 rotate(const Double4& a) {
    return each<4>([&](std::uint32_t k) { return a.v[(k + 1) % 4]; });
}

template<typename T, std::uint32_t N>
inline unsigned less(const Lanes<T, N>& a, const Lanes<T, N>& b) {
    return bits<N>([&](std::uint32_t k) { return a.v[k] < b.v[k]; });
}

template<typename T, std::uint32_t N>
inline unsigned less_equal(const Lanes<T, N>& a, const Lanes<T, N>& b) {
    return bits<N>([&](std::uint32_t k) { return a.v[k] <= b.v[k]; });
}

template<std::uint32_t N>
inline unsigned at_most(const Lanes<float, N>& a, const Lanes<float, N>& b) {
    return less_equal(a, b);
}

#endif

// One float, where a template wants lanes.
inline float min(float a, float b) {
    return a < b ? a : b;
}

inline float max(float a, float b) {
    return a > b ? a : b;
}

inline unsigned less(float a, float b) {
    return a < b ? 1u : 0u;
}

inline unsigned at_most(float a, float b) {
    return a <= b ? 1u : 0u;
}

// Where masks are bits already.
inline unsigned bits_of(unsigned lanes) {
    return lanes;
}

} // namespace
} // namespace mh
