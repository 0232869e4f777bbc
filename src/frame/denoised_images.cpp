// From the images and planes of a render to the denoiser and out to files.
// SPDX-License-Identifier: MIT
#include "frame/denoised_images.h"

#include "denoise/denoise.h"
#include "frame/state.h"
#include "integrate/noise.h"
#include "integrate/output_images.h"
#include "output/camera.h"
#include "output/feature_planes.h"
#include "output/image_writer.h"
#include "output/state.h"
#include "run/report.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <utility>

namespace mh {

namespace {

std::string beside(const std::string& path, const char* suffix) {
    if (path.empty()) return {};
    const std::filesystem::path whole = path;
    std::filesystem::path name = whole.stem();
    name += suffix;
    name += whole.extension();
    return (whole.parent_path() / name).string();
}

NoisyImage view(const Plane& plane) {
    return {plane.channels, {plane.half[0], plane.half[1]}};
}

// A single frame has no halves.
NoisyImage picture_of(const FeaturePlanes& planes) {
    NoisyImage picture = view(planes.beauty);
    const float most = *std::max_element(planes.frames.begin(), planes.frames.end());
    if (most < 2.0f) picture.half[1] = picture.half[0];
    return picture;
}

bool is_light_of(const Image& image, const FeaturePlanes& planes) {
    return !image.path.empty() && image.width == planes.width && image.height == planes.height
           && image.floats.size() == planes.beauty.half[0].size();
}

// AOVs of lights: what frames add up to and no camera owns.
std::vector<Image> light_images() {
    std::vector<Image> images;
    ForEachOutput([&](Aov& aov, Filling filling) {
        const auto own = [&](const Camera& camera) {
            return std::any_of(camera.aovs.begin(), camera.aovs.end(),
                               [&](const Aov& other) { return &other == &aov; });
        };
        const bool adds_frames = filling == Filling::sum || filling == Filling::mean;
        if (adds_frames && std::none_of(Cameras.begin(), Cameras.end(), own))
            images.push_back(aov.image);
    });
    return images;
}

void write_as(const Image& like, const std::string& path, std::vector<float> floats) {
    Image image;
    image.width = like.width;
    image.height = like.height;
    image.path = path;
    image.floats = std::move(floats);
    WriteImage(image);
}

std::vector<float> in_three_channels(const std::vector<float>& values) {
    std::vector<float> result;
    for (const float value : values)
        result.insert(result.end(), 3, value);
    return result;
}

double light_of(const DenoiseOutput& output, std::size_t pixel) {
    double light = 0.0;
    for (std::size_t c = 0; c < 3; ++c)
        light += static_cast<double>(output.picture[3 * pixel + c]) / 3.0;
    return light;
}

double relative_error(const DenoiseOutput& output) {
    constexpr double kDarkest = 0.01; // of squared brightness
    double sum = 0.0;
    for (std::size_t i = 0; i < output.error.size(); ++i) {
        const double error = output.error[i], light = light_of(output, i);
        sum += error * error / (light * light + kDarkest);
    }
    return std::sqrt(sum / std::max(static_cast<double>(output.error.size()), 1.0));
}

// Takes the direct light out of the picture.
DenoiseInput input_of(FeaturePlanes& planes) {
    DenoiseInput input;
    input.width = planes.width;
    input.height = planes.height;
    input.picture = picture_of(planes);
    input.albedo = view(planes.albedo);
    input.normal = view(planes.normal);
    input.depth = view(planes.depth);
    input.spread = planes.beauty.variance;
    input.frames = planes.frames;
    if (!HasHalves(input.picture)) return input;
    for (const std::size_t half : {0u, 1u})
        for (std::size_t i = 0; i < planes.beauty.half[half].size(); ++i)
            planes.beauty.half[half][i] -= planes.direct.half[half][i];
    planes.beauty.variance = {}; // frees memory for the filter
    input.direct = view(planes.direct);
    input.spread = planes.direct.variance;
    return input;
}

DenoisedError error_of(const FeaturePlanes& planes, const DenoiseOutput& output) {
    std::vector<NoiseOfPixel> pixels(output.error.size());
    for (std::size_t i = 0; i < pixels.size(); ++i)
        if (planes.frames[i] > 0.0f)
            pixels[i] = {1.0f, static_cast<float>(light_of(output, i)), output.error[i]};
    return {relative_error(output), PercentileOfBlocks(pixels, planes.width)};
}

} // namespace

std::string DenoisedPath(const std::string& path) {
    return beside(path, "_denoised");
}

std::string ErrorPath(const std::string& path) {
    return beside(path, "_error");
}

double DenoisedNoise() {
    if (!keeps_features()) return MeasureNoise().percentile;
    FeaturePlanes planes = PlanesOf(PlaneSums.sums);
    return error_of(planes, Denoise(input_of(planes))).percentile;
}

void KeepLightImages() {
    if (PlaneSums.asked == PlaneNeed::features) LightImages = light_images();
}

DenoisedError WriteDenoisedImages() {
    const std::vector<Image> lights = std::exchange(LightImages, {});
    const Camera* camera = ActiveCamera();
    if (camera == nullptr) return {};
    std::vector<const Image*> list;
    for (const Image& light : lights)
        list.push_back(&light);
    return WriteDenoisedImages(camera->aovs[0].image, std::move(list));
}

DenoisedError WriteDenoisedImages(const Image& beauty, std::vector<const Image*> lights) {
    if (!keeps_features()) return {};
    FeaturePlanes planes = TakeFeaturePlanes();
    std::erase_if(lights, [&](const Image* light) { return !is_light_of(*light, planes); });
    DenoiseInput input = input_of(planes);
    for (const Image* light : lights)
        input.parts.emplace_back(light->floats);
    DenoiseOutput output = Denoise(input);
    if (!output.fault.empty())
        ReportWarning("Open Image Denoise: " + output.fault + "; our own filter is used");
    const DenoisedError error = error_of(planes, output);
    for (std::size_t i = 0; i < lights.size(); ++i)
        write_as(*lights[i], DenoisedPath(lights[i]->path), std::move(output.parts[i]));
    write_as(beauty, DenoisedPath(beauty.path), std::move(output.picture));
    write_as(beauty, ErrorPath(beauty.path), in_three_channels(output.error));
    return error;
}

} // namespace mh
