// The command "info": what a scene holds, without rendering it.
// SPDX-License-Identifier: MIT
#include "captured_report.h"
#include "check/check.h"
#include "confine_scene.h"
#include "files.h"
#include "frame/phases.h"
#include "geometry/state.h"
#include "integrate/output_images.h"
#include "lights/state.h"
#include "math/count_text.h"
#include "math/memory.h"
#include "output/camera.h"
#include "output/state.h"
#include "run/estimator.h"
#include "run/state.h"
#include "scene_memory.h"
#include "shading/images.h"
#include "shading/state.h"

#include <algorithm>
#include <cstdio>
#include <iostream>

namespace mh {

namespace {

constexpr double kBytesOfMegabyte = 1024.0 * 1024.0;

std::string megabytes(double bytes) {
    char text[32] = {};
    std::snprintf(text, sizeof text, "%.1f MB", bytes / kBytesOfMegabyte);
    return text;
}

void append_count(std::string& text, std::size_t count, const char* name) {
    if (count > 0) text += ", " + CountText(static_cast<std::int64_t>(count), name);
}

void describe_object(std::string& text, const Object& object) {
    text += "object " + (object.name.empty() ? "(no name)" : object.name) + ": "
            + CountText(static_cast<std::int64_t>(object.parts.size()), "part");
    append_count(text, object.instances.size(), "instance");
    text += '\n';
    for (const Part& part : object.parts) {
        text += "  part: "
                + CountText(static_cast<std::int64_t>(part.positions.size()), "vertex", "vertices");
        append_count(text, part.triangles.size(), "triangle");
        append_count(text, part.tetragons.size(), "tetragon");
        append_count(text, part.cylinders.size(), "cylinder");
        append_count(text, part.particles.size(), "particle");
        text += ", " + megabytes(size_bytes(part)) + '\n';
    }
}

// Empty for a region that covers the picture.
std::string region_text(const Camera& camera) {
    if (camera.region_x0 <= 0 && camera.region_y0 <= 0 && camera.region_x1 >= camera.width
        && camera.region_y1 >= camera.height)
        return {};
    return ", region " + std::to_string(camera.region_x0) + ',' + std::to_string(camera.region_y0)
           + ',' + std::to_string(camera.region_x1) + ',' + std::to_string(camera.region_y1);
}

void describe_camera(std::string& text, const Camera& camera, std::size_t number) {
    text += "camera " + std::to_string(number) + (camera.name.empty() ? "" : ' ' + camera.name)
            + ": " + std::to_string(camera.width) + 'x' + std::to_string(camera.height) + ", "
            + CountText(camera.sample, "frame") + ", "
            + CountText(std::max(camera.pose_count, 0), "pose") + region_text(camera) + "\n";
    for (const Aov& aov : camera.aovs)
        text += "  output " + aov.image.path + '\n';
}

template<typename AnalyticLight>
void describe_lights(std::string& text, const std::vector<AnalyticLight>& lights,
                     const char* name) {
    for (const AnalyticLight& light : lights)
        text += std::string(name) + ": " + CountText(light.sample, "sample") + ", "
                + CountText(light.photons, "photon") + "\n";
}

double describe_images(std::string& text) {
    double bytes = 0.0;
    std::vector<Image*> images = {&SkyLight.image, &SkyLight.backdrop};
    for (Image& image : Textures)
        images.push_back(&image);
    for (Image* image : images) {
        if (image->path.empty()) continue;
        LoadImage(*image);
        bytes += static_cast<double>(size_bytes(*image));
        text += "image " + image->path + ": ";
        text += image->width > 0
                    ? std::to_string(image->width) + 'x' + std::to_string(image->height) + ", "
                          + CountText(image->channels, "channel") + " of "
                          + std::to_string(image->bits) + " bits, "
                          + megabytes(static_cast<double>(size_bytes(*image)))
                    : "cannot be read";
        text += '\n';
    }
    return bytes;
}

std::string description() {
    std::string text;
    std::int64_t primitives = 0;
    for (const Object& object : Objects) {
        describe_object(text, object);
        primitives += primitive_count(object);
    }
    for (std::size_t i = 1; i < Shaders.size(); ++i)
        text += "material " + Shaders[i].name + ": "
                + CountText(static_cast<std::int64_t>(Shaders[i].layers.size()), "layer") + "\n";
    describe_lights(text, PointLights, "point light");
    describe_lights(text, ParallelLights, "parallel light");
    text += "sky light: " + CountText(SkyLight.sample, "sample") + ", "
            + CountText(SkyLight.photons, "photon")
            + "\ngeometry light: " + CountText(GeometryLight.sample, "sample") + ", "
            + CountText(GeometryLight.photons, "photon") + "\n";
    for (std::size_t i = 0; i < Cameras.size(); ++i)
        describe_camera(text, Cameras[i], i);
    const double image_bytes = describe_images(text);
    return text + "mode: " + (chooses_gathering() ? "gather" : "path") + "\nseed: "
           + (RendererSettings.seed < 0 ? "none" : std::to_string(RendererSettings.seed))
           + "\ntotal: " + CountText(static_cast<std::int64_t>(Objects.size()), "object") + ", "
           + CountText(primitives, "primitive") + ", " + megabytes(image_bytes)
           + " of images\nmemory: about " + megabytes(EstimatedMemory()) + " of "
           + megabytes(MachineMemory()) + '\n';
}

} // namespace

int DescribeScene(const Arguments& arguments) {
    if (!IsDirectory(arguments.scene)) return kWrongUse;
    ConfineToScene(arguments);
    std::string text;
    {
        CapturedReport report;
        OpenChecked(arguments);
        text = description();
        ForgetOutputs();
        Finalize();
        Shutdown();
    }
    std::cout << text << std::flush;
    return kDone;
}

} // namespace mh
