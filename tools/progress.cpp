// Progress of a render on standard error.
// SPDX-License-Identifier: MIT
#include "progress.h"

#include "integrate/noise.h"
#include "json_text.h"
#include "lights/state.h"
#include "run_control.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <iostream>

#include <unistd.h>

namespace mh {

namespace {

constexpr int kBarWidth = 24, kLineWidth = 78;
constexpr int kPlainStep = 10;         // percent between plain lines
constexpr double kBarInterval_s = 0.1; // between redraws
constexpr double kSecondsOfMinute = 60.0, kSecondsOfHour = 3600.0;

enum class Form { bar, plain, json, none };

struct Progress {
    Form form = Form::none;
    std::int64_t photons = 0, photons_cast = 0;
    std::uint32_t first = 0, frames = 0;
    double frames_start_s = 0.0, drawn_s = -1.0;
    int next_percent = kPlainStep; // of the next plain line
    bool on_line = false;          // the bar's line is open
};

Progress progress;

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

void draw_bar(int percent, const std::string& text, bool last) {
    const double now_s = seconds_running();
    if (!last && now_s - progress.drawn_s < kBarInterval_s) return;
    progress.drawn_s = now_s;
    const int filled = percent * kBarWidth / 100;
    std::string line = '[' + std::string(static_cast<std::size_t>(filled), '#')
                       + std::string(static_cast<std::size_t>(kBarWidth - filled), '.') + "] "
                       + std::to_string(percent) + " % " + text;
    line.resize(kLineWidth, ' ');
    // The cursor rests at the start, where a line of the report may write over the bar.
    std::cerr << '\r' << line << '\r' << std::flush;
    progress.on_line = true;
}

void print_plain(int percent, const std::string& text) {
    if (percent < progress.next_percent) return;
    progress.next_percent = (percent / kPlainStep + 1) * kPlainStep;
    std::cerr << "moonhare: " + std::to_string(percent) + " %  " + text + '\n' << std::flush;
}

void show_text(int percent, const std::string& text, bool last) {
    if (progress.form == Form::bar) draw_bar(percent, text, last);
    if (progress.form == Form::plain) print_plain(percent, text);
}

std::int64_t photon_sum() {
    std::int64_t sum = std::max(SkyLight.photons, 0);
    if (GeometryLight.area > 0.0f) sum += std::max(GeometryLight.photons, 0);
    for (const PointLight& light : PointLights)
        sum += std::max<std::int64_t>(light.photons, 0);
    for (const ParallelLight& light : ParallelLights)
        sum += std::max<std::int64_t>(light.photons, 0);
    return sum;
}

int percent_of(double part, double whole) {
    return whole > 0.0 ? static_cast<int>(std::clamp(100.0 * part / whole, 0.0, 100.0)) : 0;
}

void print_json_photons(int percent) {
    if (percent < progress.next_percent) return;
    progress.next_percent = (percent / kPlainStep + 1) * kPlainStep;
    std::cerr << JsonLine(
        {{"event", "photons"}, {"percent", percent}, {"elapsed_s", seconds_running()}})
              << std::flush;
}

void print_json_frame(std::uint32_t done, int percent, double rate, double remaining_s) {
    Json line = {{"event", "frame"},          {"frame", done},
                 {"frames", progress.frames}, {"percent", percent},
                 {"rays_per_second", rate},   {"elapsed_s", seconds_running()},
                 {"remaining_s", remaining_s}};
    if (followed_noise() > 0.0) line["noise"] = followed_noise();
    std::cerr << JsonLine(line) << std::flush;
}

} // namespace

void StartProgress(const std::string& form) {
    progress = {};
    if (form == "none") return;
    if (form == "json")
        progress.form = Form::json;
    else if (form == "bar" || (form.empty() && isatty(STDERR_FILENO) == 1))
        progress.form = Form::bar;
    else
        progress.form = Form::plain;
}

void ShowPhotons(std::int64_t more) {
    if (progress.photons_cast == 0) progress.photons = photon_sum();
    progress.photons_cast += more;
    const int percent = percent_of(static_cast<double>(progress.photons_cast),
                                   static_cast<double>(progress.photons));
    if (progress.form == Form::json) return print_json_photons(percent);
    show_text(percent, "of the photons, " + duration_text(seconds_running()) + " gone", false);
}

void StartFrames(std::uint32_t first, std::uint32_t frames) {
    progress.first = first;
    progress.frames = frames;
    progress.frames_start_s = seconds_running();
    progress.next_percent = percent_of(first, frames) + 1;
}

void ShowFrame(std::uint32_t done, std::int64_t rays, double frame_seconds) {
    const double now_s = seconds_running();
    const double per_frame_s = (now_s - progress.frames_start_s) / (done - progress.first);
    const double expected = std::max(frames_expected(), static_cast<double>(done));
    const double remaining_s = per_frame_s * (expected - done);
    const double rate = static_cast<double>(rays) / std::max(frame_seconds, 1e-6);
    const int percent = percent_of(done, expected);
    const std::string noise =
        followed_noise() > 0.0 ? ", noise " + formatted("%.4f", followed_noise()) : "";
    if (progress.form == Form::json) return print_json_frame(done, percent, rate, remaining_s);
    show_text(percent,
              std::to_string(done) + '/' + std::to_string(progress.frames) + ", "
                  + formatted("%.2f", rate * 1e-6) + " M rays/s, " + duration_text(now_s) + ", "
                  + duration_text(remaining_s) + " left" + noise,
              done == progress.frames);
}

void EndProgress() {
    if (progress.on_line) std::cerr << '\n' << std::flush;
    progress.on_line = false;
}

} // namespace mh
