"""The camera: which part of which picture shows what Blender's frame shows.
SPDX-License-Identifier: MIT"""
import math
from dataclasses import dataclass

import numpy

from . import compat

# Distance of a camera that stands for an orthographic one, over the size of the scene.
FARTHEST = 1000.0
WIDEST = 178.0  # degrees


@dataclass
class View:
    """A render of `resolution` pixels of which `region` (x0, y0, x1, y1, rows from the top) is
    needed, resized to `size` pixels."""
    resolution: tuple
    region: tuple
    size: tuple
    pose: dict
    projection: str = "pinhole"
    back: float = 0.0  # how far the camera was moved back

    def plane_cosines(self):
        """Cosine between each pixel's ray and the axis of view, of the region."""
        if self.projection != "pinhole":
            return None
        width, height = self.resolution
        x0, y0, x1, y1 = self.region
        unit = 2 * math.tan(math.radians(self.pose["field_of_view"]) / 2) / width
        x = (numpy.arange(x0, x1) + 0.5 - width / 2) * unit
        y = (numpy.arange(y0, y1) + 0.5 - height / 2) * unit
        return 1 / numpy.sqrt(1 + x[None, :] ** 2 + y[:, None] ** 2)


def frame_pixels(render):
    """Width and height of the frame, and of one in square pixels."""
    size = [max(1, int(n * render.resolution_percentage / 100))
            for n in (render.resolution_x, render.resolution_y)]
    unit = min(render.pixel_aspect_x, render.pixel_aspect_y)
    square = [max(1, round(n * aspect / unit))
              for n, aspect in zip(size, (render.pixel_aspect_x, render.pixel_aspect_y))]
    return size, square


def frame_part(render):
    """The part of the frame that is rendered."""
    return border(render, frame_pixels(render)[0])


def border(render, size):
    """The pixels x0, y0, x1, y1 of the frame that are wanted, rows from the bottom."""
    width, height = size
    if not render.use_border:
        return 0, 0, width, height
    x0, x1 = (int(x * width) for x in (render.border_min_x, render.border_max_x))
    y0, y1 = (int(y * height) for y in (render.border_min_y, render.border_max_y))
    return x0, y0, max(x1, x0 + 1), max(y1, y0 + 1)


def axes_of(matrix):
    """Unit vectors to the right, up and back, and the position."""
    back = matrix[:3, 2] / numpy.linalg.norm(matrix[:3, 2])
    up = matrix[:3, 1] - back * numpy.dot(matrix[:3, 1], back)
    up /= numpy.linalg.norm(up)
    return numpy.cross(up, back), up, back, matrix[:3, 3]


def half_width(camera, square):
    """Half of the frame's width at distance 1, or of an orthographic frame, and the pixels by which
    shifts count."""
    width, height = square
    is_wide = camera.sensor_fit == "HORIZONTAL" or (camera.sensor_fit == "AUTO" and width >= height)
    if camera.type == "ORTHO":
        half = camera.ortho_scale / 2
    else:
        sensor = camera.sensor_height if camera.sensor_fit == "VERTICAL" else camera.sensor_width
        half = sensor / 2 / camera.lens
    return (half, width) if is_wide else (half * width / height, height)


def windows(square, shift, part, size):
    """The larger picture that holds the shifted frame, and its region for a part of the frame."""
    grown = [n + round(2 * abs(s)) for n, s in zip(square, shift)]
    left, bottom = (g - n if s > 0 else 0 for g, n, s in zip(grown, square, shift))
    scale = [square[0] / size[0], square[1] / size[1]]
    x0, x1 = math.floor(part[0] * scale[0]), math.ceil(part[2] * scale[0])
    y0, y1 = math.floor(part[1] * scale[1]), math.ceil(part[3] * scale[1])
    return grown, (left + x0, grown[1] - bottom - y1, left + x1, grown[1] - bottom - y0)


def view_of(scene, instances, report):
    """The view of the scene's active camera; None without one."""
    ob = scene.camera
    if ob is None or ob.type != "CAMERA":
        report.error("the scene has no camera")
        return None
    camera, render = ob.data, scene.render
    matrix = numpy.array(ob.matrix_world)
    if not numpy.all(numpy.isfinite(matrix)) or abs(numpy.linalg.det(matrix[:3, :3])) < 1e-12:
        report.error(f'camera "{ob.name}" has no direction of view')
        return None
    size, square = frame_pixels(render)
    part = border(render, size)
    wanted = (part[2] - part[0], part[3] - part[1])
    _, up, back, position = axes_of(matrix)
    if camera.dof.use_dof:
        report.note("the camera has no lens: everything is sharp")
    if camera.type == "PANO":
        return panorama(camera, square, part, size, wanted, axes_of(matrix), report)
    half, unit = half_width(camera, square)
    shift = (camera.shift_x * unit, camera.shift_y * unit)
    grown, region = windows(square, shift, part, size)
    half *= grown[0] / square[0]
    moved = 0.0
    if camera.type == "ORTHO":
        moved, depth = far_back(instances, position, back, half)
        half /= moved + depth
        report.note("the orthographic camera is a far one: it also sees what lies behind it")
    field = 2 * math.degrees(math.atan(half))
    if field > WIDEST:
        report.note(f"the angle of view is {WIDEST:g} degrees in place of {field:.4g}")
        field = WIDEST
    eye = position + back * moved
    pose = {"position": eye, "target": eye - back * max(moved, 1.0), "up_vector": up,
            "field_of_view": field}
    return View(tuple(grown), region, wanted, pose, back=moved)


def far_back(instances, position, back, half):
    """How far to move back, and the depth at which the frame has its size."""
    places = numpy.array([matrix[:3, 3] for _, matrix in instances] or [position])
    depths = (position - places) @ back
    depth = float(numpy.median(depths))
    spread = max(float(numpy.abs(depths - depth).max()), 2 * half, abs(depth))
    return FARTHEST * spread, depth


def panorama(camera, square, part, size, wanted, axes, report):
    if compat.panorama_type(camera) not in (None, "EQUIRECTANGULAR"):
        report.note("the panorama is one of longitude and latitude")
    _, up, back, position = axes
    grown, region = windows(square, (0, 0), part, size)
    pose = {"position": position, "target": position - back, "up_vector": up}
    return View(tuple(grown), region, wanted, pose, "spherical")
