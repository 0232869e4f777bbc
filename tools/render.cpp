// The command "render": the library's run with overrides, progress, early ends and checkpoints.
// SPDX-License-Identifier: MIT
#include "render.h"

#include "atomic_file.h"
#include "checkpoint.h"
#include "frame/phases.h"
#include "math/count_text.h"
#include "output/camera.h"
#include "output/file_writer.h"
#include "output/run_hooks.h"
#include "output_images.h"
#include "overrides.h"
#include "progress.h"
#include "run/types.h"
#include "run_control.h"
#include "run_report.h"

#include <omp.h>

namespace mh {

namespace {

constexpr double kSecondsOfMicrosecond = 1e-6;

struct Run {
    const Arguments* arguments = nullptr;
    RunRecord record;
    std::uint64_t scene = 0; // digest, when checkpoints are in use
    double written_s = 0.0;  // when pictures were last written
    bool files_failed = false;
};

Run run; // frames report to it through hooks that are plain functions

void note_failed_write(const std::string& path, const std::string& reason) {
    run.files_failed = true;
    EndProgress();
    Complain("cannot write " + path + ": " + reason);
}

void save_checkpoint() {
    const std::string& path = run.arguments->checkpoint;
    if (path.empty() || FrameIndex == 0) return;
    const std::string fault = WriteCheckpoint(path, TakeCheckpoint(run.scene));
    if (!fault.empty()) note_failed_write(path, fault);
}

bool is_time_up() {
    const std::optional<double>& limit = run.arguments->time_limit_s;
    return limit && seconds_running() > *limit;
}

void after_frame() {
    RunRecord& record = run.record;
    record.rays += RayStatistics.render_rays;
    record.shadow_rays += RayStatistics.render_shadow_rays;
    const double seconds =
        static_cast<double>(RayStatistics.render_microseconds) * kSecondsOfMicrosecond;
    record.frame_seconds += seconds;
    ShowFrame(FrameIndex, RayStatistics.render_rays, seconds);
    const bool ends_early = is_interrupted() || is_time_up();
    const bool last =
        ends_early || FrameIndex >= static_cast<std::uint32_t>(ActiveCamera()->sample);
    const bool due = is_due(run.arguments->write_every_s, run.written_s);
    const bool requested = take_write_request();
    if (!last && (due || requested)) WriteOutputs();
    if (last || due || requested) save_checkpoint();
    if (ends_early) EndWithFramesDone(); // changes the sums that a checkpoint keeps
    if (last) {
        record.images = ImageStatistics();
        EndProgress();
    }
}

void set_up(const Arguments& arguments) {
    run = {};
    run.arguments = &arguments;
    Hooks.frame_done = after_frame;
    Hooks.photons_cast = ShowPhotons;
    Hooks.write_failed = note_failed_write;
    CatchSignals();
    omp_set_num_threads(arguments.threads ? *arguments.threads : usable_processors());
    PreviewWindow = arguments.preview;
    StartProgress(arguments.progress);
}

void time_phase(const char* name, const std::function<void()>& act) {
    const double start_s = seconds_running();
    act();
    run.record.phases.push_back({name, seconds_running() - start_s});
}

// Why the checkpoint cannot be gone on from, or empty with the images restored.
std::string resume_from(const Checkpoint& checkpoint) {
    if (checkpoint.scene != run.scene) return "belongs to another scene, or the scene has changed";
    if (checkpoint.settings != SettingsText())
        return "was rendered with other settings: " + checkpoint.settings + "; now "
               + SettingsText();
    if (!RestoreImages(checkpoint)) return "holds other images than the scene writes";
    Hooks.first_frame = checkpoint.frames;
    return {};
}

// Ends a run of which nothing is to be written.
int give_up(int status, const std::string& reason) {
    EndProgress();
    Complain(reason);
    ForgetOutputs();
    PreviewWindow = false;
    CloseScene();
    return status;
}

void initialize_phases() {
    for (const InitialPhase& phase : InitialPhases())
        time_phase(phase.name, phase.run);
}

// All frames are there already: the pictures are written, with no frame added.
void write_finished() {
    Complain("the checkpoint holds " + CountText(Hooks.first_frame, "frame")
             + " already; a larger --sample adds some");
    FrameIndex = Hooks.first_frame;
    EndWithFramesDone();
    run.record.images = ImageStatistics();
}

void render_frames() {
    const auto frames = static_cast<std::uint32_t>(ActiveCamera()->sample);
    if (Hooks.first_frame >= frames) return write_finished();
    StartFrames(Hooks.first_frame, frames);
    run.written_s = seconds_running();
    time_phase("frames", Render);
}

int render_opened(const Arguments& arguments) {
    const std::string nothing = ApplyOverrides(arguments);
    if (!nothing.empty())
        return give_up(kSceneFaults,
                       nothing + "; moonhare check " + arguments.scene + " tells more");
    const std::string no_folder = PrepareOutputFolders(arguments);
    if (!no_folder.empty()) return give_up(kNotWritten, no_folder);
    Checkpoint checkpoint;
    if (!arguments.resume.empty()) {
        const std::string fault = ReadCheckpoint(arguments.resume, checkpoint);
        if (!fault.empty()) return give_up(kWrongUse, arguments.resume + ' ' + fault);
    }
    initialize_phases();
    if (!arguments.checkpoint.empty() || !arguments.resume.empty())
        run.scene = SceneDigest(arguments.scene);
    if (!arguments.resume.empty()) {
        const std::string fault = resume_from(checkpoint);
        if (!fault.empty()) return give_up(kWrongUse, arguments.resume + ' ' + fault);
    }
    if (is_interrupted()) return give_up(kInterrupted, "interrupted before the first frame");
    render_frames();
    time_phase("closing", CloseScene);
    if (is_interrupted()) return kInterrupted;
    return run.files_failed ? kNotWritten : kDone;
}

int write_report(const std::string& path, const std::string& scene, int status) {
    const std::string fault = ReplaceFile(path, ReportText(run.record, scene, status));
    if (fault.empty()) return status;
    Complain("cannot write " + path + ": " + fault);
    return status == kDone ? kNotWritten : status;
}

} // namespace

int RenderScene(const Arguments& arguments) {
    if (!IsDirectory(arguments.scene)) return kWrongUse;
    set_up(arguments);
    const std::string slash = arguments.scene.ends_with('/') ? "" : "/";
    time_phase("scene", [&] { OpenScene(arguments.scene + slash); });
    const int status = render_opened(arguments);
    return arguments.report.empty() ? status
                                    : write_report(arguments.report, arguments.scene, status);
}

} // namespace mh
