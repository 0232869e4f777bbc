# SPDX-License-Identifier: MIT
"""Meshes as OBJ files: a growing list of vertices and faces, and a few solids."""
import math


def number(x):
    """Shortest text of a coordinate to 4 digits."""
    text = f"{x:.4f}".rstrip("0").rstrip(".")
    return "0" if text == "-0" else text


class Mesh:
    """Faces are lists of (position, uv) indices from 1, counter-clockwise seen from the front."""

    def __init__(self):
        self.lines, self.positions, self.uvs = [], 0, 0

    def vertex(self, p):
        self.lines.append("v " + " ".join(map(number, p)))
        self.positions += 1
        return self.positions

    def uv(self, u, v):
        self.lines.append(f"vt {number(u)} {number(v)}")
        self.uvs += 1
        return self.uvs

    def material(self, name):
        self.lines.append("usemtl " + name)

    def face(self, positions, uvs=None):
        corners = positions if uvs is None else [f"{p}/{t}" for p, t in zip(positions, uvs)]
        self.lines.append("f " + " ".join(map(str, corners)))

    def quad(self, corners, uvs=None):
        self.face([self.vertex(p) for p in corners], uvs and [self.uv(*t) for t in uvs])

    def save(self, path):
        with open(path, "w") as file:
            file.write("\n".join(self.lines) + "\n")

    def box(self, center, half, turn_deg=0.0):
        """Six quads, turned about the vertical axis; the normals point outwards."""
        c, s = math.cos(math.radians(turn_deg)), math.sin(math.radians(turn_deg))
        corner = {}
        for i in range(8):
            x, y, z = ((1 if i >> k & 1 else -1) * half[k] for k in range(3))
            corner[i] = self.vertex((center[0] + c * x - s * y, center[1] + s * x + c * y,
                                     center[2] + z))
        for face in ((0, 2, 3, 1), (4, 5, 7, 6), (0, 1, 5, 4), (1, 3, 7, 5), (3, 2, 6, 7),
                     (2, 0, 4, 6)):
            self.face([corner[i] for i in face])

    def grid(self, point, columns, rows, textured=False):
        """Quads over point(u, v) for u and v in 0..1, triangles where a side has no length. A
        closed surface has two columns of vertices at its seam, so that u can run from 0 to 1
        there."""
        index, place = {}, {}
        for j in range(rows + 1):
            for i in range(columns + 1):
                u, v = i / columns, j / rows
                place[i, j] = tuple(map(number, point(u, v)))
                index[i, j] = (self.vertex(point(u, v)), self.uv(u, v) if textured else None)
        for j in range(rows):
            for i in range(columns):
                corners = []
                for k in ((i, j), (i + 1, j), (i + 1, j + 1), (i, j + 1)):
                    if place[k] not in [place[c] for c in corners]:
                        corners.append(k)
                if len(corners) > 2:
                    self.face([index[k][0] for k in corners],
                              [index[k][1] for k in corners] if textured else None)

    def sphere(self, center, radius, columns=48, rows=24, textured=False):
        """u runs eastwards around the vertical axis, v from the south pole to the north pole."""
        def point(u, v):
            phi, theta = 2 * math.pi * u, math.pi * (v - 0.5)
            return (center[0] + radius * math.cos(theta) * math.cos(phi),
                    center[1] + radius * math.cos(theta) * math.sin(phi),
                    center[2] + radius * math.sin(theta))
        self.grid(point, columns, rows, textured)

    def torus(self, center, radius, tube, columns=48, rows=24):
        def point(u, v):
            phi, theta = 2 * math.pi * u, 2 * math.pi * v
            r = radius + tube * math.cos(theta)
            return (center[0] + r * math.cos(phi), center[1] + r * math.sin(phi),
                    center[2] + tube * math.sin(theta))
        self.grid(point, columns, rows)

    def lathe(self, center, profile, columns=64, textured=False):
        """Surface of revolution; profile is a list of (radius, height) from the bottom up."""
        rows = len(profile) - 1

        def point(u, v):
            r, z = profile[round(v * rows)]
            phi = 2 * math.pi * u
            return (center[0] + r * math.cos(phi), center[1] + r * math.sin(phi), center[2] + z)
        self.grid(point, columns, rows, textured)
