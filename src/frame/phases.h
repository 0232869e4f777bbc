// Lifecycle of the library: startup, phases, shutdown, and the driver over a scene directory. One
// scene exists at a time; everything here runs on the caller's thread.
// SPDX-License-Identifier: MIT
#pragma once

#include "integrate/types.h"
#include "scene/scene_reader.h"

#include <span>
#include <string>

namespace mh {

// Tables and settings at their defaults, the shader "undefined"; before everything else. Does not
// touch PreviewWindow and DisplayGamma.
void Startup();

// The whole run over a scene directory, from Startup to Shutdown. Without a trailing separator
// the folders "image" and "geometry" are not searched.
void Go(const std::string& directory);

// The first step of Go: startup, banner, search paths, and the blocks of the directory read. The
// others are Initialize, Render, CloseScene.
void OpenScene(const std::string& directory, const ReadListener& listener = {});
void CloseScene();

// All phases: cameras, textures, shaders, accelerator, sky, geometry light, gaffer, renderer.
void Initialize();

struct InitialPhase {
    const char* name;
    void (*run)();
};

// What Initialize runs, in order. After the first few all files of the scene have been read but for
// those of the sky.
std::span<const InitialPhase> InitialPhases();
constexpr std::size_t kReadingPhases = 4;

// Phase 4: the traversable scene, density grids of the root's parts, tables of hair shaders.
// Silent without an object.
void InitializeAccelerator();

// What each frame needs; the last step releases the lights.
FrameSteps StepsOfFrames();

// All frames of the active camera; writes its images and releases the lights after the last.
void Render();

// Writes what is left to write and destroys all records.
void Finalize();
void FinalizeAccelerator();

void Shutdown();

} // namespace mh
