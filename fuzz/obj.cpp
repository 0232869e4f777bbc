// OBJ files: reading, welding, finishing of the part, its tree.
// SPDX-License-Identifier: MIT
#include "geometry/obj_reader.h"
#include "harness.h"

void mh::fuzz::Try(std::string_view input) {
    AssembleFrom(input, [](Part& part, const std::string& path) {
        MeshLoader loader;
        ReadObj(loader, path);
        AssembleMesh(loader, part);
    });
}
