# SPDX-License-Identifier: MIT
"""Meshes and objects of the scene "instances": leaf -> twig -> branch -> tree -> grove, 9 trees of
10 branches of 7 twigs of 12 leaves. All matrices are rotations and translations."""
import math
import random

from mesh import Mesh, number


def multiply(a, b):
    return [[sum(a[i][k] * b[k][j] for k in range(4)) for j in range(4)] for i in range(4)]


def rotation(axis, angle_deg):
    c, s = math.cos(math.radians(angle_deg)), math.sin(math.radians(angle_deg))
    i, j = (axis + 1) % 3, (axis + 2) % 3
    m = [[float(r == k) for k in range(4)] for r in range(4)]
    m[i][i] = m[j][j] = c
    m[i][j], m[j][i] = -s, s
    return m


def translation(x, y, z):
    return [[1, 0, 0, x], [0, 1, 0, y], [0, 0, 1, z], [0, 0, 0, 1]]


def product(*matrices):
    result = matrices[0]
    for m in matrices[1:]:
        result = multiply(result, m)
    return result


def stem(path, material, length, bottom, top):
    mesh = Mesh()
    mesh.material(material)
    mesh.lathe((0, 0, 0),
               [(bottom, 0), ((bottom + top) / 2, length / 2), (top, length), (0, length)], 8)
    mesh.save(path)


def block(name, files, target, placements):
    lines = ["object", f"    name {name}"] + [f'    obj "{file}"' for file in files]
    for matrix in placements:
        values = "  ".join(" ".join(map(number, row)) for row in matrix)
        lines += ["    instance", f"        object {target}", f"        matrix {values}", "    end"]
    return lines + ["end"]


random.seed(5)
folder = "../instances/geometry/"
leaf = Mesh()
leaf.material("leaf")
a, b, c, d = (leaf.vertex(p)
              for p in ((0, 0, 0), (0.09, 0.02, 0.13), (0, 0, 0.3), (-0.09, 0.02, 0.13)))
leaf.face([a, b, c])
leaf.face([a, c, d])
leaf.save(folder + "leaf.obj")
stem(folder + "twig.obj", "bark", 0.8, 0.015, 0.006)
stem(folder + "branch.obj", "bark", 1.8, 0.05, 0.02)
stem(folder + "trunk.obj", "bark", 3.2, 0.14, 0.05)
ground = Mesh()
ground.material("ground")
ground.quad([(-40, -40, 0), (40, -40, 0), (40, 40, 0), (-40, 40, 0)])
ground.save(folder + "ground.obj")

# Each sprouts from a height along the stem, turned about it by the golden angle and tilted
# outwards.
GOLDEN_DEG = 137.508


def sprouts(count, low, high, tilt_low, tilt_high):
    return [product(translation(0, 0, low + (high - low) * k / (count - 1)),
                    rotation(2, GOLDEN_DEG * k + random.uniform(-15, 15)),
                    rotation(0, random.uniform(tilt_low, tilt_high)))
            for k in range(count)]


grove = [product(translation(2.9 * (i - 1) + random.uniform(-0.5, 0.5),
                             3.4 * j + random.uniform(-0.6, 0.6), random.uniform(-0.5, 0)),
                 rotation(2, random.uniform(0, 360)))
         for i in range(3) for j in range(3)]
scene = ["# Made by make/instances.py."]
scene += block("leaf", ["leaf.obj"], "", [])
scene += block("twig", ["twig.obj"], "leaf", sprouts(12, 0.15, 0.8, 35, 75))
scene += block("branch", ["branch.obj"], "twig", sprouts(7, 0.5, 1.75, 30, 60))
scene += block("tree", ["trunk.obj"], "branch", sprouts(10, 1.1, 3.1, 45, 75))
scene += block("grove", ["ground.obj"], "tree", grove)
with open(folder + "grove.mh", "w") as file:
    file.write("\n".join(scene) + "\n")
