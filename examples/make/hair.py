# SPDX-License-Identifier: MIT
"""The furry ball of the scene "hair" as a binary hair file, and a ball of down as a text file.
Segments are about one unit long, which suits the curve through their points."""
import math
import random
import struct

from mesh import Mesh, number

folder = "../hair/geometry/"
random.seed(11)


def sphere_point():
    z, phi = random.uniform(-1, 1), random.uniform(0, 2 * math.pi)
    r = math.sqrt(1 - z * z)
    return r * math.cos(phi), r * math.sin(phi), z


def strand(center, radius, segments, droop, jitter):
    """Grows outwards and falls, in unit steps."""
    n = sphere_point()
    p = [c + radius * k for c, k in zip(center, n)]
    d = [k + random.gauss(0, jitter) for k in n]
    points = [tuple(p)]
    for _ in range(segments):
        d[2] -= droop
        length = math.sqrt(sum(k * k for k in d))
        d = [k / length for k in d]
        p = [a + k for a, k in zip(p, d)]
        points.append(tuple(p))
    return points


def save_hair(path, strands, thickness):
    """128 bytes of header: counts, the flag of a points array, defaults; then the points."""
    count = sum(len(s) for s in strands)
    header = struct.pack("<4sIIII5f", b"HAIR", len(strands), count, 2, len(strands[0]) - 1,
                         thickness, 0.0, 1.0, 1.0, 1.0)
    with open(path, "wb") as file:
        file.write(header.ljust(128, b"\0"))
        for s in strands:
            for p in s:
                file.write(struct.pack("<3f", *p))


def save_fur(path, strands):
    with open(path, "w") as file:
        for s in strands:
            file.write(f"segment {len(s) - 1}\n")
            file.writelines("position " + " ".join(map(number, p)) + "\n" for p in s)


BALL, DOWN = (-0.9, 0, 4.6), (4.4, -2, 1.5)
save_hair(folder + "ball.hair", [strand(BALL, 2.6, 2, 0.3, 0.1) for _ in range(8000)], 0.03)
save_fur(folder + "down.fur", [strand(DOWN, 0.5, 1, 0.0, 0.1) for _ in range(3000)])
solid = Mesh()
solid.material("floor")
solid.quad([(-40, -40, 0), (40, -40, 0), (40, 40, 0), (-40, 40, 0)])
solid.material("skin")
solid.sphere(BALL, 2.6)
solid.sphere(DOWN, 0.5, 24, 12)
solid.save(folder + "solid.obj")
