// Options that change the scene once it is read.
// SPDX-License-Identifier: MIT
#include "overrides.h"

#include "check/scale_defaults.h"
#include "geometry/state.h"
#include "integrate/output_images.h"
#include "math/at.h"
#include "math/control_group.h"
#include "math/count_text.h"
#include "output/camera.h"
#include "output/feature_planes.h"
#include "output/state.h"
#include "run/state.h"
#include "scene/blocks.h"
#include "scene_memory.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>

#include <omp.h>

namespace mh {

namespace {

void set_size(Camera& camera, const Arguments& arguments) {
    if (arguments.resolution) {
        // A region that covers the picture goes on covering it.
        const bool whole = camera.region_x0 <= 0 && camera.region_y0 <= 0
                           && camera.region_x1 >= camera.width && camera.region_y1 >= camera.height;
        camera.width = (*arguments.resolution)[0];
        camera.height = (*arguments.resolution)[1];
        if (whole) camera.region_x1 = camera.width, camera.region_y1 = camera.height;
    }
}

void set_region(Camera& camera, const Arguments& arguments) {
    if (!arguments.region) return;
    const auto& [x0, y0, x1, y1] = *arguments.region;
    camera.region_x0 = x0;
    camera.region_y0 = y0;
    camera.region_x1 = x1;
    camera.region_y1 = y1;
}

void set_renderer(const Arguments& arguments) {
    RendererSettingsRecord& settings = RendererSettings;
    if (arguments.gather) settings.sample = *arguments.gather;
    if (arguments.bounce) settings.bounce = *arguments.bounce;
    if (arguments.ray_depth) settings.ray_depth = *arguments.ray_depth;
    if (arguments.seed) settings.seed = *arguments.seed;
    if (arguments.noise_target) settings.noise = static_cast<float>(*arguments.noise_target);
    if (arguments.adaptive) settings.adaptive = true;
    // What is put together with other runs is of the same images with and without a report.
    const bool stands_alone =
        arguments.checkpoint.empty() && arguments.resume.empty() && arguments.partial.empty();
    if (!arguments.report.empty() && stands_alone) AskForPlanes(PlaneNeed::noise);
    if (arguments.mode == "path") settings.distance = 0.0f;
    if (arguments.mode != "gather") return;
    const GatherScale& scale = GatherScaleOfScene(); // a scene for path tracing has a 0 in either
    if (!(settings.distance > 0.0f)) settings.distance = scale.distance;
    if (!(settings.resolution > 0.0f)) settings.resolution = scale.resolution;
}

// Those that the scene has already stay as they are.
void add_aovs(Camera& camera, const std::vector<std::string>& types) {
    for (const std::string& type : types) {
        const auto has_type = [&](const Aov& aov) { return ChannelName(aov) == type; };
        if (std::any_of(camera.aovs.begin(), camera.aovs.end(), has_type)) continue;
        camera.aovs.push_back(AovOfType(type));
        camera.aovs.back().image.path = type + ".exr";
    }
}

void move_outputs(const std::filesystem::path& folder) {
    ForEachOutput([&](Aov& aov, Filling) {
        std::string& path = aov.image.path;
        if (!path.empty()) path = (folder / path).string();
    });
}

bool has_geometry() {
    return std::any_of(Objects.begin(), Objects.end(),
                       [](const Object& object) { return primitive_count(object) > 0; });
}

} // namespace

bool has_pixels(const Camera& camera) {
    return pixel_count(RenderedRegion(camera)) > 0;
}

void OverrideEstimator(const Arguments& arguments) {
    if (arguments.estimator.empty()) return;
    RendererSettings.estimator =
        arguments.estimator == "exact" ? Estimator::exact : Estimator::classic;
}

std::string ApplyOverrides(const Arguments& arguments, PixelRegion& region_of_scene) {
    set_renderer(arguments);
    if (Cameras.empty()) return "the scene has no camera";
    if (!has_geometry()) return "no object of the scene holds geometry";
    const auto number = to_size(arguments.camera.value_or(0));
    if (number >= Cameras.size())
        return "the scene has " + CountText(static_cast<std::int64_t>(Cameras.size()), "camera")
               + ", numbered from 0: there is no camera " + std::to_string(number);
    Cameras = {Cameras[number]}; // what is not rendered is not written
    if (!arguments.exr.empty()) ImageWriting.exr_floats = arguments.exr == "float";
    Camera& camera = Cameras[0];
    set_size(camera, arguments);
    region_of_scene = RenderedRegion(camera);
    set_region(camera, arguments);
    if (arguments.sample) camera.sample = *arguments.sample;
    if (!arguments.beauty.empty()) camera.aovs[0].image.path = arguments.beauty;
    add_aovs(camera, arguments.aovs);
    if (!arguments.output_dir.empty()) move_outputs(arguments.output_dir);
    if (std::string fault = SizeFault(camera); !fault.empty()) return fault;
    if (has_pixels(camera)) return {};
    std::string fault = kNoPixel;
    return fault.append(" of ")
        .append(std::to_string(camera.width))
        .append("x")
        .append(std::to_string(camera.height));
}

int usable_processors() {
    const int allowed = omp_get_max_threads();
    if (std::getenv("OMP_NUM_THREADS") != nullptr) return allowed;
    const double quota = std::min(std::ceil(ProcessorQuota()), static_cast<double>(allowed));
    return std::max(static_cast<int>(quota), 1);
}

} // namespace mh
