// The exported functions, each with a generator of its arguments.
// SPDX-License-Identifier: MIT
#include "support/random_calls.h"

#include "frame/moonhare.h"
#include "support/small_scene.h"

#include <array>
#include <functional>
#include <limits>
#include <string_view>
#include <type_traits>
#include <vector>

namespace mh::test {
namespace {

constexpr std::size_t kLargestCount = 12; // of the arrays below
ChoiceSource draw = nullptr;
std::array<float, 3 * kLargestCount> floats;
std::array<int, 4 * kLargestCount> whole_numbers;
std::array<float, 3 * kLargestCount> pixels;

int below(int limit) {
    return static_cast<int>(draw(static_cast<unsigned>(limit)));
}

// Mostly small, so that many calls reach a record.
int random_whole() {
    if (below(20) == 0) return std::numeric_limits<int>::min();
    return below(10) == 0 ? -below(5) : below(below(3) == 0 ? int{kLargestCount} + 1 : 3);
}

float random_float() {
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
    constexpr float kOdd[] = {0.0f, -1.0f, 1e-30f, 3.4e38f, -1e20f, kInfinity, kNan};
    if (below(8) == 0) return kOdd[below(7)];
    return static_cast<float>(below(2000)) / 100.0f - 5.0f;
}

// Sky maps from a picture that an earlier call wrote take long: rarely.
const char* random_text() {
    constexpr const char* kTexts[] = {nullptr, "", "a", "none.png", "motion"};
    return below(300) == 0 ? "beauty.hdr" : kTexts[below(5)];
}

template<typename T>
T random_value() {
    if constexpr (std::is_same_v<T, bool>)
        return false; // no preview window
    else if constexpr (std::is_same_v<T, float>)
        return random_float();
    else if constexpr (std::is_same_v<T, const char*>)
        return random_text();
    else if constexpr (std::is_same_v<T, const float*>)
        return below(10) == 0 ? nullptr : floats.data();
    else if constexpr (std::is_same_v<T, float*>)
        return below(10) == 0 ? nullptr : pixels.data();
    else if constexpr (std::is_same_v<T, const int*>)
        return below(10) == 0 ? nullptr : whole_numbers.data();
    else if constexpr (std::is_pointer_v<T>) // rows of a matrix
        return below(3) == 0 ? nullptr : reinterpret_cast<T>(floats.data());
    else
        return static_cast<T>(random_whole());
}

template<typename Result, typename... Arguments>
std::function<void()> random_call(Result (*function)(Arguments...)) {
    return [function] { function(random_value<Arguments>()...); };
}

// With a camera, without which nothing renders.
void start() {
    mhStartup();
    mhAddCamera();
}

struct ExportedCall {
    std::string_view name;
    std::function<void()> make;
};

std::vector<ExportedCall> exported_calls(bool that_build) {
    std::vector<ExportedCall> calls = {
#define CALL(name) {#name, random_call(name)},
#include "exported_calls.inc"
#undef CALL
    };
    std::erase_if(calls, [&](const ExportedCall& call) {
        return (call.name.starts_with("mhSet") || call.name.starts_with("mhAdd")) != that_build;
    });
    for (ExportedCall& call : calls) {
        if (call.name == "mhStartup") call.make = start;
        if (call.name == "mhGo") call.make = [] { mhGo(nullptr); };
    }
    return calls;
}

void call_one_of(const std::vector<ExportedCall>& calls) {
    KeepSmall();
    calls[draw(static_cast<unsigned>(calls.size()))].make();
}

} // namespace

void DrawFrom(ChoiceSource source) {
    draw = source;
}

void FillArrays() {
    for (float& value : floats)
        value = random_float();
    for (int& value : whole_numbers)
        value = random_whole();
}

void CallStart() {
    start();
}

void CallInitialize() {
    KeepSmall();
    mhInitialize();
}

void CallToBuild() {
    static const std::vector<ExportedCall> calls = exported_calls(true);
    call_one_of(calls);
}

void CallPhase() {
    static const std::vector<ExportedCall> calls = exported_calls(false);
    call_one_of(calls);
}

} // namespace mh::test
