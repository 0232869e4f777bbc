"""Meshes of which the scenes are made. Faces are counterclockwise as seen from their front.
SPDX-License-Identifier: MIT"""
import math

import numpy

from model import Mesh

UNIT_SQUARE = [(0, 0), (1, 0), (1, 1), (0, 1)]


def rectangle(material, corner, edge_u, edge_v, **more):
    """Its front is on the side of edge_u x edge_v."""
    corner, edge_u, edge_v = (numpy.array(x, float) for x in (corner, edge_u, edge_v))
    points = [tuple(corner + a * edge_u + b * edge_v) for a, b in UNIT_SQUARE]
    return Mesh(points, [(0, 1, 2, 3)], material, **more)


def floor(material="grey", half=8.0, height=0.0, **more):
    return rectangle(material, (-half, -half, height), (2 * half, 0, 0), (0, 2 * half, 0), **more)


def ceiling_lamp(material="lamp", center=(0, 0, 3), half=1.0, **more):
    x, y, z = center
    return rectangle(material, (x - half, y - half, z), (0, 2 * half, 0), (2 * half, 0, 0), **more)


def block(material, center, half, inward=False):
    """An axis-parallel box."""
    points = [tuple(c + s * h for c, s, h in zip(center, signs, half))
              for signs in [(x, y, z) for z in (-1, 1) for y in (-1, 1) for x in (-1, 1)]]
    faces = [(0, 2, 3, 1), (4, 5, 7, 6), (0, 1, 5, 4), (2, 6, 7, 3), (0, 4, 6, 2), (1, 3, 7, 5)]
    return Mesh(points, [face[::-1] for face in faces] if inward else faces, material)


def ball(material, center, radius, rows=12, columns=24, **more):
    """A sphere of flat triangles and quads, split into triangles."""
    points = [(0, 0, 1)]
    for row in range(1, rows):
        ring, z = math.sin(math.pi * row / rows), math.cos(math.pi * row / rows)
        angles = [2 * math.pi * column / columns for column in range(columns)]
        points += [(ring * math.cos(phi), ring * math.sin(phi), z) for phi in angles]
    points.append((0, 0, -1))
    faces, last = [], len(points) - 1
    for column in range(columns):
        after = (column + 1) % columns
        faces.append((0, 1 + column, 1 + after))
        faces.append((last, last - columns + after, last - columns + column))
        for row in range(rows - 2):
            upper, lower = 1 + row * columns, 1 + (row + 1) * columns
            faces.append((upper + column, lower + column, lower + after))
            faces.append((upper + column, lower + after, upper + after))
    return Mesh([tuple(c + radius * p for c, p in zip(center, point)) for point in points], faces,
                material, **more)


def height_field(material, half, image, level):
    """The square of that half side at z = 0, split into level x level squares of two triangles and
    lifted by the blue channel of the image."""
    steps = numpy.linspace(0, 1, level + 1)
    u, v = numpy.meshgrid(steps, steps)
    z = image.function(u, v)[..., 2]
    points = numpy.stack([half * (2 * u - 1), half * (2 * v - 1), z], axis=-1).reshape(-1, 3)
    faces = []
    for row in range(level):
        for column in range(level):
            a = row * (level + 1) + column
            b, c, d = a + 1, a + level + 2, a + level + 1
            faces += [(a, b, c), (a, c, d)]
    return Mesh([tuple(p) for p in points], faces, material)


def placed(scale=1.0, turn_deg=0.0, move=(0, 0, 0)):
    """Matrix of an instance: scaled, turned about z, moved."""
    turn = math.radians(turn_deg)
    c, s = scale * math.cos(turn), scale * math.sin(turn)
    return numpy.array([[c, -s, 0, move[0]], [s, c, 0, move[1]], [0, 0, scale, move[2]],
                        [0, 0, 0, 1]], float)


def turned(mesh, rotation):
    """The mesh with its points turned by a 3 x 3 matrix."""
    return Mesh([tuple(rotation @ numpy.array(p)) for p in mesh.points], mesh.faces, mesh.material,
                mesh.uvs, mesh.instances)
