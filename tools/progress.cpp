// Progress of a render on standard error. Phases begin on the thread that renders, photons are
// counted on any, and a thread that watches draws what moves in between.
// SPDX-License-Identifier: MIT
#include "progress.h"

#include "files.h"
#include "integrate/noise.h"
#include "json_text.h"
#include "math/work_done.h"
#include "run_control.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <iostream>
#include <mutex>

#include <unistd.h>

namespace mh {

namespace {

constexpr std::size_t kBarWidth = 24, kLineWidth = 78;
constexpr int kStep = 10;              // percent between lines
constexpr double kBarInterval_s = 0.1; // between redraws
constexpr double kRowInterval_s = 1.0; // between lines within a frame
constexpr double kLeastShare = 0.01;   // of a phase, below which nobody can say what is left
constexpr double kUnknown = -1.0;
constexpr double kSecondsOfMinute = 60.0, kSecondsOfHour = 3600.0;

enum class Form { bar, plain, json, none };
enum class Phase { reading, trees, photons, frames, ended };

struct Progress {
    Form form = Form::none;
    Phase phase = Phase::reading;
    double phase_start_s = 0.0, drawn_s = -1.0, line_s = 0.0;
    int next_percent = kStep;                 // of the next line
    bool on_line = false;                     // the bar's line is open
    double photons = 0.0, most_photons = 0.0; // share of their work, and the highest of it so far
    std::uint32_t first = 0, frames = 0, done = 0;
    double expected = 0.0; // frames
    double last_frame_s = 0.0, rays_per_second = 0.0, noise = 0.0;
};

Progress progress;
std::mutex console;

// What there is to say of a phase.
struct View {
    double share = 0.0;            // that is done
    double remaining_s = kUnknown; // of the phase
};

std::string formatted(const char* format, double value) {
    char text[64] = {};
    std::snprintf(text, sizeof text, format, value);
    return text;
}

std::string duration_text(double seconds) {
    if (seconds < kSecondsOfMinute) return formatted("%.1f s", seconds);
    if (seconds < kSecondsOfHour) return formatted("%.1f min", seconds / kSecondsOfMinute);
    return formatted("%.2f h", seconds / kSecondsOfHour);
}

double share_of(double part, double whole) {
    return whole > 0.0 ? std::clamp(part / whole, 0.0, 1.0) : 0.0;
}

double share_of(const WorkDone& work) {
    return share_of(static_cast<double>(work.done.load(std::memory_order_relaxed)),
                    static_cast<double>(work.all.load(std::memory_order_relaxed)));
}

// An estimate may fall, the bar may not.
View view_of_photons(double now_s) {
    View view = {progress.most_photons};
    if (progress.photons > kLeastShare)
        view.remaining_s = (now_s - progress.phase_start_s) * (1.0 / progress.photons - 1.0);
    return view;
}

// Whole frames tell what one takes; before the first is whole, its rows do.
View view_of_frames(double now_s) {
    constexpr double kNotYetWhole = 0.99;
    const double whole = progress.done - progress.first;
    const double rows = std::min(share_of(FrameWork), kNotYetWhole);
    const double in_frame_s = now_s - progress.last_frame_s;
    View view = {share_of(progress.done + rows, progress.expected)};
    double frame_s = kUnknown;
    if (whole > 0.0)
        frame_s = std::max((progress.last_frame_s - progress.phase_start_s) / whole,
                           rows < kNotYetWhole ? in_frame_s : 0.0);
    else if (rows > kLeastShare)
        frame_s = in_frame_s / rows;
    if (frame_s >= 0.0)
        view.remaining_s =
            std::max(frame_s * (progress.expected - progress.done) - in_frame_s, 0.0);
    return view;
}

View view_at(double now_s) {
    switch (progress.phase) {
    case Phase::trees: return {share_of(TreeWork)};
    case Phase::photons: return view_of_photons(now_s);
    case Phase::frames: return view_of_frames(now_s);
    case Phase::reading:
    case Phase::ended: return {};
    }
    std::abort();
}

int percent_of(const View& view) {
    return static_cast<int>(100.0 * view.share);
}

std::string name_of_phase() {
    switch (progress.phase) {
    case Phase::reading: return "reading";
    case Phase::trees: return "trees";
    case Phase::photons: return "photons";
    case Phase::frames:
        return "frames " + std::to_string(progress.done) + '/' + std::to_string(progress.frames);
    case Phase::ended: break;
    }
    return {};
}

std::string text_of(const View& view, double now_s) {
    std::string text = name_of_phase();
    const bool in_frames = progress.phase == Phase::frames;
    if (in_frames && progress.rays_per_second > 0.0)
        text += ", " + formatted("%.2f", progress.rays_per_second * 1e-6) + " M rays/s";
    text += ", " + duration_text(now_s);
    if (view.remaining_s >= 0.0) text += ", " + duration_text(view.remaining_s) + " left";
    if (in_frames && progress.noise > 0.0) text += ", noise " + formatted("%.4f", progress.noise);
    return text;
}

void draw_bar(const View& view, double now_s) {
    progress.drawn_s = now_s;
    const auto filled = static_cast<std::size_t>(view.share * kBarWidth);
    const std::string head =
        progress.phase == Phase::reading ? "" : std::to_string(percent_of(view)) + " % ";
    std::string line = '[' + std::string(filled, '#') + std::string(kBarWidth - filled, '.') + "] "
                       + head + text_of(view, now_s);
    line.resize(kLineWidth, ' ');
    // The cursor rests at the start, where a message may write over the bar.
    std::cerr << '\r' << line << '\r' << std::flush;
    progress.on_line = true;
}

void print_json(Json line, const View& view, double now_s) {
    line["percent"] = percent_of(view);
    if (progress.phase == Phase::frames && progress.rays_per_second > 0.0)
        line["rays_per_second"] = progress.rays_per_second;
    line["elapsed_s"] = now_s;
    line["processor_s"] = static_cast<double>(std::clock()) / CLOCKS_PER_SEC;
    if (view.remaining_s >= 0.0) line["remaining_s"] = view.remaining_s;
    if (progress.noise > 0.0) line["noise"] = progress.noise;
    std::cerr << JsonLine(line) << std::flush;
    progress.line_s = now_s;
}

void print_line(const View& view, double now_s) {
    if (progress.form == Form::json) {
        const bool of_trees = progress.phase == Phase::trees;
        print_json({{"event", of_trees ? "trees" : "photons"}}, view, now_s);
        return;
    }
    std::cerr << "moonhare: " + std::to_string(percent_of(view)) + " %  " + text_of(view, now_s)
                     + '\n'
              << std::flush;
    progress.line_s = now_s;
}

// Trees of most scenes are built in no time.
bool is_worth_a_line(const View& view, double now_s) {
    if (percent_of(view) < progress.next_percent) return false;
    return progress.form == Form::json || progress.phase != Phase::trees
           || now_s - progress.phase_start_s > kRowInterval_s;
}

void print_steps(const View& view, double now_s) {
    if (!is_worth_a_line(view, now_s)) return;
    progress.next_percent = (percent_of(view) / kStep + 1) * kStep;
    print_line(view, now_s);
}

void print_rows(const View& view, double now_s) {
    print_json({{"event", "rows"}, {"frames_done", progress.done}, {"frames", progress.frames}},
               view, now_s);
}

void show(bool at_once) {
    if (progress.form == Form::none || progress.phase == Phase::ended) return;
    const double now_s = seconds_running();
    const View view = view_at(now_s);
    if (progress.form == Form::bar) {
        if (at_once || now_s - progress.drawn_s >= kBarInterval_s) draw_bar(view, now_s);
    } else if (progress.phase == Phase::frames && progress.form == Form::json) {
        if (now_s - progress.line_s >= kRowInterval_s) print_rows(view, now_s);
    } else if (progress.phase != Phase::reading) {
        print_steps(view, now_s);
    }
}

void enter(Phase phase) {
    show(true);
    progress.phase = phase;
    progress.phase_start_s = progress.line_s = seconds_running();
    progress.next_percent = progress.form == Form::json ? 0 : kStep;
}

// Messages stand above the bar, which is drawn again below them.
void write_above(const std::string& line) {
    const std::lock_guard guard(console);
    if (progress.on_line) std::cerr << '\r' + std::string(kLineWidth, ' ') + '\r';
    std::cerr << line << std::flush;
    progress.on_line = false;
    progress.drawn_s = -1.0;
}

} // namespace

void StartProgress(const std::string& form) {
    const std::lock_guard guard(console);
    progress = {};
    TreeWork.begin(0);
    FrameWork.begin(0);
    WriteLine = write_above;
    std::cerr.tie(nullptr); // another thread may change the buffer of std::cout meanwhile
    if (form == "none") return;
    if (form == "json")
        progress.form = Form::json;
    else if (form == "bar" || (form.empty() && isatty(STDERR_FILENO) == 1))
        progress.form = Form::bar;
    else
        progress.form = Form::plain;
}

bool ShowsBar() {
    return progress.form == Form::bar;
}

void StartTrees() {
    const std::lock_guard guard(console);
    enter(Phase::trees);
    show(false);
}

void ShowPhotons(double share) {
    const std::lock_guard guard(console);
    if (progress.phase != Phase::photons) enter(Phase::photons);
    progress.photons = share;
    progress.most_photons = std::max(progress.most_photons, share);
    show(false);
}

void StartFrames(std::uint32_t first, std::uint32_t frames) {
    const std::lock_guard guard(console);
    enter(Phase::frames);
    progress.first = progress.done = first;
    progress.frames = frames;
    progress.expected = frames;
    progress.last_frame_s = progress.phase_start_s;
    progress.next_percent = static_cast<int>(100.0 * share_of(first, frames)) + 1;
    if (progress.form == Form::json) print_rows(view_at(progress.line_s), progress.line_s);
}

void ShowFrame(std::uint32_t done, std::int64_t rays, double frame_seconds) {
    const std::lock_guard guard(console);
    progress.done = done;
    progress.expected = std::max(frames_expected(), static_cast<double>(done));
    progress.noise = followed_noise();
    progress.rays_per_second = static_cast<double>(rays) / std::max(frame_seconds, 1e-6);
    progress.last_frame_s = seconds_running();
    FrameWork.begin(0);
    if (progress.form == Form::json)
        print_json({{"event", "frame"}, {"frame", done}, {"frames", progress.frames}},
                   view_at(progress.last_frame_s), progress.last_frame_s);
    else
        show(done == progress.frames);
}

void ShowWork() {
    const std::lock_guard guard(console);
    show(false);
}

void EndProgress() {
    const std::lock_guard guard(console);
    if (progress.on_line) std::cerr << '\n' << std::flush;
    progress.on_line = false;
    progress.phase = Phase::ended;
}

} // namespace mh
