// Text of scene files: every block and key, without the phases that follow.
// SPDX-License-Identifier: MIT
#include "harness.h"
#include "scene/scene_reader.h"
#include "support/fresh_scene.h"

void mh::fuzz::Try(std::string_view input) {
    const test::FreshScene scene;
    WriteFile("all.mh", WithoutSeparators(input));
    ReadSceneFile("all.mh");
}
