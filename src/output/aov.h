// Output images: allocation, sums of samples, first-hit values.
// SPDX-License-Identifier: MIT
#pragma once

#include "hit/ray.h"
#include "output/types.h"

namespace mh {

// A new AOV at the end of the list; returns its index.
int AddAov(std::vector<Aov>& list);

// Gives every AOV of the list the active camera's size and clears it; its format stays (three
// 32-bit floats by default). Without a camera nothing happens.
void AllocateAovs(std::vector<Aov>& list);
void AllocateAov(Aov& aov, int width, int height);

// Resolves the shader filters by name: -1, any shader, for an empty name; -2, which no shader has,
// for an unknown one.
void ResolveAovShaders(std::vector<Aov>& list);

// Adds value, undivided, to the pixel of the ray's thread. A value that would leave the sum not
// finite is counted and adds nothing, nor does any to an AOV without float pixels.
void add_to_aov(Aov& aov, const Ray& ray, const Vec3& value);

// Adds a share of arriving light to an AOV of its light: the lambertian, transmissive or glossy
// part times that layer's colour, times ray.weight / ray.sample_divisor.
void add_light_aov(Aov& aov, const Ray& ray, const SurfacePoint& point, const LightSplit& light,
                   float share);

// Adds all of it to the AOVs of a list.
void add_light_aovs(std::vector<Aov>& list, const Ray& ray, const SurfacePoint& point,
                    const LightSplit& light);

// Finds the images that the first hits of the next frame add to: those of one channel, with float
// pixels.
void FindFirstHitImages(Camera& camera);

// Adds the values of a camera ray's first hit, over ray.sample_divisor, to all AOVs of the camera;
// nothing for later hits. `parts` holds the four layers' radiance after their colours.
void write_first_hit_aovs(const Ray& ray, const SurfacePoint& point, const LightSplit& parts,
                          const Vec3& emission);

// Adds light that the lambertian layer of a pixel's first hit sends on in this frame.
void add_lambertian_light(Camera& camera, std::int64_t pixel, const Vec3& light);

// Pixel of the first AOV as a colour, and the converse; 8-bit and 16-bit formats share the factor
// 1 / 255 on reading.
Vec3 read_pixel(const Image& image, std::int64_t pixel);
void write_pixel(Image& image, std::int64_t pixel, const Vec3& value);

// Writes every AOV that has a file name.
void WriteAovs(const std::vector<Aov>& list);

// What a pixel of an image takes: its three floats, and those of the last whole frame or the sums
// of all frames.
double bytes_of_pixel();

std::int64_t size_bytes(const std::vector<Aov>& list);

} // namespace mh
