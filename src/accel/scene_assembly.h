// Makes a traversable scene of the table of objects.
// SPDX-License-Identifier: MIT
#pragma once

#include "geometry/types.h"

namespace mh {

// Resolves instances, chooses the root, orders objects by depth, finishes parts and builds trees
// from the deepest up, sets the scene bounds. False when there is no object at all.
bool AssembleScene();

// "scene size", "scene min", "scene max", "scene center" and a rule.
void ReportScene();

} // namespace mh
