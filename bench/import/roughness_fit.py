"""Fits the width of the glossy lobe to the roughness of other programs: prints a table of roughness
r, width w by least squares, and the law w = a r^b that fits the table. Lobes are compared as
densities of outgoing directions, for views at 0, 30 and 60 degrees from the normal: that of
[Walter05] with slopes of width w, and GGX with its height-correlated shadowing for alpha = r^2
[Walter07] [Heitz14], scaled to the same albedo.
SPDX-License-Identifier: MIT"""
import numpy as np

VIEWS = np.radians([0.0, 30.0, 60.0])
ROUGHNESS = np.arange(0.1, 1.001, 0.05)


def directions(roughness):
    """Facets around the normal, denser where lobes are narrow: polar angles and azimuths, with the
    solid angle of each."""
    steps, around = 500, 96
    t = (np.arange(steps) + 0.5) / steps
    tangent = 12 * roughness ** 2 * t ** 2 / (1.0001 - t ** 2)
    polar = np.arctan(tangent)
    edges = np.arctan(12 * roughness ** 2 * (np.arange(steps + 1) / steps) ** 2
                      / (1.0001 - (np.arange(steps + 1) / steps) ** 2))
    azimuth = 2 * np.pi * (np.arange(around) + 0.5) / around
    solid = (np.cos(edges[:-1]) - np.cos(edges[1:]))[:, None] * np.full(around, 2 * np.pi / around)
    return polar[:, None], azimuth[None, :], solid


def lobes(roughness, view):
    """Cosine of facet and view, height of the outgoing direction, and the solid angle around it."""
    polar, azimuth, solid = directions(roughness)
    h = np.stack(np.broadcast_arrays(np.sin(polar) * np.cos(azimuth),
                                     np.sin(polar) * np.sin(azimuth), np.cos(polar)))
    v = np.array([np.sin(view), 0, np.cos(view)])
    facet = np.einsum("i,ijk->jk", v, h)
    height = 2 * facet * h[2] - v[2]
    return h[2], facet, height, 4 * facet * solid, (facet > 0) & (height > 1e-4)


def scaled(density, solid):
    return density / np.sum(density * solid)


def ward(width, cosine, facet, seen, solid):
    tangent2 = 1 / cosine ** 2 - 1
    density = np.exp(-tangent2 / width ** 2) / (np.pi * width ** 2 * cosine ** 3 * 4 * facet)
    return scaled(np.where(seen, density, 0), solid)


def smith(alpha, cosine):
    return (np.sqrt(1 + alpha ** 2 * (1 / cosine ** 2 - 1)) - 1) / 2


def ggx(alpha, cosine, facet, height, view, seen, solid):
    d = alpha ** 2 / (np.pi * (cosine ** 2 * (alpha ** 2 - 1) + 1) ** 2)
    up = np.maximum(height, 1e-4)
    density = d / (1 + smith(alpha, np.cos(view)) + smith(alpha, up)) / (4 * np.cos(view))
    return scaled(np.where(seen, density, 0), solid)


def best_width(roughness):
    alpha = roughness ** 2
    widths = alpha * np.geomspace(0.5, 2.0, 241)
    errors = np.zeros(len(widths))
    for view in VIEWS:
        cosine, facet, height, solid, seen = lobes(roughness, view)
        solid = np.where(seen, solid, 0)
        target = ggx(alpha, cosine, facet, height, view, seen, solid)
        scale = np.sum(target ** 2 * solid)
        for i, width in enumerate(widths):
            difference = ward(width, cosine, facet, seen, solid) - target
            errors[i] += np.sum(difference ** 2 * solid) / scale
    return widths[np.argmin(errors)], np.sqrt(errors.min() / len(VIEWS))


def main():
    table = [(r, *best_width(r)) for r in ROUGHNESS]
    print("| roughness | width | width / roughness^2 | rms difference |\n|---|---|---|---|")
    for r, width, error in table:
        print(f"| {r:.2f} | {width:.4f} | {width / r ** 2:.3f} | {error:.3f} |")
    r, width = np.array(table)[:, 0], np.array(table)[:, 1]
    slope, offset = np.polyfit(np.log(r), np.log(width), 1)
    law = np.exp(offset) * r ** slope
    print(f"\nwidth = {np.exp(offset):.4f} roughness^{slope:.4f}, "
          f"off by {np.abs(law / width - 1).max():.3f} at most")


if __name__ == "__main__":
    np.seterr(all="ignore")
    main()
