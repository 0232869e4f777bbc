// The command "convert".
// SPDX-License-Identifier: MIT
#include "pictures/convert.h"

#include "files.h"
#include "frame/phases.h"
#include "math/srgb.h"
#include "output/image_writer.h"
#include "output/state.h"
#include "pictures/pixels.h"

#include <cmath>

namespace mh {

namespace {

// A ratio of quadratics fitted to the filmic curve of the ACES output transform, [Narkowicz15].
float aces(float x) {
    constexpr float a = 2.51f, b = 0.03f, c = 2.43f, d = 0.59f, e = 0.14f;
    return (x * (a * x + b)) / (x * (c * x + d) + e);
}

// Toe, linear part and shoulder of a film's response, [Hable10], before its white is set to 1.
float film_response(float x) {
    constexpr float a = 0.15f, b = 0.50f, c = 0.10f, d = 0.20f, e = 0.02f, f = 0.30f;
    return (x * (a * x + c * b) + d * e) / (x * (a * x + b) + d * f) - e / f;
}

float filmic(float x) {
    constexpr float kWhite = 11.2f; // the linear value that becomes 1
    constexpr float kBias = 2.0f;   // exposure that keeps the middle greys where they were
    return film_response(kBias * x) / film_response(kWhite);
}

using Curve = float (*)(float);

Curve curve_of(const std::string& name) {
    if (name == "aces") return aces;
    if (name == "filmic") return filmic;
    return nullptr;
}

float converted(float value, float factor, Curve curve, bool linear) {
    value *= factor;
    if (curve != nullptr) value = value > 0.0f ? curve(std::fmin(value, 1e15f)) : 0.0f;
    constexpr float kHalfStep = 0.5f / 255.0f; // the writer cuts to a byte: this rounds
    return linear ? value : std::fmin(srgb_of(value) + kHalfStep, 1.0f);
}

void convert(Pixels& pixels, bool to_linear, float factor, Curve curve) {
    MakeLinear(pixels);
    for (Vec3& value : pixels.values)
        for (float* channel : {&value.x, &value.y, &value.z})
            *channel = converted(*channel, factor, curve, to_linear);
}

int fail(int status, const std::string& reason) {
    Complain(reason);
    return status;
}

int convert_started(const Arguments& arguments) {
    Pixels pixels;
    std::string unread = ReadPixels(arguments.first_image, pixels, arguments.layer);
    if (unread.empty()) unread = FaultOfLayer(arguments, pixels);
    if (!unread.empty()) return fail(kSceneFaults, unread);
    convert(pixels, HoldsFloats(arguments.second_image),
            static_cast<float>(std::exp2(arguments.exposure)), curve_of(arguments.tonemap));
    const std::string unwritten = WritePixels(arguments.second_image, pixels);
    return unwritten.empty() ? kDone : fail(kNotWritten, unwritten);
}

} // namespace

std::string FaultOfLayer(const Arguments& arguments, const Pixels& first) {
    if (arguments.layer.empty() || first.is_layer) return {};
    return "cannot read " + arguments.first_image + ": it has no layers";
}

int ConvertImage(const Arguments& arguments) {
    Startup();
    ImageWriting.exr_floats = arguments.exr == "float";
    const int status = convert_started(arguments);
    Finalize();
    Shutdown();
    return status;
}

} // namespace mh
