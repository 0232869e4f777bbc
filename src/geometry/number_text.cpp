// Conversion of decimal numbers. Numbers of up to 15 digits and small exponents, which is nearly
// all that a file holds, take one exact multiplication or division; the others go to the library.
// SPDX-License-Identifier: MIT
#include "geometry/number_text.h"

#include "math/at.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>

namespace mh {

namespace {

// A number's digits as an integer times a power of ten.
struct Decimal {
    std::uint64_t digits = 0;
    int exponent = 0; // of ten
    int count = 0;    // of digits read
    bool cut = false; // more digits than the integer holds
};

constexpr bool is_digit(char c) {
    return c >= '0' && c <= '9';
}

bool read_sign(TextCursor& text) {
    if (at_end(text) || (*text.next != '-' && *text.next != '+')) return false;
    return *text.next++ == '-';
}

// Digits before the point (scale 0) or behind it (scale -1).
void read_digits(TextCursor& text, Decimal& number, int scale) {
    constexpr std::uint64_t kRoom = 1'000'000'000'000'000'000u; // one more digit still fits
    for (; !at_end(text) && is_digit(*text.next); ++text.next, ++number.count) {
        if (number.digits < kRoom) {
            number.digits = number.digits * 10 + static_cast<std::uint64_t>(*text.next - '0');
            number.exponent += scale;
        } else {
            number.exponent += scale + 1;
            number.cut = true;
        }
    }
}

// "e", sign and digits; left alone unless a digit stands there.
void read_exponent(TextCursor& text, Decimal& number) {
    constexpr int kLargest = 100'000; // beyond every number; keeps the sum in range
    if (at_end(text) || (*text.next != 'e' && *text.next != 'E')) return;
    TextCursor rest = {text.next + 1, text.end};
    const bool negative = read_sign(rest);
    if (at_end(rest) || !is_digit(*rest.next)) return;
    int exponent = 0;
    for (; !at_end(rest) && is_digit(*rest.next); ++rest.next)
        exponent = std::min(exponent * 10 + (*rest.next - '0'), kLargest);
    number.exponent += negative ? -exponent : exponent;
    text.next = rest.next;
}

// Powers of ten that a double holds exactly.
constexpr std::array<double, 23> kPowers = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                            1e8,  1e9,  1e10, 1e11, 1e12, 1e13, 1e14, 1e15,
                                            1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
constexpr int kLargestPower = 22;
constexpr std::uint64_t kExactDigits = std::uint64_t{1} << 53;

// Both operands are exact, so the one operation rounds correctly [Clinger90].
double exact_value(const Decimal& number) {
    const double digits = static_cast<double>(number.digits);
    return number.exponent < 0 ? digits / at(kPowers, -number.exponent)
                               : digits * at(kPowers, number.exponent);
}

double library_value(const char* first, const char* last, const Decimal& number) {
    double value = 0.0;
    const auto result = std::from_chars(first, last, value);
    if (result.ec != std::errc::result_out_of_range) return value;
    return number.exponent > 0 ? std::numeric_limits<double>::infinity() : 0.0;
}

float to_float(double value) {
    constexpr double kLargest = std::numeric_limits<float>::max();
    return value > kLargest ? std::numeric_limits<float>::infinity() : static_cast<float>(value);
}

} // namespace

float read_real(TextCursor& text) {
    TextCursor rest = text;
    const bool negative = read_sign(rest);
    const char* const first = rest.next;
    Decimal number;
    read_digits(rest, number, 0);
    if (!at_end(rest) && *rest.next == '.') {
        ++rest.next;
        read_digits(rest, number, -1);
    }
    if (number.count == 0) return 0.0f;
    read_exponent(rest, number);
    text.next = rest.next;
    const bool exact = !number.cut && number.digits < kExactDigits
                       && number.exponent >= -kLargestPower && number.exponent <= kLargestPower;
    const float value =
        to_float(exact ? exact_value(number) : library_value(first, rest.next, number));
    return negative ? -value : value;
}

std::int64_t read_whole(TextCursor& text) {
    constexpr std::int64_t kLimit = std::int64_t{1} << 40; // beyond every index and count
    TextCursor rest = text;
    const bool negative = read_sign(rest);
    if (at_end(rest) || !is_digit(*rest.next)) return 0;
    std::int64_t value = 0;
    for (; !at_end(rest) && is_digit(*rest.next); ++rest.next)
        value = std::min(value * 10 + (*rest.next - '0'), kLimit);
    text.next = rest.next;
    return negative ? -value : value;
}

} // namespace mh
