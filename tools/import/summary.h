// The summary that an import prints.
// SPDX-License-Identifier: MIT
#pragma once

#include "import/map_scene.h"

#include <optional>

namespace mh {

struct Summary {
    std::string file, directory;
    std::size_t meshes = 0, triangles = 0, instances = 0, materials = 0, pictures = 0;
    std::size_t lights = 0, cameras = 0;
    double size_m = 0.0; // diagonal of the box around all
    double duration_s = 0.0;
    bool own_light = false, own_camera = false;
    std::vector<std::string> approximated, dropped;
};

Summary SummaryOf(const ImportedScene& scene, const MappedScene& mapped, const std::string& file,
                  const std::string& directory);

// Lines for people; the short form is one line.
std::string TextOf(const Summary& summary, bool is_short = false);
std::string JsonOf(const Summary& summary);

// Whole stops after which a tenth of the pixels that are not black is brighter than 0.8; 0 where
// that level is between 0.25 and 2 already, none for a picture that is black or cannot be read.
std::optional<double> FittingExposure(const std::string& picture);

} // namespace mh
