// Fixed-point numbers of 128 bits.
// SPDX-License-Identifier: MIT
#include "math/fixed_point.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace mh {

namespace {

__extension__ using UnsignedWide = unsigned __int128;

constexpr int kFractionBits = 64;
constexpr double kTwoToMinus64 = 1.0 / 18446744073709551616.0;

UnsignedWide wide_of(const FixedPoint& number) {
    return static_cast<UnsignedWide>(number.whole) << kFractionBits | number.fraction;
}

FixedPoint number_of(UnsignedWide wide) {
    return {static_cast<std::uint64_t>(wide), static_cast<std::uint64_t>(wide >> kFractionBits)};
}

} // namespace

FixedPoint to_fixed(float value, float limit) {
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

void add(FixedPoint& sum, const FixedPoint& term) {
    sum = number_of(wide_of(sum) + wide_of(term));
}

double to_double(const FixedPoint& number) {
    const bool negative = static_cast<std::int64_t>(number.whole) < 0;
    const FixedPoint size = negative ? number_of(-wide_of(number)) : number;
    const double value =
        static_cast<double>(size.whole) + static_cast<double>(size.fraction) * kTwoToMinus64;
    return negative ? -value : value;
}

} // namespace mh
