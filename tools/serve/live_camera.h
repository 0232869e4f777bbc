// The camera of a live view: moved by a pointer or keys, and its block of the scene.
// SPDX-License-Identifier: MIT
#pragma once

#include "output/types.h"

#include <cstdint>
#include <string>

namespace mh {

enum class CameraMotion : std::uint8_t {
    orbit, // around the target: x to the right, y upwards, in radians
    pan,   // eye and target along the picture: x to the right, y upwards, in widths of what is seen
    dolly, // towards the target: the distance shrinks by exp(-x)
};

struct CameraMove {
    CameraMotion motion = CameraMotion::orbit;
    float x = 0.0f, y = 0.0f;
};

// A picture that is given with the size of another.
void MoveCamera(Camera& camera, const CameraMove& move);

// The block as the scene format has it, with names of files relative to the folder of the pictures.
std::string CameraBlockText(const Camera& camera, const std::string& output_dir);

} // namespace mh
