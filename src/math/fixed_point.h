// Fixed-point numbers of 128 bits. Sums of them are exact: neither the order of the terms nor the
// way in which they were grouped changes a bit. In line, since each frame adds every value of every
// image.
// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>

namespace mh {

__extension__ using UnsignedWide = unsigned __int128;

// Two's complement, the lower 64 bits behind the point: values from 5e-20 to 9e18.
struct FixedPoint {
    std::uint64_t fraction = 0, whole = 0;
};

constexpr int kFractionBits = 64; // of a FixedPoint

inline UnsignedWide wide_of(const FixedPoint& number) {
    return static_cast<UnsignedWide>(number.whole) << kFractionBits | number.fraction;
}

inline FixedPoint number_of(UnsignedWide wide) {
    return {static_cast<std::uint64_t>(wide), static_cast<std::uint64_t>(wide >> kFractionBits)};
}

// What lies below 2^-64 is cut off, what is larger than the limit (at most 2^62) counts as the
// limit, and NaN as 0.
inline FixedPoint to_fixed(float value, float limit) {
    constexpr int kMantissaBits = 24;
    constexpr std::uint32_t kLeadingOne = 1u << (kMantissaBits - 1);
    constexpr int kBias = 127 + kMantissaBits - 1; // of a float whose mantissa is a whole number
    if (std::isnan(value)) return {};
    const auto bits = std::bit_cast<std::uint32_t>(std::min(std::fabs(value), limit));
    const int shift = static_cast<int>(bits >> (kMantissaBits - 1)) - kBias + kFractionBits;
    if (shift <= -kMantissaBits) return {};
    const UnsignedWide mantissa = (bits & (kLeadingOne - 1)) | kLeadingOne;
    const UnsignedWide size = shift < 0 ? mantissa >> -shift : mantissa << shift;
    return number_of(value < 0.0f ? -size : size);
}

inline void add(FixedPoint& sum, const FixedPoint& term) {
    sum = number_of(wide_of(sum) + wide_of(term));
}

// The same as adding to_fixed, in fewer steps where the size is from 2^-41 to 2^23, which the limit
// does not touch.
inline void add_float(FixedPoint& sum, float value, float limit) {
    constexpr std::uint32_t kMantissaBits = 23, kMantissa = (1u << kMantissaBits) - 1;
    constexpr std::uint32_t kSmallest = 127 - 41; // biased exponent of a shift by 0
    const auto bits = std::bit_cast<std::uint32_t>(value);
    const std::uint32_t shift = (bits >> kMantissaBits & 0xFF) - kSmallest;
    if (shift >= kFractionBits) return add(sum, to_fixed(value, limit));
    const std::uint64_t mantissa = (bits & kMantissa) | (kMantissa + 1);
    const std::uint64_t fraction = mantissa << shift;
    const std::uint64_t whole = mantissa >> 1 >> (kFractionBits - 1 - shift);
    const UnsignedWide size = wide_of({fraction, whole});
    if (value > 0.0f) [[likely]]
        sum = number_of(wide_of(sum) + size);
    else
        sum = number_of(wide_of(sum) - size);
}

inline double to_double(const FixedPoint& number) {
    constexpr double kTwoToMinus64 = 1.0 / 18446744073709551616.0;
    const bool negative = static_cast<std::int64_t>(number.whole) < 0;
    const FixedPoint size = negative ? number_of(-wide_of(number)) : number;
    const double value =
        static_cast<double>(size.whole) + static_cast<double>(size.fraction) * kTwoToMinus64;
    return negative ? -value : value;
}

} // namespace mh
