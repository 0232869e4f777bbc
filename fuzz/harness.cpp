// The entry that libFuzzer and the replay call, and what harnesses need around it.
// SPDX-License-Identifier: MIT
#include "harness.h"

#include "accel/scene_assembly.h"
#include "geometry/objects.h"
#include "geometry/state.h"
#include "math/at.h"
#include "shading/state.h"
#include "support/fresh_scene.h"
#include "support/replay.h"

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>

#include <omp.h>

namespace mh::fuzz {

namespace {

void empty_working_directory() {
    for (const auto& entry : std::filesystem::directory_iterator("."))
        std::filesystem::remove_all(entry);
}

// Lists that survive Startup, Finalize and Shutdown.
void forget_search_paths() {
    ImageSearchPaths.clear();
    GeometrySearchPaths.clear();
}

} // namespace

void WriteFile(const std::string& name, std::string_view content) {
    std::ofstream(name, std::ios::binary) << content;
}

std::string WithoutSeparators(std::string_view text) {
    std::string result(text);
    std::replace(result.begin(), result.end(), '/', '_');
    std::replace(result.begin(), result.end(), '\\', '_');
    return result;
}

void AssembleFrom(std::string_view content, void (*read)(Part& part, const std::string& path)) {
    const test::FreshScene scene;
    WriteFile("geometry", content);
    Object& object = at(Objects, AddObject());
    read(at(object.parts, AddPart(object)), "geometry");
    AssembleScene();
}

} // namespace mh::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const mh::test::TemporaryFolder folder; // and working directory, to the end
    mh::fuzz::empty_working_directory();
    mh::fuzz::forget_search_paths();
    omp_set_num_threads(1);
    const mh::test::SeededDraws draws(1); // an input does the same each time
    const mh::test::CapturedOutput report;
    mh::fuzz::Try({reinterpret_cast<const char*>(data), size});
    return 0;
}
