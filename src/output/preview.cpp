// The preview: loads the plug-in of the window at its first use, and serves it with frames, and the
// beauty image in sRGB. Lives as long as one call of RunPreview.
// SPDX-License-Identifier: MIT
#include "output/preview.h"

#include "math/helper_process.h"
#include "math/stop.h"
#include "output/camera.h"
#include "output/display.h"
#include "output/image_writer.h"
#include "output/preview_window.h"
#include "output/run_hooks.h"
#include "output/state.h"
#include "run/report.h"

#include <cstdio>
#include <exception>
#include <string>

#include <dlfcn.h>
#include <unistd.h>

namespace mh {

namespace {

// Nothing of a frame may unwind through the window library: what is thrown waits in Preview.
template<typename Act>
auto guarded(const Act& act) -> decltype(act()) {
    try {
        return act();
    } catch (...) {
        Preview.thrown = std::current_exception();
        return {};
    }
}

void opened() {
    Preview.is_open = Preview.was_shown = true;
}

bool next_frame() {
    return guarded([] { return !Preview.thrown && Preview.next_frame(); });
}

bool must_close() {
    return Preview.thrown != nullptr || stop_requested();
}

const std::uint8_t* pixels(std::int32_t& width, std::int32_t& height) {
    return guarded([&]() -> const std::uint8_t* {
        const Camera* camera = ActiveCamera();
        if (camera == nullptr) return nullptr;
        const Image& beauty = camera->aovs[0].image;
        if (beauty.floats.empty() || beauty.channels != 3) return nullptr;
        width = beauty.width;
        height = beauty.height;
        ToDisplay(beauty, Preview.stops, Preview.bytes);
        return Preview.bytes.data();
    });
}

const char* press(unsigned char key) {
    Preview.stops = exposure_after(key, Preview.stops);
    std::snprintf(Preview.title.data(), Preview.title.size(), "moonhare, exposure %+.1f",
                  static_cast<double>(Preview.stops));
    return Preview.title.data();
}

bool without_window(const std::string& reason) {
    ReportError("preview - no window: " + reason + "; rendering goes on without it");
    return false;
}

// It is never unloaded: the window library has work left for the end of the process.
const PreviewWindowPlugin* load_window(std::string& reason) {
    const std::string path = InstalledHelper(MOONHARE_PREVIEW_PLUGIN, R_OK);
    reason = "it needs " MOONHARE_PREVIEW_PLUGIN ", which is not installed";
    if (path.empty()) return nullptr;
    void* const plugin = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    reason = plugin == nullptr ? dlerror() : path + " is of another version";
    if (plugin == nullptr) return nullptr;
    const auto* found =
        static_cast<const PreviewWindowPlugin*>(dlsym(plugin, kPreviewWindowSymbol));
    return found != nullptr && found->version == kPreviewWindowVersion ? found : nullptr;
}

} // namespace

bool RunPreview(bool (*frame)()) {
    Preview = {};
    Preview.next_frame = frame;
    std::string reason;
    const PreviewWindowPlugin* const window = load_window(reason);
    if (window == nullptr) return without_window(reason);
    const Camera& camera = *ActiveCamera();
    const PreviewHost host = {camera.width, camera.height, opened, next_frame,
                              must_close,   pixels,        press};
    char fault[256] = {};
    const bool shown = window->run(host, fault, sizeof fault);
    Preview.is_open = false;
    if (Preview.thrown) std::rethrow_exception(Preview.thrown);
    return shown || without_window(fault);
}

bool PreviewIsOpen() {
    return Preview.is_open;
}

bool PreviewWasShown() {
    return Preview.was_shown;
}

} // namespace mh
