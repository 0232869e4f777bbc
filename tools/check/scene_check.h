// What the checks of a scene as a whole share.
// SPDX-License-Identifier: MIT
#pragma once

#include "captured_report.h"
#include "check/scene_lines.h"

#include <set>
#include <string>

namespace mh {

struct SceneCheck {
    const std::string& directory;
    SceneLines& lines;
    CapturedReport& report;
    std::set<std::string> shaders, objects; // names that blocks define
    std::set<std::string> hair_shaders;     // of strands
    std::set<std::string> round_shaders; // of strands and particles, which no lamp sample reaches
    std::uint32_t root = 0;              // object
    std::size_t comparisons = 0;         // of unknown names with known ones, so far
};

// Among thousands of unknown names and thousands of known ones, the later ones get no suggestion.
std::string NearestOf(SceneCheck& check, const std::string& name,
                      const std::set<std::string>& names);

} // namespace mh
