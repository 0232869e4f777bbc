"""Five whole scenes: what people make.
SPDX-License-Identifier: MIT"""
import math
import random

import bpy

from make import (camera, checker, cone, cube, diffuse, floor, garden, glow, lamp, link, material,
                  plane, principled, sphere, world)
from scenes import add_hair


def interior():
    """A room with a window, furniture and a lamp."""
    white = diffuse((0.8, 0.78, 0.74), "wall")
    link("floor", plane(material("boards", lambda n: n.add("BsdfDiffuse", Color=n.add(
        "TexImage", settings={"image": checker(count=8)}))), 6), (0, 0, 0))
    link("ceiling", plane(white, 6), (0, 0, 3), (180, 0, 0))
    link("back", plane(white, 6), (0, 3, 0), (90, 0, 0))
    link("left", plane(diffuse((0.7, 0.3, 0.25)), 6), (-3, 0, 0), (90, 0, 90))
    for y in (-2.2, 2.2):
        link("right", cube(white, 1), (3.05, y, 1.5), scale=(0.1, 1.6, 3))
    link("sill", cube(white, 1), (3.05, 0, 0.4), scale=(0.1, 2.8, 0.8))
    link("seat", cube(principled(Base_Color=(0.2, 0.35, 0.5), Roughness=0.8), 1), (-1.5, 1.5, 0.4),
         (0, 0, 20), (1.6, 1, 0.8))
    link("table", cube(principled(Base_Color=(0.4, 0.25, 0.12), Roughness=0.4), 1), (1, 1, 0.7),
         scale=(1.2, 1.2, 0.1))
    link("leg", cube(diffuse(0.1), 1), (1, 1, 0.33), scale=(0.15, 0.15, 0.65))
    link("bulb", sphere(glow((1, 0.85, 0.6), 12), 0.2), (1, 1, 2.2))
    lamp("AREA", (3.5, 0, 1.9), (0, 90, 0), 250, (0.8, 0.9, 1), shape="RECTANGLE", size=2.2,
         size_y=2.8)
    world(0.2)
    camera((-0.5, -2.9, 1.6), (0.1, 1.5, 1.1), 75)


def product():
    """A thing on a floor under the image of a sky."""
    floor(0.7)
    body = principled(Base_Color=(0.05, 0.25, 0.6), Roughness=0.25)
    metal = principled(Base_Color=(0.9, 0.85, 0.8), Metallic=1.0, Roughness=0.2)
    pot = link("body", sphere(body), (0, 0, 1), scale=(1, 1, 0.9))
    pot.modifiers.new("round", "SUBSURF").render_levels = 1
    link("lid", cone(metal, True, 0.7, 0.6), (0, 0, 2.1))
    link("knob", sphere(metal, 0.18), (0, 0, 2.5))
    data = bpy.data.curves.new("handle", "CURVE")
    data.dimensions, data.bevel_depth = "3D", 0.12
    spline = data.splines.new("BEZIER")
    spline.bezier_points.add(2)
    for point, co in zip(spline.bezier_points, ((0.8, 0, 1.5), (1.7, 0, 1.2), (0.85, 0, 0.6))):
        point.co, point.handle_left_type, point.handle_right_type = co, "AUTO", "AUTO"
    data.materials.append(metal)
    link("handle", data)
    world(image=garden(), turn=40)
    camera((1.5, -6, 2.6), (0.2, 0, 1.1), 36)


def character():
    """A head with hair, eyes and a coat."""
    floor(0.5)
    skin = principled(Base_Color=(0.75, 0.5, 0.4), Roughness=0.5)
    head = link("head", sphere(skin, 1.0, 32), (0, 0, 2.6), scale=(0.85, 0.9, 1.1))
    scalp = link("scalp", sphere(skin, 0.98, 32), (0, 0.05, 2.75), (-20, 0, 0), (0.85, 0.9, 1.05))
    group = scalp.vertex_groups.new(name="top")
    group.add([v.index for v in scalp.data.vertices if v.co.z > 0.25], 1.0, "REPLACE")
    strands = material("hair", lambda n: n.add("BsdfHairPrincipled", Color=(0.35, 0.2, 0.1),
                                               Roughness=0.3, Radial_Roughness=0.4))
    add_hair(scalp, strands, 0.6, 4000, 0.02)
    scalp.particle_systems[0].vertex_group_density = "top"
    for x in (-0.3, 0.3):
        link("eye", sphere(principled(Base_Color=(0.9, 0.9, 0.9), Roughness=0.1), 0.16, 24),
             (x, -0.8, 2.7))
        link("iris", sphere(diffuse((0.05, 0.1, 0.2)), 0.09, 16), (x, -0.9, 2.7))
    link("coat", cone(principled(Base_Color=(0.25, 0.3, 0.2), Roughness=0.9), True, 1.4, 2.4),
         (0, 0, 0.9))
    head.name = "head"
    world(0.3)
    lamp("AREA", (-3, -4, 5), (45, 0, -37), 400, shape="SQUARE", size=2)
    lamp("AREA", (4, -1, 3), (70, 0, 75), 80, (0.7, 0.8, 1), shape="DISK", size=1.5)
    camera((0.6, -8, 2.8), (0, 0, 1.9), 34)


def still_life():
    """Glasses, a bottle and fruit on a table."""
    link("table", plane(principled(Base_Color=(0.35, 0.22, 0.12), Roughness=0.4), 20))
    clear = material("clear", lambda n: n.add("BsdfGlass", IOR=1.5, Roughness=0.0))
    green = material("green",
                     lambda n: n.add("BsdfGlass", IOR=1.5, Color=(0.5, 0.8, 0.5), Roughness=0.0))
    link("ball", sphere(clear, 0.7), (-1.6, 0, 0.7))
    link("bottle", sphere(green, 0.7), (0.1, 0.6, 1.1), scale=(0.8, 0.8, 1.6))
    link("cone", cone(clear, False, 0.6, 1.4), (1.7, -0.3, 0.75))
    for x, y, color in ((-0.6, -0.9, (0.8, 0.15, 0.08)), (0.5, -1.1, (0.9, 0.5, 0.05))):
        link("fruit", sphere(principled(Base_Color=color, Roughness=0.3), 0.4), (x, y, 0.4))
    world(image=garden(), turn=-60)
    camera((0, -6.5, 2.6), (0, 0, 0.8), 38)


def forest():
    """Hundreds of trees, all instances of two, on a hill."""
    random.seed(3)
    ground = link("ground", plane(diffuse((0.25, 0.3, 0.12)), 60))
    ground.modifiers.new("grid", "SUBSURF").subdivision_type = "SIMPLE"
    kinds = []
    for color in ((0.12, 0.3, 0.1), (0.3, 0.35, 0.1)):
        group = bpy.data.collections.new("tree")
        trunk = bpy.data.objects.new("trunk", cube(diffuse((0.25, 0.16, 0.1)), 1))
        trunk.location, trunk.scale = (0, 0, 0.4), (0.2, 0.2, 0.8)
        group.objects.link(trunk)
        for level in range(3):
            crown = bpy.data.objects.new("crown",
                                         cone(diffuse(color), False, 0.9 - 0.2 * level, 1.0))
            crown.location = (0, 0, 1.1 + 0.6 * level)
            group.objects.link(crown)
        kinds.append(group)
    for _ in range(400):
        size = random.uniform(0.7, 1.4)
        place = link("tree", None, (random.uniform(-14, 14), random.uniform(-4, 24), 0),
                     (0, 0, math.degrees(random.uniform(0, 6))), (size, size, size))
        place.instance_type, place.instance_collection = "COLLECTION", random.choice(kinds)
    world((0.5, 0.6, 0.8))
    lamp("SUN", rotation=(50, 30, 0), energy=3, color=(1, 0.9, 0.75), angle=0.05)
    camera((0, -10, 5), (0, 3, 0.8), 45)
