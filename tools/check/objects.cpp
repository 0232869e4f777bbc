// Objects and the graph of their instances. The assembly of the scene is asked for root and order,
// and what it changes is taken back.
// SPDX-License-Identifier: MIT
#include "check/objects.h"

#include "accel/instance_graph.h"
#include "accel/state.h"
#include "accel/tree.h"
#include "check/scale_defaults.h"
#include "geometry/state.h"
#include "math/count_text.h"
#include "run/estimator.h"
#include "run/types.h"
#include "scene_memory.h"

#include <algorithm>

namespace mh {

namespace {

struct Graph {
    std::uint32_t root = 0;
    std::vector<std::uint32_t> depth; // longest way from the root, in instances
    std::vector<std::uint32_t> loose; // objects that nothing instances
    std::vector<ReportMessage> messages;
    Aabb box;
};

Graph graph_of(CapturedReport& report) {
    std::vector<std::size_t> counts;
    for (const Object& object : Objects)
        counts.push_back(object.instances.size());
    ResolveInstances();
    report.take_messages(); // of unknown names, which the check of lines reports
    Graph graph;
    ChooseRoot();
    report.take_messages(); // of the choice
    graph.root = RootObjectIndex;
    for (std::size_t i = 0; i < Objects.size(); ++i)
        if (!Objects[i].referenced) graph.loose.push_back(static_cast<std::uint32_t>(i));
    const std::vector<std::uint32_t> order = OrderObjects();
    graph.depth = InstanceDepths(order);
    graph.box = BoxOfScene(order, graph.root);
    graph.messages = report.take_messages();
    for (std::size_t i = 0; i < Objects.size(); ++i)
        Objects[i].instances.resize(counts[i]);
    return graph;
}

void check_cycles(SceneCheck& check, const Graph& graph) {
    for (const ReportMessage& message : graph.messages)
        for (std::size_t i = 0; i < Objects.size(); ++i) {
            if (!message.text.starts_with("object - " + Objects[i].name + ' ')) continue;
            add_fault(check.lines, check.lines.object_places[i], message.text);
            break;
        }
}

bool is_empty(const Object& object) {
    return primitive_count(object) == 0 && object.instances.empty();
}

void check_targets(SceneCheck& check) {
    for (std::size_t i = 0; i < Objects.size(); ++i) {
        const std::vector<Instance>& instances = Objects[i].instances;
        const auto empty =
            std::count_if(instances.begin(), instances.end(), [](const Instance& instance) {
                return instance.object != kUnresolved && is_empty(Objects[instance.object]);
            });
        if (empty > 0)
            add_fault(check.lines, check.lines.object_places[i],
                      CountText(empty, "instance") + " of an empty object");
    }
}

void check_depths(SceneCheck& check, const Graph& graph) {
    for (std::size_t i = 0; i < Objects.size(); ++i)
        if (graph.depth[i] == kMaxInstanceLevels + 1)
            add_fault(check.lines, check.lines.object_places[i],
                      "more than " + std::to_string(kMaxInstanceLevels)
                          + " instances nest here: this object is not seen");
}

// What the building of trees would report.
void check_sizes(SceneCheck& check) {
    for (std::size_t i = 0; i < Objects.size(); ++i)
        for (const std::string& fault : {LostParts(Objects[i]), TooLarge(Objects[i])})
            if (!fault.empty()) add_fault(check.lines, check.lines.object_places[i], fault);
}

bool share_face_numbers(const Object& a, const Object& b) {
    const auto has = [](const Object& object, const auto& faces) {
        return std::any_of(object.parts.begin(), object.parts.end(),
                           [&](const Part& part) { return !(part.*faces).empty(); });
    };
    return (has(a, &Part::triangles) && has(b, &Part::triangles))
           || (has(a, &Part::tetragons) && has(b, &Part::tetragons));
}

bool has_faces(const Object& object) {
    return std::any_of(object.parts.begin(), object.parts.end(), [](const Part& part) {
        return !part.triangles.empty() || !part.tetragons.empty();
    });
}

// A ray ignores all faces of the number of that which it left.
void check_face_numbers(SceneCheck& check, const Graph& graph) {
    for (std::size_t i = 0; i + 1 < graph.loose.size(); ++i)
        if (share_face_numbers(Objects[graph.loose[i]], Objects[graph.loose[i + 1]]))
            add_warning(check.lines, check.lines.object_places[graph.loose[i]],
                        "rays that leave a face of this object miss the face of the same number in "
                        "the next one, and vice versa: put them into one object");
}

// Cells for photons lie on the faces of the root, and only there.
void check_cells(SceneCheck& check, const Graph& graph) {
    if (!chooses_gathering()) return;
    for (const std::uint32_t i : graph.loose)
        if (i != graph.root && primitive_count(Objects[i]) > 0)
            add_warning(check.lines, check.lines.object_places[i],
                        "faces of this object hold no photons, as another object without instances "
                        "follows: put them into one object, or set \"distance 0\"");
    const Object& root = Objects[graph.root];
    const Place& place = check.lines.object_places[graph.root];
    if (!has_faces(root) && !root.instances.empty())
        add_warning(check.lines, place,
                    "all geometry is instanced, and no face holds photons: put walls and large "
                    "furniture into this object, or set \"distance 0\"");
    for (const Part& part : root.parts)
        if (!part.cylinders.empty() || !part.particles.empty()) {
            add_warning(check.lines, place,
                        "hair and particles of this object read no photons and get no indirect "
                        "light: instance them from another object, or set \"distance 0\"");
            break;
        }
}

} // namespace

void CheckObjects(SceneCheck& check) {
    if (Objects.empty() || check.lines.object_places.size() != Objects.size()) return;
    const Graph graph = graph_of(check.report);
    check_cycles(check, graph);
    check_targets(check);
    check_depths(check, graph);
    check_sizes(check);
    check_face_numbers(check, graph);
    check_cells(check, graph);
    check.root = graph.root;
    check.lines.box = graph.box;
}

} // namespace mh
