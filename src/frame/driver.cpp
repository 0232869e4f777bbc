// The one-shot driver: a scene directory in, image files out.
// SPDX-License-Identifier: MIT
#include "frame/phases.h"
#include "geometry/state.h"
#include "math/clock.h"
#include "output/preview.h"
#include "run/report.h"
#include "run/state.h"
#include "scene/scene_reader.h"
#include "shading/state.h"

#include <algorithm>
#include <string_view>

namespace mh {

namespace {

// "Apr 20 2015"; the build sets it, from SOURCE_DATE_EPOCH where a build has to be reproducible.
constexpr std::string_view kBuildDate = MOONHARE_BUILD_DATE;
constexpr std::string_view kBannerStart = "            moonhare ";
constexpr std::string_view kBannerEnd = "   physically based ray tracing, light by light ";
static_assert(kBannerStart.size() + kBuildDate.size() + kBannerEnd.size() == 80);

void report_banner() {
    ReportRule();
    ReportText(std::string(kBannerStart).append(kBuildDate).append(kBannerEnd));
    ReportRule();
}

void add_once(std::vector<std::string>& paths, const std::string& path) {
    if (std::find(paths.begin(), paths.end(), path) == paths.end()) paths.push_back(path);
}

void set_search_paths(const std::string& directory) {
    ImageSearchPaths.clear();
    for (const std::string& path : {directory + "image", directory, std::string()})
        add_once(ImageSearchPaths, path);
    GeometrySearchPaths = {directory + "geometry", directory, ""};
}

void read_scene(const std::string& directory, const ReadListener& listener) {
    const std::int64_t start = milliseconds_now();
    for (const char* folder : {"/shader", "/render", "/light", "/camera", "/geometry"})
        ScanSceneFolder(directory + folder, listener);
    const auto elapsed_ms = static_cast<float>(milliseconds_now() - start);
    ReportLine("scene parsing", elapsed_ms / 1000.0f, "seconds");
    ReportRule();
}

} // namespace

void OpenScene(const std::string& directory, const ReadListener& listener) {
    Startup();
    report_banner();
    set_search_paths(directory);
    SceneDirectory = directory;
    read_scene(directory, listener);
}

void CloseScene() {
    if (PreviewWindow && PreviewWasShown()) {
        ReportText(
            "         click to close the preview window. happy rendering. thank you!         ");
        ReportRule();
    }
    Finalize();
    Shutdown();
}

void Go(const std::string& directory) {
    OpenScene(directory);
    Initialize();
    Render();
    CloseScene();
}

} // namespace mh
