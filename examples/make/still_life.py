# SPDX-License-Identifier: MIT
"""Meshes and images of the scene "still_life"."""
import math

from images import save_png, value_noise
from mesh import Mesh

folder = "../still_life/"

table = Mesh()
table.material("checker")
table.quad([(-5, -3, 0), (5, -3, 0), (5, 5, 0), (-5, 5, 0)], [(0, 0), (5, 0), (5, 4), (0, 4)])
table.material("vase")
profile = [(0, 0), (0.34, 0), (0.36, 0.03)]
profile += [(0.36 + 0.26 * math.sin(math.pi * t) ** 1.2 - 0.16 * t, 0.03 + 1.25 * t)
            for t in (k / 20 for k in range(1, 20))]
profile += [(0.21, 1.29), (0.27, 1.4), (0.25, 1.41), (0.18, 1.29)]
table.lathe((-0.75, 0.35, 0), profile, 48, textured=True)
table.material("mirror")
table.sphere((0.55, 0.75, 0.6), 0.6)
table.material("clay")
table.sphere((0.25, -0.45, 0.35), 0.35, textured=True)
table.material("lacquer")
table.torus((1.35, -0.25, 0.16), 0.34, 0.16)
table.save(folder + "geometry/table.obj")


def checker(x, y):
    """Two woods, 2 x 2 squares, with a grain along the squares' sides."""
    dark = (x < 64) != (y < 64)
    u, v = (x / 128, y / 128) if dark else (y / 128, x / 128)
    grain = 0.85 + 0.15 * value_noise(u, v, 4, 64, 1) * value_noise(u, v, 8, 32, 2) * 2
    colour = (0.36, 0.2, 0.12) if dark else (0.86, 0.72, 0.52)
    return [c * grain for c in colour]


def height(u, v):
    return value_noise(u, v, 24, 12, 3) + 0.5 * value_noise(u, v, 48, 24, 4)


def normal_map(x, y, width=256, high=128):
    """Tangent-space normals of the height field; v grows upwards, so rows are turned."""
    u, v, step = x / width, 1 - y / high, 1 / 512
    slope_u = (height(u + step, v) - height(u - step, v)) / (2 * step) * 0.012
    slope_v = (height(u, v + step) - height(u, v - step)) / (2 * step) * 0.024
    length = math.sqrt(slope_u ** 2 + slope_v ** 2 + 1)
    return [0.5 + 0.5 * c / length for c in (-slope_u, -slope_v, 1)]


def backdrop(x, y):
    """A glow at dusk, linear; the sides match, for the image repeats."""
    height = 1 - y / 79
    glow = math.exp(-9 * (height - 0.3) ** 2) * math.sin(math.pi * (x + 0.5) / 128)
    return 0.05 + 0.3 * glow, 0.06 + 0.17 * glow, 0.11 + 0.08 * glow


save_png(folder + "image/checker.png", 128, 128, checker)
save_png(folder + "image/normal.png", 256, 128, normal_map)
save_png(folder + "image/backdrop.png", 128, 80, backdrop)
