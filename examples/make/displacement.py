# SPDX-License-Identifier: MIT
"""Meshes and height image of the scene "displacement": each mesh twice, as it is and refined."""
import math

from images import save_png, value_noise
from mesh import Mesh

folder = "../displacement/"


def knot(mesh, center, columns=40, rows=6):
    """A trefoil tube of few faces."""
    def curve(t):
        return ((math.sin(t) + 2 * math.sin(2 * t)) * 0.36, -math.sin(3 * t) * 0.36,
                (math.cos(t) - 2 * math.cos(2 * t)) * 0.36)

    def point(u, v):
        t, a = 2 * math.pi * (u % 1), 2 * math.pi * (v % 1)
        p, q = curve(t), curve(t + 1e-4)
        forward = [(y - x) * 1e4 for x, y in zip(p, q)]
        f = [c / math.sqrt(sum(k * k for k in forward)) for c in forward]
        side = (f[2], 0, -f[0])                       # horizontal: across the tube and the y axis
        s = [c / math.hypot(f[2], f[0]) for c in side]
        n = (s[1] * f[2] - s[2] * f[1], s[2] * f[0] - s[0] * f[2], s[0] * f[1] - s[1] * f[0])
        return tuple(center[k] + p[k] + 0.24 * (math.cos(a) * s[k] + math.sin(a) * n[k])
                     for k in range(3))
    mesh.grid(point, columns, rows)


MEAN = 0.66  # of the ridges


def height(x, y):
    """In the blue channel: moves along the normal alone. Constant at both poles."""
    u, v = (x + 0.5) / 256, (y + 0.5) / 128
    fade = min(1, 4 * min(v, 1 - v)) ** 1.5
    ridges = sum(0.5 ** k * (1 - abs(2 * value_noise(u, v, 8 << k, 4 << k, k) - 1))
                 for k in range(4))
    return 0, 0, MEAN + fade * (ridges / 1.9 - MEAN)


models = Mesh()
models.material("ground")
models.quad([(-30, -30, 0), (30, -30, 0), (30, 30, 0), (-30, 30, 0)])
for x, material, place in ((-3.6, "flat", knot), (-1.2, "smooth", knot)):
    models.material(material)
    place(models, (x, 0, 1.35))
for x, material in ((1.2, "smooth"), (3.6, "stone")):
    models.material(material)
    models.sphere((x, 0, 1.3), 0.95, 24, 12, textured=True)
models.save(folder + "geometry/models.obj")
save_png(folder + "image/height.png", 256, 128, height)
