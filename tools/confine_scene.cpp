// The option --confine.
// SPDX-License-Identifier: MIT
#include "confine_scene.h"

#include "files.h"
#include "math/input_file.h"

#include <set>

namespace mh {

namespace {

// A file is looked for more than once.
void note_refused(const std::string& path) {
    static std::set<std::string> noted;
    if (noted.insert(path).second)
        Complain(path + " is outside of the scene's folder and not read (--confine)");
}

} // namespace

void ConfineToScene(const Arguments& arguments) {
    if (arguments.confine) ConfineInputs(arguments.scene, note_refused);
}

} // namespace mh
