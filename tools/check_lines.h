// Faults that the lines of a scene's files show while the reader goes through them, and the names
// that they mention.
// SPDX-License-Identifier: MIT
#pragma once

#include "captured_report.h"
#include "fault.h"
#include "scene/scene_reader.h"

#include <string>
#include <vector>

namespace mh {

// A name in a scene file, by what it stands for.
struct Mention {
    Role role = Role::plain;
    std::string name;
    Place place;
    std::string block, key;
};

// A block while it is open, and afterwards where it was opened.
struct OpenBlock {
    const Block* block = nullptr;
    Place place;
    bool names_output = false;
};

// A light or layer that is worth a look once all settings are known.
enum class Concern { emits_without_virtual_light, no_photons };

struct Doubt {
    Concern concern;
    Place place;
    std::string block;
};

struct SceneLines {
    std::vector<Fault> faults;
    std::vector<Mention> mentions;
    std::vector<Doubt> doubts;
    std::vector<OpenBlock> open;      // outermost first
    std::vector<Place> object_places; // in the order of Objects
    bool reads_files = false;         // a .mh file was found
};

// The folders of a search list in words.
std::string FoldersText(const std::vector<std::string>& folders);

// A listener that fills the record.
ReadListener ListenTo(SceneLines& lines, CapturedReport& report);

} // namespace mh
