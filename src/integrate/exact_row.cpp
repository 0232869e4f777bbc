// Sums of rows, four values at once.
// SPDX-License-Identifier: MIT
#include "integrate/exact_row.h"

#include "math/simd4.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <iterator>

namespace mh {

namespace {

constexpr int kStepBits = 36;
constexpr double kStep = 1.0 / 68719476736.0; // 2^-36
// A float of this size is a whole number of steps; 65535 of the other's size keep within 63 bits.
constexpr float kLeastOfSteps = 1.0f / 8192.0f, kMostOfSteps = 2048.0f;
// The last bit of a double that is near this one is a step.
constexpr double kNear = 98304.0;
constexpr auto kBitsOfNear = std::bit_cast<std::int64_t>(kNear);

bool is_whole_steps(float value) {
    const float size = std::fabs(value);
    return value == 0.0f || (size >= kLeastOfSteps && size < kMostOfSteps);
}

void add_value(ExactRow& row, std::size_t i, float value) {
    if (is_whole_steps(value)) {
        row.steps[i] +=
            std::bit_cast<std::int64_t>(static_cast<double>(value) + kNear) - kBitsOfNear;
        return;
    }
    if (row.rest.empty()) row.rest.resize(row.steps.size());
    add_float(row.rest[i], value, kLargestOfFrame);
}

void add_steps(std::int64_t* sums, Double2 values) {
    Long2 sum;
    std::memcpy(&sum, sums, sizeof sum);
    sum += reinterpret_cast<Long2>(values + kNear) - kBitsOfNear;
    std::memcpy(sums, &sum, sizeof sum);
}

void add_four(std::int64_t* sums, Float4 values) {
    add_steps(sums, lower_doubles(values));
    add_steps(sums + 2, upper_doubles(values));
}

Float4 load(const float* values) {
    Float4 four;
    std::memcpy(&four, values, sizeof four);
    return four;
}

// is_whole_steps in each lane.
Int4 are_whole_steps(Float4 values, Int4 is_zero) {
    constexpr std::int32_t kSize = 0x7FFFFFFF; // all bits but the sign
    constexpr Int4 kSizes = {kSize, kSize, kSize, kSize};
    constexpr Float4 kLeast = {kLeastOfSteps, kLeastOfSteps, kLeastOfSteps, kLeastOfSteps};
    constexpr Float4 kMost = {kMostOfSteps, kMostOfSteps, kMostOfSteps, kMostOfSteps};
    const auto size = reinterpret_cast<Float4>(reinterpret_cast<Int4>(values) & kSizes);
    return ((size >= kLeast) & (size < kMost)) | is_zero;
}

std::size_t values_of(const ExactRow& row) {
    return std::max(row.steps.size(), row.doubles.size());
}

// Whole numbers of 2^-64, as floats from 2^-41 on are.
double in_fine_steps(float value) {
    constexpr float kAllFine = 0x1p-41f;
    constexpr double kNearFine = 0x1.8p-12; // the last bit of a double near it is 2^-64
    const double wide = std::clamp(value, -kLargestOfFrame, kLargestOfFrame);
    return std::fabs(value) < kAllFine ? wide + kNearFine - kNearFine : wide;
}

void add_doubles(std::vector<double>& sums, const float* values, float factor) {
    for (std::size_t i = 0; i < sums.size(); ++i)
        if (!std::isnan(values[i])) sums[i] += in_fine_steps(values[i] * factor);
}

// Of a whole number of 2^-64.
FixedPoint fixed_of(double value) {
    constexpr double kTwoTo64 = 0x1p64;
    const double size = std::fabs(value);
    const auto whole = static_cast<std::uint64_t>(size);
    const double fraction = (size - static_cast<double>(whole)) * kTwoTo64;
    const FixedPoint number = {static_cast<std::uint64_t>(fraction), whole};
    return value < 0.0 ? number_of(-wide_of(number)) : number;
}

FixedPoint sum_of(const ExactRow& row, std::size_t i) {
    if (!row.doubles.empty()) return fixed_of(row.doubles[i]);
    const std::int64_t steps = row.steps[i];
    FixedPoint sum = {static_cast<std::uint64_t>(steps) << (kFractionBits - kStepBits),
                      static_cast<std::uint64_t>(steps >> kStepBits)};
    if (!row.rest.empty()) add(sum, row.rest[i]);
    return sum;
}

} // namespace

void add_values(ExactRow& row, const float* values, float factor) {
    if (!row.doubles.empty()) return add_doubles(row.doubles, values, factor);
    constexpr std::size_t kOnce = 8;
    const std::size_t count = row.steps.size(), last = count - count % kOnce;
    const auto add_each = [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i)
            add_value(row, i, values[i] * factor);
    };
    for (std::size_t i = 0; i < last; i += kOnce) {
        const Float4 a = load(values + i) * factor, b = load(values + i + kOnce / 2) * factor;
        const Int4 no_a = a == Float4{}, no_b = b == Float4{};
        if (all_four(no_a & no_b)) continue;
        if (!all_four(are_whole_steps(a, no_a) & are_whole_steps(b, no_b))) {
            add_each(i, i + kOnce);
            continue;
        }
        add_four(&row.steps[i], a);
        add_four(&row.steps[i + kOnce / 2], b);
    }
    add_each(last, count);
}

double value_of(const ExactRow& row, std::size_t i) {
    if (!row.doubles.empty()) return row.doubles[i];
    constexpr std::int64_t kExact = std::int64_t{1} << 53; // as a double
    const std::int64_t steps = row.steps[i];
    if (row.rest.empty() && steps < kExact && steps > -kExact)
        return kStep * static_cast<double>(steps);
    return to_double(sum_of(row, i));
}

std::vector<FixedPoint> SumsOf(const std::vector<ExactRow>& rows) {
    std::vector<FixedPoint> sums;
    for (const ExactRow& row : rows)
        for (std::size_t i = 0; i < values_of(row); ++i)
            sums.push_back(sum_of(row, i));
    return sums;
}

std::vector<ExactRow> RowsOf(const std::vector<FixedPoint>& sums,
                             const std::vector<ExactRow>& like) {
    std::vector<ExactRow> rows(like.size());
    const FixedPoint* first = sums.data();
    for (std::size_t y = 0; y < rows.size(); ++y) {
        const FixedPoint* end = first + values_of(like[y]);
        if (like[y].doubles.empty()) {
            rows[y].steps.resize(like[y].steps.size());
            rows[y].rest.assign(first, end);
        } else {
            std::transform(first, end, std::back_inserter(rows[y].doubles), to_double);
        }
        first = end;
    }
    return rows;
}

} // namespace mh
