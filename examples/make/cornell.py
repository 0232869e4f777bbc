# SPDX-License-Identifier: MIT
"""The room of the scene "cornell": one file, so that every face has a number of its own."""
from mesh import Mesh

room = Mesh()
room.material("white")
room.quad([(-1, -1, 0), (1, -1, 0), (1, 1, 0), (-1, 1, 0)])   # floor
room.quad([(-1, -1, 2), (-1, 1, 2), (1, 1, 2), (1, -1, 2)])   # ceiling
room.quad([(-1, 1, 0), (1, 1, 0), (1, 1, 2), (-1, 1, 2)])     # back
room.material("red")
room.quad([(-1, -1, 0), (-1, 1, 0), (-1, 1, 2), (-1, -1, 2)])
room.material("green")
room.quad([(1, -1, 0), (1, -1, 2), (1, 1, 2), (1, 1, 0)])
room.material("white")
room.box((-0.35, 0.3, 0.6), (0.3, 0.3, 0.6), 17)
room.box((0.37, -0.3, 0.3), (0.3, 0.3, 0.3), -18)
room.material("lamp")
room.quad([(-0.25, -0.2, 1.998), (-0.25, 0.2, 1.998), (0.25, 0.2, 1.998), (0.25, -0.2, 1.998)])
room.save("../cornell/geometry/room.obj")
