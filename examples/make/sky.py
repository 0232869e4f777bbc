# SPDX-License-Identifier: MIT
"""Mesh and sky of the scene "sky": an afternoon as a latitude-longitude image with a small sun."""
import math

from images import save_hdr
from mesh import Mesh

WIDTH, HEIGHT = 256, 128
SUN_AZIMUTH_DEG, SUN_HEIGHT_DEG, SUN_RADIUS_DEG = 310, 32, 1.6
folder = "../sky/"


def direction(azimuth_deg, height_deg):
    a, h = math.radians(azimuth_deg), math.radians(height_deg)
    return math.cos(h) * math.cos(a), math.cos(h) * math.sin(a), math.sin(h)


SUN = direction(SUN_AZIMUTH_DEG, SUN_HEIGHT_DEG)


def sky(x, y):
    height_deg = 90 - 180 * (y + 0.5) / HEIGHT
    d = direction(360 * (x + 0.5) / WIDTH, height_deg)
    to_sun = sum(a * b for a, b in zip(d, SUN))
    if to_sun > math.cos(math.radians(SUN_RADIUS_DEG)):
        return 1500.0, 1300.0, 1000.0
    if d[2] < 0:
        return 0.2, 0.19, 0.18
    haze = math.exp(-5 * d[2])
    glow = 1.6 * max(to_sun, 0) ** 60
    return (0.12 + 0.5 * haze + glow, 0.25 + 0.42 * haze + 0.85 * glow,
            0.62 + 0.2 * haze + 0.6 * glow)


save_hdr(folder + "image/afternoon.hdr", WIDTH, HEIGHT, sky)
balls = Mesh()
balls.material("ground")
balls.quad([(-300, -300, 0), (300, -300, 0), (300, 300, 0), (-300, 300, 0)])
for k, material in enumerate(("chalk", "paint", "copper", "mirror")):
    balls.material(material)
    balls.sphere((2.2 * k - 3.3, 0, 1), 1)
balls.save(folder + "geometry/balls.obj")
