// The density estimator: a grid of cells on every face of the root object in which photons leave
// their light. Photons add to fixed-point sums, since a cell receives millions of small values from
// all threads; when all have landed, the sums become what gather rays read.
// SPDX-License-Identifier: MIT
#pragma once

#include "geometry/types.h"
#include "hit/ray.h"

namespace mh {

// Sizes and clears the grids of the root object's parts by RendererSettings.resolution, the wanted
// area of a cell; no grid below 1e-8, or when memory cannot hold them all. Reports the memory. Ends
// the process with a message when the cells of a part need more than 1 GiB. At scene assembly, once
// shaders are finished.
void InitializeDensity();

// The same where the resolution has changed since: when the renderer starts.
void UpdateDensity();

// At the end of the scene's objects.
void ReleaseDensity();

// Cells that a part's faces would have in the root object if all of them scattered.
std::uint64_t CellsOf(const Part& part);

// Of a cell, with the sums that fill it while photons are cast.
extern const double kBytesOfCell;

// Before the photons: empties the cells of the root object.
void StartDeposits();

// Between the two others: adds the light to the cell of the hit; thread-safe. Nothing outside the
// root object, on hair and particles, on faces of an area below 1e-5, or without a grid.
void deposit(const Ray& ray, const Vec3& value);

// After the photons.
void FinishDeposits();

// Radiance of the cell of the hit: on its side, and through it from the other side.
Vec3 density_lambertian(const Ray& ray);
Vec3 density_transmissive(const Ray& ray);

} // namespace mh
