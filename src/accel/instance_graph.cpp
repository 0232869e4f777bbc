// Targets, root and levels of the objects; the first steps of the scene assembly.
// SPDX-License-Identifier: MIT
#include "accel/instance_graph.h"

#include "accel/state.h"
#include "geometry/objects.h"
#include "geometry/state.h"
#include "math/at.h"
#include "math/name_index.h"
#include "run/report.h"

#include <algorithm>

namespace mh {

namespace {

// An object without a name is no target.
void resolve(Instance& instance, NameIndex& names) {
    if (instance.object < Objects.size()) return;
    int target = -1;
    if (instance.object == kUnresolved && !instance.object_name.empty())
        target = FindName(names, Objects, &Object::name, instance.object_name);
    instance.object = target < 0 ? kUnresolved : static_cast<std::uint32_t>(target);
}

void resolve_instances_of(Object& object, NameIndex& names) {
    const Instance* first_unknown = nullptr;
    for (Instance& instance : object.instances) {
        resolve(instance, names);
        const bool unknown = instance.object == kUnresolved && !instance.object_name.empty();
        if (unknown && first_unknown == nullptr) first_unknown = &instance;
    }
    if (first_unknown != nullptr)
        ReportWarning("object - " + object.name + " instances an object that does not exist: \""
                      + first_unknown->object_name + "\"");
}

std::vector<std::uint32_t> unreferenced_objects() {
    for (const Object& object : Objects) {
        for (const Instance& instance : object.instances) {
            if (instance.object != kUnresolved) Objects[instance.object].referenced = true;
        }
    }
    std::vector<std::uint32_t> result;
    for (std::size_t i = 0; i < Objects.size(); ++i) {
        if (!Objects[i].referenced) result.push_back(static_cast<std::uint32_t>(i));
    }
    return result;
}

// Depth-first search with a stack of its own: nesting has no limit here.
struct Search {
    enum class State : std::uint8_t { unseen, open, done };

    struct Step {
        std::uint32_t object = 0;
        std::size_t instances_left = 0;
        bool warned = false;
    };

    std::vector<State> states;
    std::vector<Step> stack;
    std::vector<std::uint32_t> finished; // targets before the objects that instance them
};

void enter(Search& search, std::uint32_t object, std::uint32_t level) {
    search.states[object] = Search::State::open;
    search.stack.push_back({object, Objects[object].instances.size(), false});
    Objects[object].object_level = level;
}

void leave(Search& search) {
    const std::uint32_t object = search.stack.back().object;
    search.states[object] = Search::State::done;
    search.finished.push_back(object);
    search.stack.pop_back();
}

void cut(Search::Step& step, Instance& instance) {
    if (!step.warned)
        ReportWarning("object - " + Objects[step.object].name + " instances itself by way of "
                      + Objects[instance.object].name + "; the instance is left out");
    step.warned = true;
    instance.object = kUnresolved;
}

// Instances are followed from the last to the first, so that an object on several paths gets its
// level from the last one.
void follow_next(Search& search) {
    Search::Step& step = search.stack.back();
    const std::uint32_t level = Objects[step.object].object_level;
    Instance& instance = Objects[step.object].instances[--step.instances_left];
    if (instance.object == kUnresolved) return;
    switch (search.states[instance.object]) {
    case Search::State::unseen: enter(search, instance.object, level + 1); return;
    case Search::State::open: cut(step, instance); return;
    case Search::State::done: return;
    }
}

void search_from(Search& search, std::uint32_t object) {
    if (search.states[object] != Search::State::unseen) return;
    enter(search, object, 0);
    while (!search.stack.empty()) {
        if (search.stack.back().instances_left > 0)
            follow_next(search);
        else
            leave(search);
    }
}

} // namespace

void ResolveInstances() {
    NameIndex names;
    for (Object& object : Objects)
        resolve_instances_of(object, names);
}

bool ChooseRoot() {
    for (Object& object : Objects)
        object.referenced = false;
    const std::vector<std::uint32_t> candidates = unreferenced_objects();
    RootObjectIndex = candidates.empty() ? 0 : candidates.back();
    if (candidates.size() < 2) return !candidates.empty();
    Object& root = Objects[RootObjectIndex];
    ReportText("object - " + root.name + " is treated as the root object");
    ReportRule();
    for (const std::uint32_t candidate : candidates) {
        if (candidate == RootObjectIndex) continue;
        const int instance = AddInstance(root);
        at(root.instances, instance).object = candidate;
    }
    return true;
}

std::vector<std::uint32_t> InstanceDepths(const std::vector<std::uint32_t>& targets_first) {
    std::vector<std::uint32_t> depth(Objects.size(), 0);
    for (auto object = targets_first.rbegin(); object != targets_first.rend(); ++object) {
        for (const Instance& instance : Objects[*object].instances) {
            if (instance.object != kUnresolved)
                depth[instance.object] = std::max(depth[instance.object], depth[*object] + 1);
        }
    }
    return depth;
}

std::vector<std::uint32_t> OrderObjects() {
    Search search;
    search.states.resize(Objects.size());
    search_from(search, RootObjectIndex);
    for (std::size_t i = 0; i < Objects.size(); ++i)
        search_from(search, static_cast<std::uint32_t>(i)); // what the root does not reach
    const std::vector<std::uint32_t> depth = InstanceDepths(search.finished);
    std::vector<std::uint32_t> order(Objects.size());
    for (std::size_t i = 0; i < order.size(); ++i)
        order[i] = static_cast<std::uint32_t>(i);
    std::stable_sort(order.begin(), order.end(),
                     [&depth](std::uint32_t a, std::uint32_t b) { return depth[a] > depth[b]; });
    return order;
}

} // namespace mh
