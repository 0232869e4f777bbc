// The loop around frames: reads the scene, follows what pages ask for, and writes pictures.
// SPDX-License-Identifier: MIT
#include "serve/session.h"

#include "captured_report.h"
#include "check/check.h"
#include "confine_scene.h"
#include "files.h"
#include "frame/phases.h"
#include "integrate/output_images.h"
#include "math/stop.h"
#include "output/camera.h"
#include "output/image_writer.h"
#include "output/run_hooks.h"
#include "output/state.h"
#include "output_paths.h"
#include "overrides.h"
#include "pictures/layers.h"
#include "run/state.h"
#include "run_control.h"
#include "serve/live_images.h"
#include "serve/live_status.h"
#include "serve/live_view.h"
#include "serve/requests.h"

#include <atomic>
#include <chrono>
#include <filesystem>
#include <mutex>
#include <span>
#include <utility>
#include <vector>

#include <omp.h>

namespace mh {

namespace {

constexpr auto kIdlePause = std::chrono::milliseconds(50); // until signals are looked at again

struct Session {
    const Arguments* arguments = nullptr;
    std::mutex writing; // of files
    bool is_written = false;
    bool files_failed = false;
    std::atomic<bool> write_waits = false; // for the first whole frame
};

Session session;

void note_failed_write(const std::string& path, const std::string& reason) {
    session.files_failed = true;
    Complain("cannot write " + path + ": " + reason);
    Say("cannot write " + path + ": " + reason);
}

void write_layers() {
    const std::string& path = session.arguments->exr_layers;
    if (path.empty()) return;
    const std::string fault = WriteLayers(path, ActiveCamera()->aovs[0].image.path);
    if (!fault.empty()) note_failed_write(path, fault);
}

// There is nothing to write yet.
void write_later() {
    session.write_waits = true;
    const bool is_stopped = StatusNow().stage == LiveStage::stopped;
    Say(std::string("no frame is whole yet; ")
        + (is_stopped ? "go on: pictures are written when the first one is"
                      : "pictures are written when the first one is"));
}

// Pictures of the whole frames of the whole picture.
void write_pictures() {
    if (!can_write()) return write_later();
    session.write_waits = false;
    const int frames = static_cast<int>(FrameIndex);
    session.files_failed = false;
    {
        const std::lock_guard guard(session.writing);
        WriteOutputs();
        write_layers();
    }
    session.is_written = true;
    if (!session.files_failed)
        Say("pictures of " + std::to_string(frames) + (frames == 1 ? " frame" : " frames")
            + " written");
}

// On the thread that watches for signals, while rows are rendered.
void during_frame() {
    const bool requested = TakeRequestToWrite();
    if (take_write_request() || requested) write_pictures();
}

void begin_view() {
    session.is_written = false;
    session.write_waits = false;
    Say({}); // what was said was of another picture
    BeginView();
}

// What was asked for since the last frame; whether the scene is to be read again.
bool follow_requests() {
    const Requests requests = TakeRequests();
    if (requests.reread) return true;
    if (requests.change_view()) {
        ChangeView(requests);
        begin_view();
    }
    const LiveStage stage = StatusNow().stage;
    if (requests.stop && stage == LiveStage::rendering) SetStage(LiveStage::stopped);
    if (requests.go_on && stage == LiveStage::stopped) SetStage(LiveStage::rendering);
    if (requests.write || take_write_request()) write_pictures();
    return false;
}

// A view that a page has made is written on request alone: the scene's own pictures stay.
void finish_frames() {
    SetStage(LiveStage::done);
    if (!is_changed_view() && !session.is_written) write_pictures();
}

void follow_frame() {
    if (session.write_waits && can_write()) write_pictures();
    if (view_is_done()) finish_frames();
}

// Until something is asked for.
void rest() {
    const double start_s = seconds_running();
    SetImageState(ImageState::at_rest);
    EndingBegins(); // no frame is to be finished
    WaitForRequests(kIdlePause);
    FramesBegin();
    SetImageState(ImageState::open);
    HoldUp(seconds_running() - start_s);
}

// True when the scene is to be read again, false when the run ends.
bool render_until_end() {
    FramesBegin();
    LetRequestsCut(true);
    bool reread = false;
    while (!is_interrupted() && !reread) {
        reread = follow_requests();
        if (reread || is_interrupted()) break;
        if (StatusNow().stage != LiveStage::rendering)
            rest();
        else if (AddViewFrame())
            follow_frame();
    }
    LetRequestsCut(false);
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

void list_faults(const std::vector<Fault>& faults) {
    UpdateStatus([&](LiveStatus& status) {
        status.check = FaultsJson(faults);
        status.keeps_last_good = false;
    });
}

void complain_of(const std::vector<Fault>& faults) {
    const std::string summary = SummaryOf(faults, session.arguments->scene);
    if (!summary.empty()) Complain(summary);
}

// Empty with everything ready for photons, or why there is nothing to render.
std::string open_scene(CapturedReport& report, std::vector<Fault>& faults) {
    const Arguments& arguments = *session.arguments;
    if (!is_interrupted()) StopRequested = false; // of a request that came too late to cut a frame
    SetStage(LiveStage::reading);
    faults = OpenChecked(arguments);
    report.take_messages(); // are among the faults
    PixelRegion region_of_scene;
    const std::string nothing = ApplyOverrides(arguments, region_of_scene);
    if (!nothing.empty()) return nothing;
    if (!arguments.exr_layers.empty()) CollectLayers();
    const std::string fault = FaultOfFiles(arguments);
    return fault.empty() ? FaultOfPictures(arguments) : fault;
}

void run(std::span<const InitialPhase> phases) {
    for (const InitialPhase& phase : phases)
        if (!stop_requested()) phase.run();
}

// The last phase casts photons. Before it the camera has poses, if it had none.
void prepare_scene() {
    SetStage(LiveStage::preparing);
    const std::span<const InitialPhase> phases = InitialPhases();
    run(phases.first(phases.size() - 1));
    if (stop_requested()) return;
    ShowScene(session.arguments->output_dir);
    ShowBeforePhotons();
    run(phases.last(1));
}

void close_scene() {
    CloseView();
    ForgetOutputs();
    CapturedReport report;
    const std::lock_guard guard(session.writing); // of a picture that a page takes
    CloseScene();
}

// The last word of its path.
std::string name_of(const std::string& scene) {
    const auto path = std::filesystem::weakly_canonical(scene);
    return path.filename().string();
}

void set_up(const Arguments& arguments) {
    session.arguments = &arguments;
    UpdateStatus([&](LiveStatus& status) {
        status.scene = name_of(arguments.scene);
        status.watches = arguments.watch;
    });
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
    if (!session.is_written && !is_changed_view() && can_write()) write_pictures();
    close_scene();
    if (session.files_failed) return kNotWritten;
    return is_done ? kDone : kInterrupted;
}

// The next scene; false when there is nothing to render in it, or the run has ended.
bool open_next(int& status) {
    CapturedReport report;
    std::vector<Fault> faults;
    const std::string nothing = open_scene(report, faults);
    list_faults(faults);
    if (nothing.empty()) prepare_scene();
    note_messages(report, faults);
    list_faults(faults);
    complain_of(faults);
    if (nothing.empty() && !is_interrupted()) {
        begin_view();
        return true;
    }
    EndingBegins();
    if (!nothing.empty()) Complain(nothing);
    close_scene();
    status = nothing.empty() ? kInterrupted : kSceneFaults;
    return false;
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

bool WriteLiveImage(const Image& image) {
    const std::lock_guard guard(session.writing);
    const auto collect = std::exchange(Hooks.image_written, nullptr); // it is not of the run
    const bool is_written = WriteImage(image);
    Hooks.image_written = collect;
    return is_written;
}

void ShowFaults(const Json& check) {
    UpdateStatus([&](LiveStatus& status) {
        status.check = check;
        status.keeps_last_good = true;
    });
}

} // namespace mh
