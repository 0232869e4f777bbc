// The summary in words and as JSON.
// SPDX-License-Identifier: MIT
#include "import/summary.h"

#include "frame/phases.h"
#include "json_text.h"
#include "math/at.h"
#include "math/count_text.h"
#include "pictures/pixels.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace mh {

namespace {

std::string count(std::size_t number, const char* one, const char* more = "") {
    return CountText(static_cast<std::int64_t>(number), one, more);
}

std::string lines(const char* head, const std::vector<std::string>& items) {
    std::string text;
    for (const std::string& item : items)
        text += std::string(head) + ": " + item + '\n';
    return text;
}

std::vector<std::string> each_once(std::vector<std::string> items) {
    std::vector<std::string> kept;
    for (const std::string& item : items)
        if (std::find(kept.begin(), kept.end(), item) == kept.end()) kept.push_back(item);
    return kept;
}

} // namespace

Summary SummaryOf(const ImportedScene& scene, const MappedScene& mapped, const std::string& file,
                  const std::string& directory) {
    Summary s;
    s.file = file;
    s.directory = directory;
    s.meshes = mapped.meshes.size();
    for (const MeshFile& mesh : mapped.meshes)
        s.triangles += scene.meshes[mesh.mesh].triangles.size();
    s.instances = mapped.instances;
    s.materials = scene.materials.size();
    s.pictures = mapped.pictures.size();
    s.lights = mapped.lamps;
    s.cameras = scene.cameras.size();
    const Extent extent = ExtentOf(scene, PlaceNodes(scene));
    const Vec3 diagonal = extent.high - extent.low;
    s.size_m = std::sqrt(static_cast<double>(dot(diagonal, diagonal)));
    s.duration_s = scene.duration_s;
    s.own_light = mapped.lamps > 0;
    s.own_camera = mapped.has_camera;
    s.approximated = each_once(mapped.approximated);
    s.dropped = each_once(mapped.dropped);
    return s;
}

std::string TextOf(const Summary& s, bool is_short) {
    char size[32] = {};
    std::snprintf(size, sizeof size, "%.3g", s.size_m);
    const std::string counts =
        s.file + ": " + count(s.triangles, "triangle") + " in " + count(s.meshes, "mesh", "meshes")
        + ", " + count(s.instances, "instance") + ", " + count(s.materials, "material") + ", "
        + count(s.pictures, "picture") + ", " + count(s.lights, "light") + ", "
        + count(s.cameras, "camera") + "; " + size + " m across";
    if (is_short)
        return counts + "; " + std::to_string(s.approximated.size()) + " approximated, "
               + std::to_string(s.dropped.size()) + " dropped";
    std::string text = counts + '\n';
    if (s.duration_s > 0.0)
        text += "an animation of " + Json(s.duration_s).dump() + " s: --time poses it\n";
    if (!s.own_light) text += "no light: a grey sky and a soft light were added\n";
    if (!s.own_camera) text += "no camera: one that sees everything was added\n";
    return text + lines("approximated", s.approximated) + lines("dropped", s.dropped)
           + "render it with: moonhare " + s.directory + '\n';
}

std::string JsonOf(const Summary& s) {
    return JsonLine({{"file", s.file},
                     {"directory", s.directory},
                     {"meshes", s.meshes},
                     {"triangles", s.triangles},
                     {"instances", s.instances},
                     {"materials", s.materials},
                     {"pictures", s.pictures},
                     {"lights", s.lights},
                     {"cameras", s.cameras},
                     {"size_m", s.size_m},
                     {"duration_s", s.duration_s},
                     {"own_light", s.own_light},
                     {"own_camera", s.own_camera},
                     {"approximated", s.approximated},
                     {"dropped", s.dropped}});
}

std::optional<double> FittingExposure(const std::string& picture) {
    constexpr double kDark = 0.25, kBright = 2.0, kWanted = 0.8, kShare = 0.9;
    Startup();
    Pixels pixels;
    const std::string fault = ReadPixels(picture, pixels);
    Finalize();
    Shutdown();
    std::vector<double> lit;
    for (const Vec3& v : pixels.values)
        if (max_channel(v) > 0.0f) lit.push_back((double{v.x} + v.y + v.z) / 3.0);
    if (!fault.empty() || lit.empty()) return std::nullopt;
    const auto place = static_cast<std::ptrdiff_t>(kShare * static_cast<double>(lit.size() - 1));
    std::nth_element(lit.begin(), lit.begin() + place, lit.end());
    const double bright = at(lit, place);
    if (!std::isfinite(bright) || (bright >= kDark && bright <= kBright)) return 0.0;
    return std::clamp(std::round(std::log2(kWanted / bright)), -30.0, 30.0);
}

} // namespace mh
