"""Lamps: points, spots and suns as lights, areas as quads and disks that glow. The units are those
of docs/light-units.md: an intensity or irradiance is divided by pi.
SPDX-License-Identifier: MIT"""
import math

import numpy

from . import compat
from .moonhare_scene import layer
from .nodes import Reader
from .values import constant, grey, product

DISK_CORNERS = 64


def emission_of(lamp, pictures, report):
    """The colour that the lamp's own nodes multiply its power by; one where it has none."""
    if not lamp.use_nodes or lamp.node_tree is None:
        return numpy.ones(3)
    reader = Reader(pictures, report, f'lamp "{lamp.name}"')
    output = lamp.node_tree.get_output_node("ALL") or lamp.node_tree.get_output_node("CYCLES")
    found = output and reader.source(output.inputs["Surface"])
    if not found or found[0].bl_idname != "ShaderNodeEmission":
        reader.note("its nodes are not an emission and are left out")
        return numpy.ones(3)
    node = found[0]
    value = product(reader.value(node.inputs["Color"]), grey(reader.value(node.inputs["Strength"])))
    if not value.is_constant:
        reader.note("the mean of its picture is its colour")
    return value.mean()


def sun_factor(blur):
    """Directions of Blender's sun are uniform on a disk at distance 1, those here in a cone: ratio
    of the mean cosines."""
    return (1 + math.cos(blur)) ** 2 / (4 * math.cos(blur))


def spot_cones(size, blend):
    """Angles in degrees between which a spot fades by the cosine."""
    edge = math.cos(size / 2)
    return math.degrees(math.acos(min(edge + (1 - edge) * blend, 1))), math.degrees(size / 2)


def area_outline(lamp):
    """Corners (x, y) around a lamp of the shape, of the exact area."""
    width = lamp.size
    height = lamp.size_y if lamp.shape in ("RECTANGLE", "ELLIPSE") else lamp.size
    if lamp.shape in ("SQUARE", "RECTANGLE"):
        corners = numpy.array([(-1, -1), (1, -1), (1, 1), (-1, 1)], float)
    else:
        step = 2 * math.pi / DISK_CORNERS
        angles = numpy.arange(DISK_CORNERS) * step
        corners = numpy.stack([numpy.cos(angles), numpy.sin(angles)], -1) * math.sqrt(
            step / math.sin(step))
    return 0.5 * corners * (width, height)


def area_of(corners):
    """Of a flat polygon in space."""
    edges = corners[1:] - corners[0]
    return 0.5 * numpy.linalg.norm(numpy.cross(edges[:-1], edges[1:]).sum(0))


class Lights:
    """Adds the lamps of a scene; `lamp_aov` makes the image of a lamp's light, by the name of the
    lamp."""

    def __init__(self, scene, pictures, report, settings, instances, lamp_aov):
        self.scene, self.pictures, self.report = scene, pictures, report
        self.instances, self.lamp_aov = instances, lamp_aov
        self.photons = settings.photons if settings.mode == "gather" else 0
        self.areas = 0
        self.area_aovs = []

    def add(self, instance):
        ob, lamp = instance.object, instance.object.data
        matrix = numpy.array(instance.matrix_world)
        axis = -matrix[:3, 2]
        length = numpy.linalg.norm(axis)
        color = numpy.array(lamp.color) * emission_of(lamp, self.pictures, self.report)
        color = color * lamp.energy * compat.lamp_gain(lamp)
        finite = numpy.all(numpy.isfinite(matrix)) and numpy.all(numpy.isfinite(color))
        if not finite or not length:
            self.report.note(f'lamp "{ob.name}" has no direction or no numbers and is left out')
            return
        if (color < 0).any():
            self.report.note(f'lamp "{ob.name}" takes light away, which is left out')
        color = numpy.maximum(color, 0)
        if not color.any():
            return
        if not getattr(getattr(lamp, "cycles", None), "cast_shadow", True):
            self.report.note(f'lamp "{ob.name}" casts shadows')
        if lamp.type == "SUN":
            self.sun(ob, lamp, color, axis / length)
        elif lamp.type == "AREA":
            self.area(ob, lamp, color, matrix)
        else:
            self.bulb(ob, lamp, color, matrix[:3, 3], axis / length)

    def sun(self, ob, lamp, color, axis):
        blur = min(lamp.angle / 2, math.radians(89))
        self.scene.add("parallel_light", color=color * sun_factor(blur) / math.pi, direction=axis,
                       blur=math.degrees(blur), offset=0.0, photon=self.photons,
                       aov=self.lamp_aov(ob.name))

    def bulb(self, ob, lamp, color, position, axis):
        """The power is that of a bulb that shines everywhere, for spots too."""
        inner, outer, falloff = 180.0, 180.1, None
        if lamp.type == "SPOT":
            inner, outer = spot_cones(lamp.spot_size, lamp.spot_blend)
            falloff = compat.SPOT_FALLOFF
        self.scene.add("point_light", color=color / (4 * math.pi ** 2), position=position,
                       direction=axis, blur=lamp.shadow_soft_size, inner_angle=inner,
                       outer_angle=outer, falloff=falloff, offset=0.0, photon=self.photons,
                       aov=self.lamp_aov(ob.name))

    def area(self, ob, lamp, color, matrix):
        """Seen from the front alone, not by cameras; its radiance is uniform."""
        if getattr(lamp, "spread", math.pi) < math.pi - 1e-3:
            self.report.note(f'lamp "{ob.name}" shines with full spread')
        corners = area_outline(lamp)
        corners = numpy.concatenate([corners, numpy.zeros((len(corners), 1))], -1)
        corners = corners @ matrix[:3, :3].T
        if numpy.linalg.det(matrix[:3, :3]) > 0:
            corners = corners[::-1]
        area = area_of(corners)
        if area <= 0:
            self.report.note(f'lamp "{ob.name}" has no area and is left out')
            return
        fan = [(0, i, i + 1) for i in range(1, len(corners) - 1)]
        shader = self.scene.shader(
            "lamp_" + ob.name, geometry_shader={"camera_primary": 0},
            surface_shader=[layer(emissive=color * (compat.AREA_RADIANCE / area), virtual_light=1,
                                  specular=1, material="thin", sideness="face"),
                            layer(specular=1, material="thin", sideness="back")])
        mesh = self.scene.mesh("lamp_" + ob.name, corners, fan)
        made = self.scene.object("lamp_" + ob.name, shader=shader, mesh=mesh)
        place = numpy.eye(4)
        place[:3, 3] = matrix[:3, 3]
        self.instances.append((made, place))
        self.areas += 1
        aov = self.lamp_aov(ob.name)
        if aov:
            self.area_aovs.append({**aov, "shader": shader})
