// Lifecycle of the library: startup, phases, shutdown, and the driver over a scene directory.
// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace mh {

void Startup();
void Go(const std::string& directory);
void Initialize();
void InitializeAccelerator();
void Render();
void Finalize();
void Shutdown();

} // namespace mh
