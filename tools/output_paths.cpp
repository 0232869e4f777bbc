// Outputs of a render, tried before it begins.
// SPDX-License-Identifier: MIT
#include "output_paths.h"

#include "files.h"
#include "integrate/output_images.h"
#include "output/file_writer.h"
#include "output/image_writer.h"
#include "output/state.h"

#include <filesystem>

namespace mh {

namespace {

std::string fault_of(const std::string& path, const std::string& reason) {
    return reason.empty() ? reason : "cannot write " + path + ": " + reason;
}

std::string fault_of_picture(const std::string& path) {
    return fault_of(path, CanWriteAs(path) ? TryFile(path) : "its name has no known extension");
}

} // namespace

std::string FaultOfLayers(const Arguments& arguments) {
    const std::string& path = arguments.exr_layers;
    return path.empty() || ExtensionOf(path) == ".exr"
               ? ""
               : "--exr-layers: " + path + " has to end in .exr";
}

std::string FaultOfFiles(const Arguments& arguments) {
    for (const std::string* path : {&arguments.report, &arguments.checkpoint, &arguments.partial,
                                    &arguments.photons, &arguments.exr_layers}) {
        const std::string fault = path->empty() ? "" : fault_of(*path, TryFile(*path));
        if (!fault.empty()) return fault;
    }
    return FaultOfLayers(arguments);
}

std::string FaultOfPictures(const Arguments& arguments) {
    std::error_code unmade;
    if (!arguments.output_dir.empty())
        std::filesystem::create_directories(arguments.output_dir, unmade);
    if (unmade) return "cannot make " + arguments.output_dir + ": " + unmade.message();
    const std::string& beauty = Cameras[0].aovs[0].image.path;
    if (!arguments.beauty.empty())
        if (std::string fault = fault_of_picture(beauty); !fault.empty()) return fault;
    std::string last;
    bool has_picture = false;
    ForEachOutput([&](Aov& aov, Filling) {
        if (aov.image.path.empty()) return;
        const std::string fault = fault_of_picture(aov.image.path);
        has_picture = has_picture || fault.empty();
        if (fault.empty()) return;
        if (!last.empty()) Complain(last);
        last = fault;
    });
    if (!has_picture) return last;
    if (!last.empty()) Complain(last + "; the others are rendered");
    return {};
}

} // namespace mh
