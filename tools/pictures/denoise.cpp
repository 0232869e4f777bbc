// The command "denoise".
// SPDX-License-Identifier: MIT
#include "pictures/denoise.h"

#include "denoise/denoise.h"
#include "files.h"
#include "frame/denoised_images.h"
#include "frame/phases.h"
#include "math/count_text.h"
#include "output/image_writer.h"
#include "output/state.h"
#include "pictures/pixels.h"

#include <cmath>
#include <filesystem>

namespace mh {

namespace {

int fail(int status, const std::string& reason) {
    Complain(reason);
    return status;
}

std::string size_text(const Pixels& pixels) {
    return std::to_string(pixels.width) + 'x' + std::to_string(pixels.height);
}

// Three floats a pixel; what is not finite becomes 0, which is said.
std::vector<float> floats_of(const std::string& path, const Pixels& pixels) {
    std::vector<float> floats;
    std::int64_t replaced = 0;
    for (const Vec3& value : pixels.values) {
        const Vec3 finite = is_finite(value) ? value : Vec3{};
        floats.insert(floats.end(), {finite.x, finite.y, finite.z});
        replaced += is_finite(value) ? 0 : 1;
    }
    if (replaced > 0)
        Complain(path + ": " + CountText(replaced, "pixel")
                 + " with values that are not finite count as black");
    return floats;
}

struct FeatureFile {
    const char* option;
    const std::string* path;
    std::vector<float> floats; // empty where there is none
};

// Why the file is not used, or empty; without a name nothing is read.
std::string read_feature(const Pixels& picture, FeatureFile& feature) {
    if (feature.path->empty()) return {};
    Pixels pixels;
    const std::string fault = ReadPixels(*feature.path, pixels);
    if (!fault.empty()) return fault;
    if (pixels.width != picture.width || pixels.height != picture.height)
        return *feature.path + " has " + size_text(pixels) + " pixels, the picture "
               + size_text(picture);
    feature.floats = floats_of(*feature.path, pixels);
    const auto is_first = [&](float value) { return value == feature.floats[0]; };
    if (std::all_of(feature.floats.begin(), feature.floats.end(), is_first))
        Complain(*feature.path + ": all pixels are alike; it does not help the denoiser");
    return {};
}

NoisyImage view(const std::vector<float>& floats) {
    return {floats.empty() ? 0 : 3, {floats, floats}};
}

std::vector<float> first_channel(const std::vector<float>& floats) {
    std::vector<float> result;
    for (std::size_t i = 0; i < floats.size(); i += 3)
        result.push_back(floats[i]);
    return result;
}

// Sum over the channels, from errors over the pixel's brightness.
std::vector<float> variance_of(const std::vector<float>& noise, const std::vector<float>& picture) {
    std::vector<float> variance(noise.size() / 3);
    for (std::size_t i = 0; i < noise.size(); ++i) {
        const std::size_t first = i - i % 3;
        const float light = (picture[first] + picture[first + 1] + picture[first + 2]) / 3.0f;
        variance[i / 3] += noise[i] * light * noise[i] * light;
    }
    return variance;
}

int denoise_started(const Arguments& arguments) {
    const std::string path =
        arguments.output.empty() ? DenoisedPath(arguments.first_image) : arguments.output;
    if (arguments.output.empty() && std::filesystem::exists(path))
        return fail(kNotWritten, path + " exists already; use --output " + path + " to replace it");
    Pixels picture;
    const std::string unread = ReadPixels(arguments.first_image, picture);
    if (!unread.empty()) return fail(kSceneFaults, unread);
    FeatureFile files[] = {{"--albedo", &arguments.albedo, {}},
                           {"--normal", &arguments.normal, {}},
                           {"--depth", &arguments.depth, {}},
                           {"--noise", &arguments.noise_image, {}}};
    for (FeatureFile& file : files)
        if (const std::string fault = read_feature(picture, file); !fault.empty())
            return fail(kSceneFaults, std::string(file.option) + ": " + fault);
    const std::vector<float> colours = floats_of(arguments.first_image, picture);
    const std::vector<float> depth = first_channel(files[2].floats);
    const std::vector<float> variance = variance_of(files[3].floats, colours);
    NoisyImage depths = view(depth);
    depths.channels = depth.empty() ? 0 : 1;
    DenoiseInput input;
    input.width = picture.width;
    input.height = picture.height;
    input.picture = view(colours);
    input.albedo = view(files[0].floats);
    input.normal = view(files[1].floats);
    input.depth = depths;
    input.variance = variance;
    const DenoiseOutput output = Denoise(input);
    for (std::size_t i = 0; i < picture.values.size(); ++i)
        picture.values[i] = {output.picture[3 * i], output.picture[3 * i + 1],
                             output.picture[3 * i + 2]};
    const std::string unwritten = WritePixels(path, picture);
    return unwritten.empty() ? kDone : fail(kNotWritten, unwritten);
}

} // namespace

int DenoiseImage(const Arguments& arguments) {
    Startup();
    ImageWriting.exr_floats = arguments.exr == "float";
    const int status = denoise_started(arguments);
    Finalize();
    Shutdown();
    return status;
}

} // namespace mh
