// What the denoiser keeps between pictures.
// SPDX-License-Identifier: MIT
#pragma once

namespace mh {

extern bool UsesVectors; // cleared by tests alone
extern bool UsesNetwork; // by choice of the program

} // namespace mh
