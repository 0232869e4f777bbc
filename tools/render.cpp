// The command "render": the library's run with overrides, progress, early ends and checkpoints.
// SPDX-License-Identifier: MIT
#include "render.h"

#include "check/check.h"
#include "confine_scene.h"
#include "files.h"
#include "frame/denoised_images.h"
#include "frame/phases.h"
#include "integrate/noise.h"
#include "integrate/output_images.h"
#include "math/count_text.h"
#include "math/stop.h"
#include "output/camera.h"
#include "output/feature_planes.h"
#include "output/file_writer.h"
#include "output/run_hooks.h"
#include "output/state.h"
#include "output_paths.h"
#include "overrides.h"
#include "pictures/layers.h"
#include "pieces/checkpoint.h"
#include "pieces/identity.h"
#include "pieces/photon_file.h"
#include "pieces/piece.h"
#include "pieces/scene_digest.h"
#include "progress.h"
#include "report_output.h"
#include "run/report.h"
#include "run/state.h"
#include "run_control.h"
#include "run_report.h"

#include <algorithm>
#include <optional>
#include <span>

#include <omp.h>

namespace mh {

namespace {

constexpr double kSecondsOfMicrosecond = 1e-6;
constexpr const char* kEndedWithoutFrames =
    "the run ended before its first frame; nothing was written";

struct Run {
    const Arguments* arguments = nullptr;
    RunRecord record;
    std::string beauty;      // path of the picture
    std::uint64_t scene = 0; // digest, when checkpoints are in use
    double written_s = 0.0;  // when pictures were last written
    std::uint32_t written_frames = 0;
    bool files_failed = false;
    bool cut_short = false; // frames are missing
    PieceHeader piece;      // of a run that renders one
    Identity identity;      // of a run with files of photons
    std::string photon_fault;
};

Run run; // frames report to it through hooks that are plain functions

void note_failed_write(const std::string& path, const std::string& reason) {
    run.files_failed = true;
    Complain("cannot write " + path + ": " + reason);
}

void save_checkpoint() {
    const std::string& path = run.arguments->checkpoint;
    if (path.empty() || FrameIndex == 0) return;
    const std::string fault = WriteCheckpoint(path, run.scene);
    if (!fault.empty()) note_failed_write(path, fault);
}

void save_layers() {
    const std::string& path = run.arguments->exr_layers;
    if (path.empty()) return;
    const std::string fault = WriteLayers(path, run.beauty);
    if (!fault.empty()) note_failed_write(path, fault);
}

void write_now() {
    WriteOutputs();
    save_layers();
    save_checkpoint();
    run.written_frames = FrameIndex;
}

// On the thread that watches, while rows are rendered.
void during_frame() {
    if (FrameIndex == run.written_frames) return; // nothing new is whole
    const bool due = is_due(run.arguments->write_every_s, run.written_s);
    const bool requested = take_write_request();
    if (due || requested) write_now();
}

// One behind the last frame of this run.
std::uint32_t end_of_frames() {
    return std::min(static_cast<std::uint32_t>(ActiveCamera()->sample), Hooks.end_frame);
}

// The pictures stay unwritten: they are of some frames alone.
void finish_piece() {
    if (FrameIndex == run.piece.end) {
        const std::string& path = run.arguments->partial;
        const std::string fault = WritePiece(path, run.piece);
        if (!fault.empty()) note_failed_write(path, fault);
    }
    ForgetOutputs();
}

void finish_record() {
    run.record.images = ImageStatistics();
    run.record.noise = NoiseStatistics();
    if (is_piece(*run.arguments)) finish_piece();
    run.record.samples_not_finite = Hooks.samples_not_finite;
    run.record.aov_values_not_finite = Hooks.aov_values_not_finite;
    save_checkpoint();
    EndProgress();
}

void after_frame() {
    RunRecord& record = run.record;
    record.rays += RayStatistics.render_rays;
    record.shadow_rays += RayStatistics.render_shadow_rays;
    const double seconds =
        static_cast<double>(RayStatistics.render_microseconds) * kSecondsOfMicrosecond;
    record.frame_seconds += seconds;
    ShowFrame(FrameIndex - run.piece.first, RayStatistics.render_rays, seconds);
    const bool ends_early = is_interrupted() || is_time_up() || target_is_reached();
    if (ends_early || FrameIndex >= end_of_frames()) {
        finish_record();
        if (ends_early) EndWithFramesDone(); // changes the sums that a checkpoint keeps
        return;
    }
    const bool due = is_due(run.arguments->write_every_s, run.written_s);
    const bool requested = take_write_request();
    if (due || requested) write_now();
}

void set_up(const Arguments& arguments) {
    run = {};
    run.arguments = &arguments;
    Hooks.frame_done = after_frame;
    Hooks.ended_early = finish_record;
    Hooks.drops_cut_frames = true;
    Hooks.photons_cast = ShowPhotons;
    Hooks.write_failed = note_failed_write;
    StartProgress(arguments.quiet && arguments.progress.empty() ? "none" : arguments.progress);
    StartControl({arguments.time_limit_s, during_frame, ShowWork});
    omp_set_num_threads(arguments.threads ? *arguments.threads : usable_processors());
    PreviewWindow = arguments.preview;
}

void time_phase(const char* name, const std::function<void()>& act) {
    const double start_s = seconds_running();
    act();
    run.record.phases.push_back({name, seconds_running() - start_s});
}

std::string read_checkpoint(Checkpoint& checkpoint) {
    const std::string& path = run.arguments->resume;
    return path.empty() ? "" : ReadCheckpoint(path, checkpoint);
}

// Why the checkpoint cannot be gone on from, or empty with the images restored.
std::string resume_from(const Checkpoint& checkpoint) {
    if (run.arguments->resume.empty()) return {};
    if (checkpoint.scene != run.scene) return "belongs to another scene, or the scene has changed";
    if (checkpoint.settings != SettingsText())
        return "was rendered with other settings: "
               + SettingsDifference(SettingsText(), checkpoint.settings, "now");
    if (!RestoreImages(checkpoint)) return "does not hold the images that the scene writes";
    Hooks.first_frame = checkpoint.frames;
    return {};
}

// Ends a run of which nothing is to be written.
int give_up(int status, const std::string& reason) {
    EndingBegins();
    EndProgress();
    Complain(reason);
    ForgetOutputs();
    PreviewWindow = false;
    CloseScene();
    return status;
}

// What a file was given for cannot be done; empty to go on.
std::optional<int> status_of_fault(const std::string& path, const std::string& fault) {
    if (fault.empty()) return std::nullopt;
    return give_up(kWrongUse, path + ' ' + fault);
}

void initialize(std::span<const InitialPhase> phases) {
    for (const InitialPhase& phase : phases)
        if (!stop_requested()) time_phase(phase.name, phase.run);
}

// Before the photons: what keeps a file from being replaced, or has it be there already.
std::optional<int> status_of_target(const std::string& path, bool of_other_kind, bool holds_all,
                                    const std::string& content) {
    if (of_other_kind)
        return give_up(kWrongUse, path + " is a file of another kind, and left as it is");
    if (holds_all) return give_up(kDone, path + " holds " + content + " already");
    return std::nullopt;
}

bool restore_photons() {
    run.photon_fault = ReadPhotons(run.arguments->use_photons, run.identity);
    return true;
}

void store_photons() {
    if (!stop_requested()) run.photon_fault = WritePhotons(run.arguments->photons, run.identity);
}

std::optional<int> prepare_photons(const Arguments& arguments) {
    const std::string& path = arguments.photons;
    if (path.empty() && arguments.use_photons.empty()) return std::nullopt;
    run.identity = IdentityOf(arguments);
    if (!path.empty()) {
        Hooks.photons_stored = store_photons;
        return status_of_target(path, IsNoPhotonFile(path),
                                CheckPhotons(path, run.identity).empty(), "these photons");
    }
    Hooks.restore_photons = restore_photons;
    return status_of_fault(arguments.use_photons,
                           CheckPhotons(arguments.use_photons, run.identity));
}

// Once photons are there; empty to go on with frames.
std::optional<int> status_after_photons(const Arguments& arguments) {
    const std::string& fault = run.photon_fault;
    if (!arguments.photons.empty())
        return fault.empty()
                   ? give_up(kDone, arguments.photons + " holds the photons")
                   : give_up(kNotWritten, "cannot write " + arguments.photons + ": " + fault);
    return status_of_fault(arguments.use_photons, fault);
}

// The pictures are written, with no frame added.
void write_finished(const char* what_adds_some) {
    Complain("the checkpoint holds " + CountText(Hooks.first_frame, "frame") + " already; "
             + what_adds_some + " adds some");
    FrameIndex = Hooks.first_frame;
    EndWithFramesDone();
    run.record.images = ImageStatistics();
    run.record.noise = NoiseStatistics();
}

void render_frames() {
    const std::uint32_t frames = end_of_frames();
    if (Hooks.first_frame >= frames) return write_finished("a larger --sample");
    FollowNoise(Hooks.first_frame);
    if (target_is_reached()) return write_finished("a smaller --noise");
    StartFrames(Hooks.first_frame - run.piece.first, frames - run.piece.first);
    run.written_s = seconds_running();
    run.written_frames = Hooks.first_frame;
    FramesBegin();
    time_phase("frames", Render);
    EndingBegins();
    run.cut_short = FrameIndex < frames && !target_is_reached();
    if (run.cut_short && !run.files_failed) ForgetFrames(); // a second writing takes too long
    if (FrameIndex > run.piece.first) return;
    EndProgress();
    Complain(kEndedWithoutFrames);
}

// A piece writes no pictures, but features for their merge.
bool denoises(const Arguments& arguments) {
    return arguments.denoise && !is_piece(arguments);
}

// Frames that a time limit leaves are denoised like all; whoever interrupts a run wants its end.
void denoise_frames() {
    if (!denoises(*run.arguments) || FrameIndex == 0 || is_interrupted()) return;
    time_phase("denoiser", [] {
        const DenoisedError error = WriteDenoisedImages();
        ReportLine("denoised error", static_cast<float>(error.mean), "relative");
        ReportLine("denoised, 95 % of blocks", static_cast<float>(error.percentile), "relative");
        run.record.denoised_noise = error.percentile;
    });
}

// A window that was closed counts as an interrupt, the time limit does not.
int status_of_run() {
    const bool nothing = FrameIndex == 0 || is_piece(*run.arguments);
    const bool stopped = run.cut_short && (nothing || !is_time_up());
    if (is_interrupted() || stopped) return kInterrupted;
    return run.files_failed ? kNotWritten : kDone;
}

// With the scene's files read; empty to go on.
std::optional<int> status_before_trees(const Arguments& arguments,
                                       const PixelRegion& region_of_scene) {
    if (!arguments.checkpoint.empty() || !arguments.resume.empty())
        run.scene = SceneDigest(arguments.scene);
    if (is_piece(arguments)) {
        const std::string& path = arguments.partial;
        run.piece = HeaderOfPiece(arguments, region_of_scene);
        const auto status = status_of_target(path, IsNoPartial(path), HoldsPiece(path, run.piece),
                                             FramesText(run.piece));
        if (status) return status;
    }
    return prepare_photons(arguments);
}

// A piece goes to a file of its own, and so do photons.
std::optional<int> status_of_piece(const Arguments& arguments) {
    if (is_piece(arguments) && RendererSettings.noise > 0.0f)
        return give_up(kWrongUse, "--partial goes without a noise target: a piece cannot tell how "
                                  "noisy the whole picture is");
    PickSeed();
    const std::string fault = LimitToFrames(arguments);
    return fault.empty() ? std::nullopt : std::optional(give_up(kWrongUse, fault));
}

// Puts the options over the scene; empty to go on.
std::optional<int> status_of_overrides(const Arguments& arguments, PixelRegion& region_of_scene) {
    const std::string nothing = ApplyOverrides(arguments, region_of_scene);
    if (!nothing.empty()) return give_up(kSceneFaults, nothing);
    if (writes_no_pictures(arguments)) return status_of_piece(arguments);
    const std::string fault = FaultOfPictures(arguments);
    return fault.empty() ? std::nullopt : std::optional(give_up(kNotWritten, fault));
}

void prepare_outputs(const Arguments& arguments) {
    run.beauty = ActiveCamera()->aovs[0].image.path;
    if (!arguments.exr_layers.empty()) CollectLayers();
    if (arguments.denoise) AskForPlanes(PlaneNeed::features);
    if (denoises(arguments)) Hooks.picture_error = DenoisedNoise;
}

// From the scene's files to its photons; empty to go on.
std::optional<int> status_of_phases(const Arguments& arguments,
                                    const PixelRegion& region_of_scene) {
    initialize(InitialPhases().first(kReadingPhases));
    if (!stop_requested())
        if (const auto status = status_before_trees(arguments, region_of_scene)) return status;
    StartTrees();
    initialize(InitialPhases().subspan(kReadingPhases));
    if (stop_requested()) return give_up(kInterrupted, kEndedWithoutFrames);
    return status_after_photons(arguments);
}

int close_run(const Arguments& arguments) {
    time_phase("closing", CloseScene);
    save_layers();
    const int status = status_of_run();
    if (is_piece(arguments))
        Complain(arguments.partial
                 + (status == kDone ? " holds " + FramesText(run.piece) : " is not written"));
    return status;
}

int render_opened(const Arguments& arguments) {
    PixelRegion region_of_scene;
    if (const auto status = status_of_overrides(arguments, region_of_scene)) return *status;
    prepare_outputs(arguments);
    Checkpoint checkpoint;
    if (const auto status = status_of_fault(arguments.resume, read_checkpoint(checkpoint)))
        return *status;
    if (const auto status = status_of_phases(arguments, region_of_scene)) return *status;
    if (const auto status = status_of_fault(arguments.resume, resume_from(checkpoint)))
        return *status;
    render_frames();
    denoise_frames();
    return close_run(arguments);
}

// Says that the scene has faults; whether that ends the run.
bool is_refused(const Arguments& arguments, const std::vector<Fault>& faults) {
    const std::string summary = SummaryOf(faults, arguments.scene);
    if (summary.empty()) return false;
    Complain(summary);
    return arguments.strict && StatusOf(faults, true) != kDone;
}

int write_report(const std::string& path, const std::string& scene, int status) {
    const std::string fault = ReplaceFile(path, RunReportText(run.record, scene, status));
    if (fault.empty()) return status;
    Complain("cannot write " + path + ": " + fault);
    return status == kDone ? kNotWritten : status;
}

// Before anything is read.
std::optional<int> status_of_arguments(const Arguments& arguments) {
    if (!IsDirectory(arguments.scene)) return kWrongUse;
    std::string fault = PieceOptionsFault(arguments);
    const int status = fault.empty() ? kNotWritten : kWrongUse;
    if (fault.empty()) fault = FaultOfFiles(arguments);
    if (fault.empty()) return std::nullopt;
    Complain(fault);
    return status;
}

int render_checked(const Arguments& arguments) {
    std::vector<Fault> faults;
    time_phase("scene", [&] { faults = OpenChecked(arguments); });
    return is_refused(arguments, faults) ? give_up(kSceneFaults, "--strict refuses the scene")
                                         : render_opened(arguments);
}

// The status, unless the log could not be written.
int status_with_log(int status, const std::string& fault) {
    if (fault.empty()) return status;
    Complain(fault);
    return status == kDone ? kNotWritten : status;
}

} // namespace

int RenderScene(const Arguments& arguments) {
    if (const auto status = status_of_arguments(arguments)) return *status;
    set_up(arguments);
    ConfineToScene(arguments);
    ReportOutput output(arguments);
    const std::string unopened = output.fault();
    int status = unopened.empty() ? render_checked(arguments) : kNotWritten;
    EndProgress();
    EndControl();
    status = status_with_log(status, output.fault());
    return arguments.report.empty() || !unopened.empty()
               ? status
               : write_report(arguments.report, arguments.scene, status);
}

} // namespace mh
