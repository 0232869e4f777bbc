"""The size of a scene, from which defaults follow.
SPDX-License-Identifier: MIT"""
from __future__ import annotations

from typing import Any

import numpy

from .describe import Hair, Instance, Mesh, Particles


def points_of(shape: Mesh | Hair | Particles) -> numpy.ndarray:
    if isinstance(shape, Mesh):
        return shape.positions
    if isinstance(shape, Hair):
        strands = [numpy.reshape(strand, (-1, 3)) for strand in shape.strands]
        return numpy.concatenate(strands) if strands else numpy.empty((0, 3))
    return numpy.reshape(shape.centers, (-1, 3))


def corners_of(shape: Any) -> numpy.ndarray:
    """Corners of a shape's box, or none."""
    if isinstance(shape, Instance):
        corners = corners_of(shape.of)
        matrix = numpy.asarray(shape.matrix, float)
        return corners @ matrix[:3, :3].T + matrix[:3, 3]
    points = points_of(shape)
    if len(points) == 0:
        return numpy.empty((0, 3))
    ends = numpy.array([points.min(0), points.max(0)], float)
    return numpy.array([[ends[i, 0], ends[j, 1], ends[k, 2]]
                        for i in (0, 1) for j in (0, 1) for k in (0, 1)])


def half_diagonal_and_surface(shapes: list[Any]) -> tuple[float, float]:
    """Of the box around all; 1 and 10000 where there is none, the library's own defaults."""
    corners = [found for found in map(corners_of, shapes) if len(found)]
    if not corners:
        return 1.0, 1e4
    all_corners = numpy.concatenate(corners)
    x, y, z = all_corners.max(0) - all_corners.min(0)
    half = float(numpy.sqrt(x * x + y * y + z * z)) / 2
    return (half, float(2 * (x * y + y * z + z * x))) if half > 0 else (1.0, 1e4)
