// Pictures of a folder, whole and as thumbnails.
// SPDX-License-Identifier: MIT
#include "serve/folder.h"

#include "files.h"
#include "frame/phases.h"
#include "json_text.h"
#include "math/at.h"
#include "pictures/pixels.h"
#include "run_control.h"
#include "serve/live_images.h"
#include "serve/page_reply.h"
#include "serve/viewer.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <filesystem>
#include <map>
#include <mutex>
#include <string_view>
#include <thread>

namespace mh {

namespace {

namespace fs = std::filesystem;

constexpr std::array<std::string_view, 10> kExtensions = {".exr", ".hdr", ".png",  ".jpg", ".jpeg",
                                                          ".pfm", ".tif", ".tiff", ".tga", ".bmp"};
constexpr std::size_t kMostPictures = 1000;
constexpr std::int64_t kMostPixels = 1 << 26;
constexpr int kThumbnailSide = 96;

struct PictureFolder {
    std::mutex lock; // one picture is decoded at a time
    std::string path;
    std::vector<std::string> names;                // a picture keeps its number
    std::map<std::string, std::string> thumbnails; // by name and time of writing
};

PictureFolder folder;

bool is_picture(const fs::directory_entry& entry) {
    std::error_code fault;
    const std::string extension = ExtensionOf(entry.path().string());
    return entry.is_regular_file(fault)
           && std::find(kExtensions.begin(), kExtensions.end(), extension) != kExtensions.end();
}

void find_pictures() {
    std::error_code fault;
    std::vector<std::string> found;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder.path, fault))
        if (is_picture(entry)) found.push_back(entry.path().filename().string());
    std::sort(found.begin(), found.end());
    for (const std::string& name : found) {
        const bool is_known =
            std::find(folder.names.begin(), folder.names.end(), name) != folder.names.end();
        if (!is_known && folder.names.size() < kMostPictures) folder.names.push_back(name);
    }
}

Reply list_pictures() {
    const std::lock_guard guard(folder.lock);
    find_pictures();
    return JsonReply(JsonLine({{"scene", fs::weakly_canonical(folder.path).filename().string()},
                               {"pictures", folder.names}}));
}

void append_pixel(std::vector<float>& values, const Vec3& value) {
    for (const float channel : {value.x, value.y, value.z})
        values.push_back(channel);
}

// Means of squares of pixels; the last ones may be cut off.
Pixels shrunk(const Pixels& pixels) {
    const int step = std::max(std::max(pixels.width, pixels.height) / kThumbnailSide, 1);
    Pixels result = {pixels.width / step, pixels.height / step, {}, true};
    const auto share = 1.0f / static_cast<float>(step * step);
    for (int y = 0; y < result.height; ++y)
        for (int x = 0; x < result.width; ++x) {
            Vec3 sum;
            for (int i = 0; i < step * step; ++i) {
                const std::int64_t row = std::int64_t{y} * step + i / step;
                const std::int64_t pixel = row * pixels.width + std::int64_t{x} * step + i % step;
                sum += at(pixels.values, pixel);
            }
            result.values.push_back(share * sum);
        }
    return result;
}

// Width and height, then three halves a pixel, of linear light.
std::string bytes_of(const Pixels& pixels) {
    std::vector<float> values;
    for (const Vec3& value : pixels.values)
        append_pixel(values, value);
    std::string bytes;
    AppendNumber(bytes, static_cast<std::uint32_t>(pixels.width));
    AppendNumber(bytes, static_cast<std::uint32_t>(pixels.height));
    return bytes + HalvesOf(values);
}

Reply read_picture(const std::string& name, bool is_thumbnail) {
    const std::string path = (fs::path(folder.path) / name).string();
    std::error_code fault;
    const auto written = fs::last_write_time(path, fault).time_since_epoch().count();
    const std::string key = name + '\n' + std::to_string(written);
    const auto kept = folder.thumbnails.find(key);
    const Reply empty = {
        .type = "application/octet-stream",
        .headers = {{"Cache-Control", "no-store"}, {"X-Content-Type-Options", "nosniff"}}};
    Reply reply = empty;
    if (is_thumbnail && kept != folder.thumbnails.end()) {
        reply.body = kept->second;
        return reply;
    }
    Pixels pixels;
    const std::string unread = ReadPixels(path, pixels);
    if (!unread.empty()) return {.status = 404, .body = unread + '\n'};
    if (std::int64_t{pixels.width} * pixels.height > kMostPixels)
        return {.status = 404, .body = name + " is too large for a page\n"};
    MakeLinear(pixels);
    reply.body = bytes_of(is_thumbnail ? shrunk(pixels) : pixels);
    if (is_thumbnail) folder.thumbnails[key] = reply.body;
    return reply;
}

} // namespace

bool IsPictureFolder(const std::string& path) {
    constexpr std::array<const char*, 5> kSceneFolders = {"shader", "render", "light", "camera",
                                                          "geometry"};
    return std::none_of(kSceneFolders.begin(), kSceneFolders.end(), [&](const char* name) {
        std::error_code fault;
        return fs::is_directory(fs::path(path) / name, fault);
    });
}

void OpenPictureFolder(const std::string& path) {
    folder.path = path;
    Startup();
}

int WaitForEnd() {
    constexpr auto kPause = std::chrono::milliseconds(50);
    StartControl({{}, [] {}, [] {}});
    EndingBegins();
    while (!is_interrupted())
        std::this_thread::sleep_for(kPause);
    EndControl();
    return 0;
}

Reply AnswerFolder(const HttpHead& head) {
    if (head.method != "GET") return NothingThere();
    if (head.path == "/status") return list_pictures();
    const bool is_thumbnail = head.path == "/thumbnail";
    if (!is_thumbnail && head.path != "/picture") return NothingThere();
    const std::lock_guard guard(folder.lock);
    const auto image = WholeIn(head.value("image"), 0, static_cast<int>(folder.names.size()) - 1);
    if (!image) return NothingThere();
    return read_picture(at(folder.names, *image), is_thumbnail);
}

} // namespace mh
