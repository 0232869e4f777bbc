// Makes a traversable scene of the table of objects: started by the accelerator phase, once after
// all scene input and all shaders are set.
// SPDX-License-Identifier: MIT
#include "accel/scene_assembly.h"

#include "accel/bounds.h"
#include "accel/instance_graph.h"
#include "accel/light_lists.h"
#include "accel/prepare.h"
#include "accel/root_uv.h"
#include "accel/tree.h"
#include "geometry/finalise.h"
#include "math/count_text.h"
#include "math/roots.h"
#include "math/stop.h"
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

void release_binary_tree(Object& object) {
    if (object.has_motion) return;
    object.binary_nodes = {};
    object.binary_references = {};
}

void report(Object& object) {
    ReportObject(object);
}

constexpr void (*kSteps[])(Object&) = {
    finish_parts,    update_instances,    refuse_too_large, Build,       Update, SATOrder,
    TransferRootUvs, release_binary_tree, MakeLightLists,   PrepareWalk, report};

void object_setup(Object& object) {
    for (const auto step : kSteps)
        if (!stop_requested()) step(object);
}

} // namespace

bool AssembleScene() {
    SmoothingTimeMs = DisplacementTimeMs = 0;
    if (Objects.empty()) return false;
    ResolveInstances();
    const bool has_root = ChooseRoot();
    for (const std::uint32_t object : OrderObjects())
        object_setup(Objects[object]);
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
