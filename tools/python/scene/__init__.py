"""Writes scene directories: meshes, strands and pictures from NumPy arrays, and the blocks of scene
text.

    from moonhare.scene import Scene, layer

    scene = Scene("tent")
    red = scene.shader("red", surface_shader=layer(lambertian=(0.8, 0.1, 0.1)))
    mesh = scene.mesh("tent", [(-1, 0, 0), (1, 0, 0), (0, 0, 2)], [(0, 1, 2)])
    scene.object("tent", shader=red, mesh=mesh)
    pose = {"position": (0, -5, 1), "target": (0, 0, 1), "field_of_view": 40}
    scene.add("camera", resolution=(320, 240), sample=16, pose=[pose, pose])
    scene.write()

Keys are those of docs/scene. The package needs nothing but NumPy and may be copied elsewhere.
SPDX-License-Identifier: MIT"""
from .directory import Scene
from .names import Names
from .pictures import read_pfm
from .text import block_lines, layer

__all__ = ["Names", "Scene", "block_lines", "layer", "read_pfm"]
