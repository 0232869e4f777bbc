# SPDX-License-Identifier: MIT
"""Meshes of the scene "glass", and the image whose pixel is its ball."""
from images import save_png
from mesh import Mesh

folder = "../glass/"

faces = Mesh()
faces.material("table")
faces.quad([(-6, -6, 0), (6, -6, 0), (6, 3, 0), (-6, 3, 0)])
faces.material("wall")
faces.quad([(-6, 3, 0), (6, 3, 0), (6, 3, 5), (-6, 3, 5)])
faces.material("glass")
faces.box((1, 0.5, 0.601), (0.4, 0.4, 0.6), 34.4)
faces.material("pane")
faces.quad([(-2.3, 0.2, 0), (-1, 1, 0), (-1, 1, 1.5), (-2.3, 0.2, 1.5)])
faces.save(folder + "geometry/faces.obj")

# One particle: the origin, and a radius of 1.
save_png(folder + "image/ball.png", 1, 1, lambda x, y: (0, 0, 0, 1))
