// The directions into which a surface scatters, their shares, and the rays that leave along them.
// Camera paths ask for the radiance along a child, photons go on as one.
// SPDX-License-Identifier: MIT
#pragma once

#include "hit/ray.h"
#include "shading/scattering.h"

namespace mh {

// A child of the ray at the point for a bounce of this kind: all fields but direction and weight.
Ray spawn_child(const Ray& ray, const SurfacePoint& point, Scatter scatter);

// The pair from which a bounce of this kind takes its direction; the cursor stays where it is.
Vec2 bounce_pair(const SampleCursor& cursor, Scatter scatter);

// A direction of the cosine lobe, drawn from the cursor: about the normal (lambertian) or on the
// far side (transmissive). False when it lies on the wrong side of the primitive.
bool sample_diffuse(const SampleCursor& cursor, const SurfacePoint& point, Scatter scatter,
                    Vec3& direction);

// The split at a facet of a rough surface, drawn from the cursor; the exact estimator draws again
// where a facet is not kept. And the split at the surface itself as one facet. Thin sheets refract
// at the second alone.
FacetSplit split_at_facet(const Ray& ray, const SurfacePoint& point);
FacetSplit split_at_surface(const Ray& ray, const SurfacePoint& point);

// The children of a split; w is the weight of the layer. Behind a thin sheet the classic estimator
// counts the child as sent by what had sent the ray: for the weights of light samples the sheet is
// not there.
Ray refracted_child(const Ray& ray, const SurfacePoint& point, Scatter scatter,
                    const FacetSplit& split, const Vec3& w);
Ray reflected_child(const Ray& ray, const SurfacePoint& point, Scatter scatter,
                    const FacetSplit& split, const Vec3& w);

} // namespace mh
