// Hardware random numbers: pixel jitter, the pixel pattern, picks of layers, texels and emitters.
// They differ between runs; everything else that is sampled comes from math/sequence.h.
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace mh {

// 32 uniform bits: the processor's random instruction, or a thread-safe generator where there is
// none. Tests put a replayed source here; set only while no frame runs.
extern std::uint32_t (*RandomSource)();

// 32 random bits times 2.3283064e-10, in [0, 1): what would round to 1 becomes the largest float
// below it.
float random_unit();

} // namespace mh
