// The command "check": prints the faults of a scene, as text or JSON.
// SPDX-License-Identifier: MIT
#include "check/check.h"

#include "check/scale_defaults.h"
#include "check/scene.h"
#include "confine_scene.h"
#include "files.h"
#include "frame/phases.h"
#include "integrate/output_images.h"
#include "json_text.h"
#include "math/at.h"
#include "math/count_text.h"
#include "overrides.h"

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <tuple>
#include <unordered_map>
#include <utility>

namespace mh {

namespace {

// A file's faults stand in the order of its lines; files in the order in which they were read.
void sort_by_place(std::vector<Fault>& faults) {
    std::unordered_map<std::string, std::size_t> first; // fault of a file
    for (std::size_t i = 0; i < faults.size(); ++i)
        first.emplace(faults[i].place.file, i);
    const auto rank = [&](const Fault& fault) {
        const Place& place = fault.place;
        return std::tuple(place.line == 0, first.at(place.file), place.line, place.column);
    };
    std::stable_sort(faults.begin(), faults.end(),
                     [&](const Fault& a, const Fault& b) { return rank(a) < rank(b); });
}

std::string message_of(const Fault& fault) {
    if (fault.suggestion.empty()) return fault.message;
    return fault.message + "; did you mean \"" + fault.suggestion + "\"?";
}

// The line, and a caret under the column; tabs stay, so that the caret stands where it should.
std::string excerpt(const Place& place) {
    std::string blanks = place.text.substr(0, to_size(place.column - 1));
    std::replace_if(
        blanks.begin(), blanks.end(), [](char c) { return c != '\t'; }, ' ');
    return "    " + place.text + "\n    " + blanks + "^\n";
}

const char* word_of(Severity severity) {
    switch (severity) {
    case Severity::fault: return "fault";
    case Severity::warning: return "warning";
    case Severity::note: return "note";
    }
    std::abort();
}

void print_text(const Fault& fault) {
    const Place& place = fault.place;
    std::string text = place.file;
    if (place.line > 0)
        text += ':' + std::to_string(place.line) + ':' + std::to_string(place.column);
    text += std::string(": ") + word_of(fault.severity) + ": " + message_of(fault) + '\n';
    if (place.line > 0) text += excerpt(place);
    std::cout << text;
}

Json json_of(const Fault& fault) {
    const Place& place = fault.place;
    return {{"file", place.file},
            {"line", place.line},
            {"column", place.column},
            {"text", place.text},
            {"severity", word_of(fault.severity)},
            {"message", fault.message},
            {"suggestion", fault.suggestion}};
}

std::vector<Fault> open_checked(const Arguments& arguments, CapturedReport& report) {
    const std::string directory = arguments.scene + (arguments.scene.ends_with('/') ? "" : "/");
    SceneLines lines;
    OpenScene(directory, ListenTo(lines, report));
    OverrideEstimator(arguments);
    report.hand_on(false);
    CheckReadScene(directory, lines, report);
    FillInScale(lines);
    return std::move(lines.faults);
}

std::vector<Fault> faults_of(const Arguments& arguments) {
    CapturedReport report;
    std::vector<Fault> faults = open_checked(arguments, report);
    ForgetOutputs();
    Finalize();
    Shutdown();
    sort_by_place(faults);
    return faults;
}

} // namespace

std::vector<Fault> OpenChecked(const Arguments& arguments) {
    CapturedReport report;
    report.hand_on(true);
    return open_checked(arguments, report);
}

Json FaultsJson(const std::vector<Fault>& faults) {
    Json list = Json::array();
    for (const Fault& fault : faults)
        list.push_back(json_of(fault));
    return {{"faults", list}};
}

std::string SummaryOf(const std::vector<Fault>& faults, const std::string& scene) {
    std::string text;
    std::ptrdiff_t all = 0;
    for (const Severity severity : {Severity::fault, Severity::warning}) {
        const auto count = std::count_if(faults.begin(), faults.end(), [&](const Fault& fault) {
            return fault.severity == severity;
        });
        if (count == 0) continue;
        all += count;
        text += (text.empty() ? "" : ", ") + CountText(count, word_of(severity));
    }
    if (!text.empty())
        text += "; moonhare check " + scene + (all == 1 ? " lists it" : " lists them");
    return text;
}

int StatusOf(const std::vector<Fault>& faults, bool strict) {
    const Severity mildest = strict ? Severity::warning : Severity::fault;
    const bool fails = std::any_of(faults.begin(), faults.end(),
                                   [&](const Fault& fault) { return fault.severity <= mildest; });
    return fails ? kSceneFaults : kDone;
}

int CheckScene(const Arguments& arguments) {
    if (!IsDirectory(arguments.scene)) return kWrongUse;
    ConfineToScene(arguments);
    const std::vector<Fault> faults = faults_of(arguments);
    if (arguments.json)
        std::cout << JsonLine(FaultsJson(faults));
    else
        for (const Fault& fault : faults)
            print_text(fault);
    std::cout << std::flush;
    return StatusOf(faults, arguments.strict);
}

} // namespace mh
