// Requests of pages, taken to the session.
// SPDX-License-Identifier: MIT
#include "serve/live_answers.h"

#include "json_text.h"
#include "math/at.h"
#include "serve/live_images.h"
#include "serve/live_status.h"
#include "serve/page_reply.h"
#include "serve/requests.h"
#include "serve/session.h"
#include "serve/viewer.h"

#include <atomic>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <thread>

#include <unistd.h>

namespace mh {

namespace {

constexpr int kMostViewers = 8;
constexpr int kUpdate_ms = 100, kCheck_ms = 10; // between pictures; while a first one is awaited
constexpr int kStatus_ms = 250;
constexpr int kTries = 200;        // of 2 ms: the images are changing
constexpr double kMostTurn = 10.0; // radians or widths of a single move
constexpr int kMostImages = 64;

Allowance sending;
std::atomic<int> viewers = 0;

Reply bad_request() {
    return {.status = 400, .body = "a number is missing or out of range\n"};
}

Reply done() {
    return {.status = 204};
}

using Clock = std::chrono::steady_clock;

// A page's stream, from its first tile to its end.
struct Stream {
    Viewer viewer;
    Clock::time_point status_sent = {}, tiles_sent = {};
    std::uint32_t generation = 0;
    int scale = 0;
};

struct StreamEnd {
    void operator()(Stream* stream) const {
        ViewerLeft();
        --viewers;
        delete stream;
    }
};

bool is_past(Clock::time_point since, int milliseconds) {
    return Clock::now() - since >= std::chrono::milliseconds(milliseconds);
}

void append_status(Stream& stream, const LiveStatus& status, std::string& more) {
    AppendMessage(more, MessageKind::status, StatusJson(status));
    stream.status_sent = Clock::now();
}

// The first picture of a view goes out at once, others in step.
bool append_update(Stream& stream, std::string& more) {
    const std::uint64_t version = WaitForChange(stream.viewer.version, kCheck_ms);
    const LiveStatus status = StatusNow();
    if (version != stream.viewer.version || is_past(stream.status_sent, kStatus_ms))
        append_status(stream, status, more);
    stream.viewer.version = version;
    const bool is_new =
        stream.viewer.generation != status.generation || stream.viewer.scale != status.scale;
    if (!is_new && !is_past(stream.tiles_sent, kUpdate_ms)) return true;
    const bool rests = status.stage == LiveStage::done || status.stage == LiveStage::stopped;
    AppendTiles(stream.viewer, sending, status.coarsest, rests, more);
    if (!is_new) stream.tiles_sent = Clock::now();
    return true;
}

// "0" or "0,3": the numbers of the images that the page shows.
bool parse_images(const std::string& text, std::vector<SentTiles>& images) {
    std::istringstream parts(text);
    for (std::string part; std::getline(parts, part, ',');) {
        const std::optional<int> number = WholeIn(part, 0, kMostImages - 1);
        if (!number || images.size() == 2) return false;
        images.push_back({to_size(*number), {}});
    }
    return !images.empty();
}

Reply open_stream(const HttpHead& head) {
    std::vector<SentTiles> images;
    if (!parse_images(head.value("images"), images)) return bad_request();
    if (++viewers > kMostViewers) {
        --viewers;
        return {.status = 503, .body = "too many pages show this render\n"};
    }
    ViewerCame();
    const std::shared_ptr<Stream> stream(new Stream, StreamEnd());
    stream->viewer.images = std::move(images);
    return {.type = "application/octet-stream",
            .headers = {{"Cache-Control", "no-store"}, {"X-Content-Type-Options", "nosniff"}},
            .stream = [stream](std::string& more) { return append_update(*stream, more); }};
}

// Tries for as long as a restart may take.
bool with_images(
    const std::function<void(const std::vector<LiveImage>& images, LiveView view)>& act) {
    for (int i = 0; i < kTries; ++i) {
        if (WithImages(act)) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return false;
}

// Of a pixel of the whole picture, in all images.
Reply pixel_values(const HttpHead& head) {
    const LiveStatus status = StatusNow();
    const std::optional<int> x = WholeIn(head.value("x"), 0, status.width - 1);
    const std::optional<int> y = WholeIn(head.value("y"), 0, status.height - 1);
    if (!x || !y) return bad_request();
    Json values = Json::object();
    with_images([&](const std::vector<LiveImage>& images, const LiveView& view) {
        const int column = *x / view.scale, row = *y / view.scale;
        for (const LiveImage& image : images)
            values[image.name] = ReadLive(image, {column, row, column + 1, row + 1});
    });
    return JsonReply(JsonLine(values));
}

Reply move_camera(const HttpHead& head) {
    const std::string& kind = head.value("motion");
    if (kind == "reset") {
        ResetLiveCamera();
        return done();
    }
    const std::optional<double> x = NumberIn(head.value("x"));
    const std::optional<double> y = NumberIn(head.value("y").empty() ? "0" : head.value("y"));
    const bool is_kind = kind == "orbit" || kind == "pan" || kind == "dolly";
    if (!x || !y || !is_kind || std::abs(*x) > kMostTurn || std::abs(*y) > kMostTurn)
        return bad_request();
    const CameraMotion motion = kind == "orbit" ? CameraMotion::orbit
                                : kind == "pan" ? CameraMotion::pan
                                                : CameraMotion::dolly;
    MoveLiveCamera({motion, static_cast<float>(*x), static_cast<float>(*y)});
    return done();
}

Reply choose_region(const HttpHead& head) {
    if (head.value("x0").empty()) {
        ChooseRegion(std::nullopt);
        return done();
    }
    const LiveStatus status = StatusNow();
    const std::optional<int> x0 = WholeIn(head.value("x0"), 0, status.width - 1);
    const std::optional<int> y0 = WholeIn(head.value("y0"), 0, status.height - 1);
    const std::optional<int> x1 = WholeIn(head.value("x1"), 1, status.width);
    const std::optional<int> y1 = WholeIn(head.value("y1"), 1, status.height);
    if (!x0 || !y0 || !x1 || !y1 || *x0 >= *x1 || *y0 >= *y1) return bad_request();
    ChooseRegion(PixelRegion{*x0, *y0, *x1, *y1});
    return done();
}

// The means that an image holds now; empty where there is none.
Image copy_of(int number) {
    Image copy;
    with_images([&](const std::vector<LiveImage>& images, const LiveView&) {
        if (!has_record(images, number)) return;
        const LiveImage& live = at(images, number);
        copy = EmptyCopy(live.aov->image);
        copy.floats = ReadLive(live, {0, 0, copy.width, copy.height});
    });
    return copy;
}

// An image file as it would be written; by way of a folder that only this user can read.
Reply save(const HttpHead& head) {
    const std::optional<int> image = WholeIn(head.value("image"), 0, kMostImages - 1);
    const std::string& format = head.value("format");
    if (!image || (format != "exr" && format != "hdr")) return bad_request();
    Image copy = copy_of(*image);
    if (copy.floats.empty()) return NothingThere();
    std::string folder = (std::filesystem::temp_directory_path() / "moonhare-XXXXXX").string();
    if (mkdtemp(folder.data()) == nullptr) return {.status = 500, .body = "no folder for files\n"};
    copy.path = folder + "/picture." + format;
    const bool is_written = WriteLiveImage(copy);
    std::ostringstream content;
    content << std::ifstream(copy.path, std::ios::binary).rdbuf();
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
    if (!is_written) return {.status = 500, .body = "the file cannot be written\n"};
    return {.type = "application/octet-stream",
            .body = content.str(),
            .headers = {{"Content-Disposition", "attachment"}, // the page names it
                        {"X-Content-Type-Options", "nosniff"}}};
}

Reply answer_get(const HttpHead& head) {
    if (head.path == "/stream") return open_stream(head);
    if (head.path == "/status") return JsonReply(StatusJson(StatusNow()));
    if (head.path == "/pixel") return pixel_values(head);
    if (head.path == "/save") return save(head);
    return NothingThere();
}

Reply act(void (*request)()) {
    request();
    return done();
}

Reply answer_post(const HttpHead& head) {
    if (head.path == "/camera") return move_camera(head);
    if (head.path == "/region") return choose_region(head);
    if (head.path == "/stop") return act(StopFrames);
    if (head.path == "/go") return act(GoOn);
    if (head.path == "/write") return act(WriteNow);
    return NothingThere();
}

} // namespace

void LimitSending(double bytes_per_second) {
    constexpr double kBurst = 0.1; // of a second's bytes; half of them pay for a first picture
    constexpr double kLeast = 300000.0;
    sending.per_second = bytes_per_second;
    sending.most = sending.left = std::max(kBurst * bytes_per_second, kLeast);
}

Reply AnswerLive(const HttpHead& head) {
    return head.method == "GET" ? answer_get(head) : answer_post(head);
}

} // namespace mh
