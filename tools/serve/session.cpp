// The loop around frames, and the requests that change what they show.
// SPDX-License-Identifier: MIT
#include "serve/session.h"

#include "captured_report.h"
#include "check/check.h"
#include "confine_scene.h"
#include "files.h"
#include "frame/phases.h"
#include "integrate/noise.h"
#include "integrate/progressive.h"
#include "integrate/whole_frames.h"
#include "math/stop.h"
#include "output/aov.h"
#include "output/camera.h"
#include "output/feature_planes.h"
#include "output/image_writer.h"
#include "output/run_hooks.h"
#include "output/state.h"
#include "output_paths.h"
#include "overrides.h"
#include "run/state.h"
#include "run_control.h"
#include "serve/live_images.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <mutex>
#include <utility>
#include <vector>

#include <omp.h>

namespace mh {

namespace {

constexpr auto kIdlePause = std::chrono::milliseconds(50); // until signals are looked at again
constexpr int kCoarsestPixels = 15000;                     // of the first picture of a view
constexpr int kCoarsestScale = 8;
constexpr double kSecondsOfMicrosecond = 1e-6;

struct Requests {
    std::vector<CameraMove> moves;
    std::optional<PixelRegion> region;
    bool reset_camera = false, reset_region = false, begin_again = false;
    bool stop = false, go_on = false, write = false, reread = false;

    bool change_view() const {
        return !moves.empty() || region || reset_camera || reset_region || begin_again;
    }
};

struct Session {
    const Arguments* arguments = nullptr;

    std::mutex writing; // of files
    std::mutex lock;    // of what follows
    std::condition_variable changed;
    Requests requests;
    LiveStatus status;
    std::uint64_t version = 1; // of the status, but for what changes with each frame
    int viewers = 0;
    bool renders = false; // requests may cut the frame under way
    int coarsest = 1;     // scale at which the view under way began

    // Of the thread that renders.
    Camera scene_camera; // as the scene and the options say
    Camera camera;       // as it has been moved, for the whole picture
    DriftNoise drift;
    double frames_start_s = 0.0;
    bool first_frame_is_done = false; // of the scene
    bool is_changed = false;          // the view is not the scene's
    bool is_written = false;
    bool files_failed = false;
};

Session session;

template<typename Act>
void update_status(const Act& act) {
    {
        const std::lock_guard guard(session.lock);
        act(session.status);
        ++session.version;
    }
    session.changed.notify_all();
}

void say(const std::string& message) {
    update_status([&](LiveStatus& status) { status.message = message; });
}

void note_failed_write(const std::string& path, const std::string& reason) {
    session.files_failed = true;
    Complain("cannot write " + path + ": " + reason);
    say("cannot write " + path + ": " + reason);
}

void first_frame_done() {
    if (session.first_frame_is_done) return;
    session.first_frame_is_done = true;
    StepsOfFrames().first_frame_done();
}

void keep_lights() {}

// Pixels of a side at a coarser scale, rounded so that every pixel of the picture is covered.
int coarser(int side, int scale) {
    return (side + scale - 1) / scale;
}

int first_scale(int width, int height) {
    int scale = kCoarsestScale;
    while (scale > 1 && coarser(width, scale) * coarser(height, scale) < kCoarsestPixels)
        scale /= 2;
    return scale;
}

void set_camera_scale(int scale) {
    const Camera& whole = session.camera;
    Camera& camera = *ActiveCamera();
    camera.width = coarser(whole.width, scale);
    camera.height = coarser(whole.height, scale);
    camera.region_x0 = whole.region_x0 / scale;
    camera.region_y0 = whole.region_y0 / scale;
    camera.region_x1 = coarser(std::min(whole.region_x1, whole.width), scale);
    camera.region_y1 = coarser(std::min(whole.region_y1, whole.height), scale);
    camera.sample = whole.sample;
    camera.poses = whole.poses;
    LimitCamera(camera);
    for (CameraPose& pose : camera.poses)
        BuildCameraFrame(pose, static_cast<float>(camera.width));
}

void clear_images() {
    const Camera& camera = *ActiveCamera();
    for (const LiveImage& image : LiveImages())
        if (grows(image.filling)) AllocateAov(*image.aov, camera.width, camera.height);
    AllocatePlanes(camera);
}

// Starts the frames of the view at a scale.
void begin_view(int scale) {
    SetImageState(ImageState::closed);
    ReleaseWholeFrames();
    set_camera_scale(scale);
    clear_images();
    FrameSteps steps = StepsOfFrames();
    steps.first_frame_done = first_frame_done;
    steps.finish_lights = keep_lights;
    BeginFrames(steps);
    session.drift = {};
    session.frames_start_s = seconds_running();
    update_status([&](LiveStatus& status) {
        status.scale = scale;
        status.frames = 0;
        status.frames_expected = static_cast<std::uint32_t>(ActiveCamera()->sample);
        status.noise = 0.0;
        status.region = RenderedRegion(session.camera);
        status.camera = CameraBlockText(session.camera, session.arguments->output_dir);
    });
    SetLiveView({StatusNow().generation, scale, 0});
    SetImageState(ImageState::open);
}

// Frames of another camera, region or scene.
void begin_again() {
    int scale = 1;
    {
        const std::lock_guard guard(session.lock);
        ++session.status.generation;
        if (session.viewers > 0) scale = first_scale(session.camera.width, session.camera.height);
        session.coarsest = scale;
        session.status.stage = LiveStage::rendering;
    }
    session.is_written = false;
    begin_view(scale);
}

void set_stage(LiveStage stage) {
    update_status([&](LiveStatus& status) { status.stage = stage; });
}

// Pictures of the whole frames of the whole picture.
bool can_write() {
    return FrameIndex > 0 && StatusNow().scale == 1;
}

void write_pictures() {
    if (!can_write()) return say("nothing is written: no frame is whole yet");
    const int frames = static_cast<int>(FrameIndex);
    session.files_failed = false;
    {
        const std::lock_guard guard(session.writing);
        WriteOutputs();
    }
    session.is_written = true;
    if (!session.files_failed)
        say("pictures of " + std::to_string(frames) + (frames == 1 ? " frame" : " frames")
            + " written");
}

bool take_request_to_write() {
    const std::lock_guard guard(session.lock);
    return std::exchange(session.requests.write, false) || take_write_request();
}

// On the thread that watches for signals, while rows are rendered.
void during_frame() {
    if (take_request_to_write()) write_pictures();
}

void change_camera(const Requests& requests) {
    Camera& camera = session.camera;
    if (requests.reset_camera) camera.poses = session.scene_camera.poses;
    for (const CameraMove& move : requests.moves)
        MoveCamera(camera, move);
    if (requests.reset_region || requests.region) {
        const Camera& scene = session.scene_camera;
        const PixelRegion region = requests.region ? *requests.region
                                                   : PixelRegion{scene.region_x0, scene.region_y0,
                                                                 scene.region_x1, scene.region_y1};
        camera.region_x0 = region.x0;
        camera.region_y0 = region.y0;
        camera.region_x1 = region.x1;
        camera.region_y1 = region.y1;
    }
    const bool moved = !requests.moves.empty() || requests.region;
    const bool reset = requests.reset_camera || requests.reset_region;
    session.is_changed = moved || (session.is_changed && !reset);
}

Requests take_requests() {
    const std::lock_guard guard(session.lock);
    if (!is_interrupted()) StopRequested = false;
    return std::exchange(session.requests, {});
}

// What was asked for since the last frame; whether the scene is to be read again.
bool follow_requests() {
    const Requests requests = take_requests();
    if (requests.reread) return true;
    if (requests.change_view()) {
        change_camera(requests);
        begin_again();
    }
    const LiveStage stage = StatusNow().stage;
    if (requests.stop && stage == LiveStage::rendering) set_stage(LiveStage::stopped);
    if (requests.go_on && stage == LiveStage::stopped) set_stage(LiveStage::rendering);
    if (requests.write || take_write_request()) write_pictures();
    return false;
}

void note_frame() {
    const std::uint32_t done = FrameIndex;
    CountLiveFrames(done);
    const double seconds =
        static_cast<double>(RayStatistics.render_microseconds) * kSecondsOfMicrosecond;
    FollowNoise(done);
    FollowDrift(session.drift, ActiveCamera()->aovs[0].image, done);
    const double followed = followed_noise();
    const std::lock_guard guard(session.lock);
    LiveStatus& status = session.status;
    status.frames = done;
    status.rays_per_second =
        static_cast<double>(RayStatistics.render_rays) / std::max(seconds, kSecondsOfMicrosecond);
    status.elapsed_s = seconds_running() - session.frames_start_s;
    const double expected = std::max(frames_expected(), static_cast<double>(done));
    status.frames_expected = static_cast<std::uint32_t>(expected);
    status.remaining_s = status.elapsed_s / done * (expected - done);
    status.noise = followed > 0.0 ? followed : NoiseNow(session.drift, done);
}

// A view that a page has made is written on request alone: the scene's own pictures stay.
void finish_frames() {
    set_stage(LiveStage::done);
    if (!session.is_changed && !session.is_written) write_pictures();
}

// One more, if one is due at this scale; the next scale where it was a coarse one.
void add_frame() {
    const int scale = StatusNow().scale;
    if (!AddFrame()) return;
    note_frame();
    if (scale > 1) {
        KeepCoarseImages();
        return begin_view(scale / 2);
    }
    const bool is_last = FrameIndex >= static_cast<std::uint32_t>(camera_frames());
    if (is_last || target_is_reached()) finish_frames();
}

// Until something is asked for.
void rest() {
    const double start_s = seconds_running();
    SetImageState(ImageState::at_rest);
    EndingBegins(); // no frame is to be finished
    {
        std::unique_lock guard(session.lock);
        const Requests& requests = session.requests;
        session.changed.wait_for(guard, kIdlePause, [&] {
            return requests.change_view() || requests.stop || requests.go_on || requests.write
                   || requests.reread;
        });
    }
    FramesBegin();
    SetImageState(ImageState::open);
    session.frames_start_s += seconds_running() - start_s;
}

void set_renders(bool on) {
    const std::lock_guard guard(session.lock);
    session.renders = on;
}

// True when the scene is to be read again, false when the run ends.
bool render_until_end() {
    FramesBegin();
    set_renders(true);
    bool reread = false;
    while (!is_interrupted() && !reread) {
        reread = follow_requests();
        if (reread || is_interrupted()) break;
        if (StatusNow().stage == LiveStage::rendering)
            add_frame();
        else
            rest();
    }
    set_renders(false);
    return reread;
}

void note_messages(CapturedReport& report, std::vector<Fault>& faults) {
    for (const ReportMessage& message : report.take_messages()) {
        if (!message.error && !message.warning) continue;
        Fault& fault = faults.emplace_back();
        fault.place.file = session.arguments->scene;
        fault.message = message.text;
        fault.severity = message.error ? Severity::fault : Severity::warning;
    }
}

void show_faults(const std::vector<Fault>& faults) {
    update_status([&](LiveStatus& status) {
        status.check = FaultsJson(faults);
        status.keeps_last_good = false;
    });
    const std::string summary = SummaryOf(faults);
    if (!summary.empty())
        Complain(summary + "; moonhare check " + session.arguments->scene + " lists them");
}

// Empty with everything ready for frames, or why there is nothing to render.
std::string open_scene() {
    const Arguments& arguments = *session.arguments;
    if (!is_interrupted()) StopRequested = false; // of a request that came too late to cut a frame
    set_stage(LiveStage::reading);
    CapturedReport report;
    const std::string slash = arguments.scene.ends_with('/') ? "" : "/";
    std::vector<Fault> faults = OpenChecked(arguments.scene + slash);
    report.take_messages(); // are among the faults
    PixelRegion region_of_scene;
    std::string nothing = ApplyOverrides(arguments, region_of_scene);
    if (nothing.empty()) nothing = FaultOfPictures(arguments);
    if (nothing.empty()) {
        set_stage(LiveStage::preparing);
        for (const InitialPhase& phase : InitialPhases())
            if (!stop_requested()) phase.run();
        note_messages(report, faults);
    }
    show_faults(faults);
    return nothing;
}

// The camera as phases have left it: one without poses has some now.
void show_scene() {
    session.camera = *ActiveCamera();
    for (Aov& aov : session.camera.aovs)
        aov.image.floats = {};
    session.scene_camera = session.camera;
    session.first_frame_is_done = session.is_changed = false;
    FindLiveImages();
    update_status([](LiveStatus& status) {
        status.width = session.camera.width;
        status.height = session.camera.height;
        status.images.clear();
        for (const LiveImage& image : LiveImages())
            status.images.push_back(image.name);
    });
    begin_again();
}

void close_scene() {
    SetImageState(ImageState::closed);
    ForgetLiveImages();
    ReleaseWholeFrames();
    ForgetOutputs();
    CapturedReport report;
    CloseScene();
}

// The last word of its path.
std::string name_of(const std::string& scene) {
    const auto path = std::filesystem::weakly_canonical(scene);
    return path.filename().string();
}

void set_up(const Arguments& arguments) {
    session.arguments = &arguments;
    session.status.scene = name_of(arguments.scene);
    session.status.watches = arguments.watch;
    Hooks.drops_cut_frames = true;
    Hooks.write_failed = note_failed_write;
    omp_set_num_threads(arguments.threads ? *arguments.threads : usable_processors());
    StartControl({{}, during_frame, [] {}});
    ConfineToScene(arguments);
}

// What an end leaves: the pictures of the whole frames, as of any render.
int end_session() {
    const bool is_done = StatusNow().stage == LiveStage::done;
    SetImageState(ImageState::closed);
    EndingBegins();
    if (!session.is_written && !session.is_changed && can_write()) write_pictures();
    close_scene();
    if (session.files_failed) return kNotWritten;
    return is_done ? kDone : kInterrupted;
}

// The next scene; false when there is nothing to render in it, or the run has ended.
bool open_next(int& status) {
    const std::string nothing = open_scene();
    if (nothing.empty() && !is_interrupted()) {
        show_scene();
        return true;
    }
    EndingBegins();
    if (!nothing.empty()) Complain(nothing + "; run moonhare check " + session.arguments->scene);
    close_scene();
    status = nothing.empty() ? kInterrupted : kSceneFaults;
    return false;
}

template<typename Act>
void ask(bool cuts_frame, const Act& act) {
    {
        const std::lock_guard guard(session.lock);
        act(session.requests);
        if (cuts_frame && session.renders) StopRequested = true;
    }
    session.changed.notify_all();
}

// A picture that is moved again and again would never be seen if each move cut its first frame.
bool cuts_for_move() {
    const std::lock_guard guard(session.lock);
    return session.coarsest == 1 || session.status.scale < session.coarsest;
}

} // namespace

int RunSession(const Arguments& arguments) {
    set_up(arguments);
    int status = kDone;
    while (open_next(status)) {
        if (!render_until_end()) {
            status = end_session();
            break;
        }
        close_scene();
    }
    EndControl();
    return status;
}

LiveStatus StatusNow() {
    const std::lock_guard guard(session.lock);
    return session.status;
}

std::uint64_t WaitForChange(std::uint64_t version, int milliseconds) {
    std::unique_lock guard(session.lock);
    session.changed.wait_for(guard, std::chrono::milliseconds(milliseconds),
                             [&] { return session.version != version; });
    return session.version;
}

void MoveLiveCamera(const CameraMove& move) {
    ask(cuts_for_move(), [&](Requests& requests) { requests.moves.push_back(move); });
}

void ResetLiveCamera() {
    ask(true, [](Requests& requests) {
        requests.moves.clear();
        requests.reset_camera = true;
    });
}

void ChooseRegion(const std::optional<PixelRegion>& region) {
    ask(true, [&](Requests& requests) {
        requests.region = region;
        requests.reset_region = !region;
    });
}

void StopFrames() {
    ask(true, [](Requests& requests) { requests.stop = true; });
}

void GoOn() {
    ask(false, [](Requests& requests) { requests.go_on = true; });
}

void WriteNow() {
    ask(false, [](Requests& requests) { requests.write = true; });
}

bool WriteLiveImage(const Image& image) {
    const std::lock_guard guard(session.writing);
    return WriteImage(image);
}

void Reread(const Json& check) {
    ask(true, [&](Requests& requests) { requests.reread = true; });
    update_status([&](LiveStatus& status) { status.check = check; });
}

void ShowFaults(const Json& check) {
    update_status([&](LiveStatus& status) {
        status.check = check;
        status.keeps_last_good = true;
    });
}

void ViewerCame() {
    const LiveStatus status = StatusNow();
    const bool shows_nothing = status.stage == LiveStage::rendering && status.scale == 1
                               && status.frames == 0
                               && first_scale(status.width, status.height) > 1;
    {
        const std::lock_guard guard(session.lock);
        ++session.viewers;
    }
    if (shows_nothing) ask(true, [](Requests& requests) { requests.begin_again = true; });
}

void ViewerLeft() {
    const std::lock_guard guard(session.lock);
    --session.viewers;
}

} // namespace mh
