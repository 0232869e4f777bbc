// The graph that instances form over the table of objects: who points at whom, which object rays
// enter, and in which order objects can be set up.
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <vector>

namespace mh {

// Finds the targets of instances by name; the first object of a name wins, an empty name matches
// nothing. One warning for each object with instances that lead nowhere.
void ResolveInstances();

// The last object that no instance points at becomes the root; the others of that kind are put
// into it by instances at the identity. Object 0, and false, when every object is pointed at.
bool ChooseRoot();

// Gives objects their level below the root and cuts instances that close a cycle, with a warning.
// Returns all objects, the targets of instances before the objects that hold these.
std::vector<std::uint32_t> OrderObjects();

// Instances on the longest way from an object that nothing instances to each object, for such an
// order.
std::vector<std::uint32_t> InstanceDepths(const std::vector<std::uint32_t>& targets_first);

} // namespace mh
