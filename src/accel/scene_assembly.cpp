// Makes a traversable scene of the table of objects: started by the accelerator phase, once after
// all scene input and all shaders are set.
// SPDX-License-Identifier: MIT
#include "accel/scene_assembly.h"

#include "accel/bounds.h"
#include "accel/instance_graph.h"
#include "accel/light_lists.h"
#include "accel/prepare.h"
#include "accel/root_uv.h"
#include "accel/state.h"
#include "accel/tree.h"
#include "geometry/finalise.h"
#include "geometry/state.h"
#include "math/count_text.h"
#include "math/roots.h"
#include "math/stop.h"
#include "math/work_done.h"
#include "run/report.h"

namespace mh {

namespace {

void finish_parts(Object& object) {
    object.has_motion = false;
    for (Part& part : object.parts) {
        if (stop_requested()) return;
        if (part.shader_id == 0 && part.shader_name == "undefined")
            part.shader_id = object.default_shader;
        FinalisePart(part);
        object.has_motion = object.has_motion || part.has_motion;
    }
}

void update_instances(Object& object) {
    std::int64_t unusable = 0;
    for (Instance& instance : object.instances) {
        UpdateInstance(instance);
        if (!instance.usable && instance.object != kUnresolved) ++unusable;
    }
    if (unusable > 0)
        ReportWarning("object - " + object.name + " leaves out " + CountText(unusable, "instance")
                      + " without an inverse or of an empty object");
}

// An object whose tree would not fit loses what it holds.
void refuse_too_large(Object& object) {
    const std::string fault = TooLarge(object);
    if (fault.empty()) return;
    ReportError(fault);
    object.parts.clear();
    object.instances.clear();
}

void release_binary_tree(const Object& object, Tree& tree) {
    if (object.has_motion) return;
    tree.binary_nodes = {};
    tree.binary_references = {};
}

constexpr std::int64_t kSetupSteps = 11;

// Of each step of an object.
std::int64_t work_of(const Object& object) {
    std::size_t count = object.instances.size() + 1;
    for (const Part& part : object.parts)
        count += part.particles.size() + part.cylinders.size() + part.triangles.size()
                 + part.tetragons.size();
    return static_cast<std::int64_t>(count);
}

// Each step is left out once the run is to end.
void object_setup(std::uint32_t index) {
    Object& object = Objects[index];
    const std::int64_t work = work_of(object);
    const auto run = [&](const auto& step, auto&... records) {
        if (!stop_requested()) step(records...);
        TreeWork.add(work);
    };
    Tree& tree = Trees[index];
    run(finish_parts, object);
    run(update_instances, object);
    run(refuse_too_large, object);
    run(Build, object, tree);
    run(Update, object, tree);
    run(SATOrder, tree);
    run(TransferRootUvs, object, tree);
    run(release_binary_tree, object, tree);
    run(MakeLightLists, object, LightListsOfObjects[index]);
    run(PrepareWalk, object, tree);
    run(ReportObject, object);
}

} // namespace

bool AssembleScene() {
    SmoothingTimeMs = DisplacementTimeMs = 0;
    if (Objects.empty()) return false;
    Trees = std::vector<Tree>(Objects.size());
    LightListsOfObjects.assign(Objects.size(), {});
    ResolveInstances();
    const bool has_root = ChooseRoot();
    std::int64_t work = 0;
    for (const Object& object : Objects)
        work += work_of(object);
    TreeWork.begin(kSetupSteps * work);
    for (const std::uint32_t object : OrderObjects())
        object_setup(object);
    SceneBounds = Objects[RootObjectIndex].box;
    SceneCenter = center(SceneBounds);
    SceneRadius = 0.5f * length(SceneBounds.max - SceneBounds.min);
    if (!has_root) ReportError("object - there is no root object");
    return true;
}

void ReportScene() {
    ReportLine("scene size  ", SceneBounds.max - SceneBounds.min, "m");
    ReportLine("scene min   ", SceneBounds.min, "n/a");
    ReportLine("scene max   ", SceneBounds.max, "n/a");
    ReportLine("scene center", SceneCenter, "n/a");
    ReportRule();
}

} // namespace mh
