"""The scenes that are rendered by both engines: one for each feature.
SPDX-License-Identifier: MIT"""
import bpy
import numpy

from make import (camera, checker, cone, cube, diffuse, floor, garden, glow, lamp, link, material,
                  picture, plane, principled, sphere, world)

SAME, ROUGH = 0.02, 0.06  # what block means may differ by: same models, rough gloss and mixes


def row(looks, spacing=2.4, z=1.0):
    """Balls side by side."""
    for i, look in enumerate(looks):
        link("ball", sphere(look), ((i - (len(looks) - 1) / 2) * spacing, 0, z))


def before(width):
    """A camera that sees a row of this width from the front."""
    return camera((0, -3.2 * width / 2, 2.2), (0, 0, 0.8), 36)


def meshes():
    floor()
    link("flat", sphere(diffuse((0.8, 0.3, 0.2)), segments=12, smooth=False), (-2.4, 0, 1))
    link("smooth", sphere(diffuse((0.3, 0.7, 0.3)), segments=24), (0, 0, 1))
    split = link("split", cone(diffuse((0.3, 0.4, 0.8)), smooth=True), (2.4, 0, 1))
    if hasattr(split.data, "use_auto_smooth"):  # later versions always heed sharp edges
        split.data.use_auto_smooth = True
    for edge in split.data.edges:
        edge.use_edge_sharp = all(split.data.vertices[i].co.z < 0 for i in edge.vertices)
    world(0.5)
    lamp("SUN", rotation=(40, 20, 0), energy=2, angle=0.1)
    before(8)


def modifiers():
    floor()
    box = link("box", cube(diffuse((0.7, 0.5, 0.3)), 1.0), (-2.5, 0, 1), (0, 0, 30))
    box.modifiers.new("round", "SUBSURF").render_levels = 3
    steps = box.modifiers.new("steps", "ARRAY")
    steps.count, steps.relative_offset_displace = 3, (1.5, 0.3, 0)
    ball = link("ball", sphere(diffuse((0.3, 0.6, 0.7))), (2, -0.5, 1))
    bumps = ball.modifiers.new("bumps", "DISPLACE")
    bumps.texture = bpy.data.textures.new("clouds", "CLOUDS")
    bumps.texture.noise_scale, bumps.strength = 0.6, 0.5
    hidden = link("hidden", cube(diffuse((1, 0, 0))), (0, -2, 1))
    hidden.hide_render = True
    world(0.6)
    lamp("SUN", rotation=(30, -30, 0), energy=1.5, angle=0.2)
    before(8)


def instances():
    floor()
    group = bpy.data.collections.new("pair")
    for look, place in ((diffuse((0.8, 0.2, 0.2)), -0.5), (diffuse((0.2, 0.3, 0.8)), 0.5)):
        made = bpy.data.objects.new("part", cone(look, radius=0.5, depth=1.0))
        made.location = (place, 0, 0.5)
        group.objects.link(made)
    for i, scale in enumerate(((1, 1, 1), (0.6, 0.6, 1.6), (-1, 1.2, 1))):
        place = link("instance", None, (2.2 * i - 2.2, 0.5 * i, 0), (0, 0, 25 * i), scale)
        place.instance_type, place.instance_collection = "COLLECTION", group
    carrier = link("carrier", sphere(None, 1.0, 8), (0, -1.5, 0.6), scale=(0.5, 0.5, 0.5))
    leaf = link("leaf", cube(diffuse((0.3, 0.7, 0.2)), 0.3))
    leaf.parent = carrier
    carrier.instance_type, carrier.show_instancer_for_render = "VERTS", False
    world(0.6)
    lamp("SUN", rotation=(40, 20, 0), energy=2, angle=0.1)
    before(7)


def curves():
    floor()
    data = bpy.data.curves.new("arc", "CURVE")
    data.dimensions, data.bevel_depth, data.resolution_u = "3D", 0.25, 16
    spline = data.splines.new("BEZIER")
    spline.bezier_points.add(2)
    for point, co in zip(spline.bezier_points, ((-3, 0, 0.3), (-1.5, 0.5, 2), (0, 0, 0.3))):
        point.co, point.handle_left_type, point.handle_right_type = co, "AUTO", "AUTO"
    data.materials.append(diffuse((0.7, 0.4, 0.2)))
    link("arc", data)
    text = bpy.data.curves.new("text", "FONT")
    text.body, text.extrude, text.size = "Rg", 0.2, 2.0
    text.materials.append(diffuse((0.2, 0.5, 0.7)))
    link("text", text, (0.6, 0, 0.2), (70, 0, -10))
    world(0.6)
    lamp("SUN", rotation=(30, -30, 0), energy=1.5, angle=0.2)
    before(7)


def add_hair(ob, look, length, count, root):
    ob.data.materials.append(look)
    ob.modifiers.new("hair", "PARTICLE_SYSTEM")
    settings = ob.particle_systems[0].settings
    settings.type, settings.count, settings.hair_length = "HAIR", count, length
    settings.render_step = settings.display_step = 3
    settings.root_radius, settings.tip_radius, settings.radius_scale = root, 0.2 * root, 1.0
    settings.brownian_factor, settings.use_close_tip = 0.05, False
    settings.material = len(ob.data.materials)


def hair():
    floor()
    ball = link("ball", sphere(diffuse((0.5, 0.4, 0.3)), 0.9, 32), (0, 0, 1.2))
    look = material("hair", lambda n: n.add(
        "BsdfHairPrincipled", Color=(0.6, 0.35, 0.15), Roughness=0.3, Radial_Roughness=0.3,
        Random_Roughness=0.0))
    add_hair(ball, look, 0.7, 3000, 0.03)
    world(0.3)
    lamp("AREA", (-3, -3, 5), (40, 0, -45), 300, shape="SQUARE", size=2)
    camera((0, -6.5, 2.2), (0, 0, 1.1), 36)


def principled_row():
    floor()
    row([principled(Base_Color=(0.7, 0.2, 0.1), Roughness=0.2),
         principled(Base_Color=(0.1, 0.4, 0.7), Roughness=0.6),
         principled(Base_Color=(0.9, 0.7, 0.3), Metallic=1.0, Roughness=0.3),
         principled(Base_Color=(0.8, 0.8, 0.8), Metallic=0.5, Roughness=0.4, Clearcoat=1.0)])
    world(image=garden())
    before(9)


def glossy():
    floor()
    row([material("glossy", lambda n, r=r: n.add(
        "BsdfGlossy", Color=(0.8, 0.7, 0.6), Roughness=r, settings={"distribution": "GGX"}))
        for r in (0.1, 0.3, 0.5, 0.8)])
    world(image=garden())
    before(9)


def mirror():
    floor((0.3, 0.5, 0.3))
    row([material("mirror", lambda n: n.add(
        "BsdfGlossy", Color=(0.9, 0.9, 0.9), Roughness=0.0)),
        diffuse((0.8, 0.3, 0.2))])
    link("wall", plane(material("wall", lambda n: n.add(
        "BsdfGlossy", Color=(0.8, 0.9, 1.0), Roughness=0.0)), 6), (0, 3, 2), (90, 0, 20))
    world(image=garden())
    before(6)


def glass():
    floor((0.7, 0.7, 0.6))
    row([material("glass", lambda n, i=i: n.add(
        "BsdfGlass", Color=(0.95, 0.98, 0.95), IOR=i, Roughness=0.0))
        for i in (1.1, 1.45, 1.8)])
    link("back", cube(diffuse((0.8, 0.3, 0.2)), 1.5), (1, 3, 0.75))
    world(0.7)
    before(7)


def emission():
    floor()
    row([glow((1, 0.6, 0.3), 3.0), diffuse(0.8), glow((0.3, 0.6, 1.0), 1.0)])
    world(0.05)
    before(7)


def transparent():
    floor()
    dots = picture("dots", lambda u, v: [
        ((((4 * u) % 1 - 0.5) ** 2 + ((4 * v) % 1 - 0.5) ** 2) < 0.1) * 1.0] * 3, is_data=True)

    def leaf(n):
        return n.add("MixShader", in0=n.add("TexImage", settings={"image": dots}),
                     in1=n.add("BsdfTransparent"), in2=n.add("BsdfDiffuse", Color=(0.3, 0.7, 0.2)))

    link("screen", plane(material("dots", leaf), 3), (-1.5, 0, 1.5), (90, 0, 0))
    tint = material("tint", lambda n: n.add("BsdfTransparent", Color=(0.9, 0.5, 0.4)))
    link("pane", plane(tint, 3), (2, 0, 1.5), (90, 0, 15))
    link("ball", sphere(diffuse((0.3, 0.4, 0.8))), (1.5, 2.5, 1))
    world(0.8)
    before(7)


def mix_add():
    floor()
    pale, dark = (0.8, 0.6, 0.3), (0.1, 0.2, 0.5)

    def mixed(n):
        return n.add("MixShader", in0=0.3, in1=n.add("BsdfDiffuse", Color=pale),
                     in2=n.add("BsdfGlossy", Color=0.9, Roughness=0.0))

    def added(n):
        return n.add("AddShader", in0=n.add("BsdfDiffuse", Color=dark),
                     in1=n.add("BsdfGlossy", Color=0.3, Roughness=0.0))

    def lit(n):
        return n.add("AddShader", in0=n.add("BsdfDiffuse", Color=pale),
                     in1=n.add("Emission", Color=(0.2, 0.5, 0.2), Strength=1.0))

    row([material("mixed", mixed), material("added", added), material("lit", lit)])
    world(image=garden())
    before(7)


def textures():
    floor()
    image = checker()

    def mapped(n):
        where = n.add("Mapping", Vector=n.add("UVMap"), Scale=(2, 1, 1), Rotation=(0, 0, 0.5),
                      Location=(0.2, 0.1, 0))
        return n.add("BsdfDiffuse",
                     Color=n.add("TexImage", settings={"image": image}, Vector=where))

    def mixed(n):
        return n.add("BsdfDiffuse", Color=n.add(
            "MixRGB", Fac=0.7, settings={"blend_type": "MULTIPLY"}, Color2=(0.9, 0.5, 0.4),
            Color1=n.add("TexImage", settings={"image": image})))

    plain = material("plain", lambda n: n.add(
        "BsdfDiffuse", Color=n.add("TexImage", settings={"image": image})))
    link("plane", plane(plain, 3), (-2.6, 1, 1.5), (90, 0, 0))
    link("ball", sphere(material("mapped", mapped)), (0.3, 0, 1), (0, 0, 70))
    data = cube(material("mixed", mixed), 1.6)
    data.materials.append(diffuse((0.9, 0.8, 0.2)))
    for polygon in list(data.polygons)[::2]:
        polygon.material_index = 1
    link("box", data, (2.8, 0, 0.8), (0, 0, 30))
    world(0.8)
    before(8)


def bumps():
    floor()

    def waves(u, v):
        return 0.5 + 0.5 * numpy.sin(16 * numpy.pi * u) * numpy.sin(16 * numpy.pi * v)

    heights = picture("heights", lambda u, v: [waves(u, v)] * 3, 256, 256, True, True)

    def slopes(u, v):
        step = 1e-3
        x = -0.008 * (waves(u + step, v) - waves(u - step, v)) / (2 * step)
        y = -0.008 * (waves(u, v + step) - waves(u, v - step)) / (2 * step)
        size = numpy.sqrt(x * x + y * y + 1)
        return 0.5 + 0.5 * x / size, 0.5 + 0.5 * y / size, 0.5 + 0.5 / size

    normals = picture("normals", slopes, 256, 256, True, True)
    by_map = material("normals", lambda n: n.add("BsdfDiffuse", Color=0.7, Normal=n.add(
        "NormalMap", Color=n.add("TexImage", settings={"image": normals}))))
    by_height = material("bump", lambda n: n.add("BsdfDiffuse", Color=0.7, Normal=n.add(
        "Bump", Distance=0.05, Height=n.add("TexImage", settings={"image": heights}))))
    link("left", plane(by_map, 3), (-1.7, 1, 1.5), (80, 0, 0))
    link("right", plane(by_height, 3), (1.7, 1, 1.5), (80, 0, 0))
    world(0.2)
    lamp("SUN", rotation=(60, -40, 0), energy=3, angle=0.05)
    before(7)


def lamps():
    floor(0.7)
    link("ball", sphere(diffuse((0.8, 0.8, 0.8))), (0, 0, 1))
    lamp("POINT", (-3, -1, 3), energy=200, color=(1, 0.7, 0.4), shadow_soft_size=0.15)
    lamp("SPOT", (3, -1.5, 4), (30, 30, 0), 600, (0.4, 0.7, 1), shadow_soft_size=0.1,
         spot_size=1.0, spot_blend=0.6)
    lamp("SPOT", (0, 3, 4), (-20, 0, 0), 300, spot_size=0.7, spot_blend=0.0, shadow_soft_size=0.0)
    world(0.02)
    camera((0, -9, 5), (0, 0, 0.5), 40)


def sun_area():
    floor(0.7)
    link("box", cube(diffuse((0.8, 0.5, 0.3)), 1.5), (-1, 0, 0.75), (0, 0, 20))
    link("cone", cone(diffuse((0.4, 0.6, 0.8))), (1.8, 0.5, 1))
    lamp("SUN", rotation=(50, 25, 0), energy=1.5, color=(1, 0.9, 0.8), angle=0.15)
    lamp("AREA", (-4, -2, 3), (50, 0, -60), 150, (0.6, 0.8, 1), shape="RECTANGLE", size=1, size_y=2)
    lamp("AREA", (4, -2, 3), (50, 0, 60), 100, (1, 0.6, 0.5), shape="ELLIPSE", size=1.5, size_y=0.7)
    world(0.05)
    camera((0, -9, 5), (0, 0, 0.5), 40)


def world_image():
    floor(0.7, 6)
    link("ball", sphere(diffuse(0.8)), (-1.2, 0, 1))
    link("mirror", sphere(material("mirror", lambda n: n.add(
        "BsdfGlossy", Roughness=0.0))), (1.2, 0, 1))
    world(image=garden(), turn=70)
    camera((0, -7, 2), (0, 0, 1), 50)


def blocks():
    """Boxes of many colours: their edges show how well two pictures lie on each other."""
    floor()
    for i in range(5):
        for j in range(4):
            look = diffuse((0.2 + 0.15 * i, 0.3, 0.9 - 0.2 * j))
            link("box", cube(look, 0.8), (1.4 * i - 2.8, 1.4 * j - 1, 0.4), (0, 0, 17 * i + 11 * j))
    world(0.6)
    lamp("SUN", rotation=(40, 20, 0), energy=1, angle=0.3)


def camera_shift():
    blocks()
    render = bpy.context.scene.render
    render.pixel_aspect_x, render.pixel_aspect_y = 1.0, 1.25
    render.use_border = True
    render.border_min_x, render.border_max_x = 0.1, 1.0
    render.border_min_y, render.border_max_y = 0.0, 0.8
    camera((2, -8, 5), (0, 0.5, 0.3), 45, shift_x=0.1, shift_y=-0.13)


def camera_ortho():
    blocks()
    camera((5, -8, 7), (0, 0.8, 0.2), 45, type="ORTHO", ortho_scale=9)


def camera_panorama():
    blocks()
    made = camera((0.3, 0.2, 1.6), (3, 4, 1.2), 45, type="PANO")
    of_type = made.data if hasattr(made.data, "panorama_type") else made.data.cycles
    of_type.panorama_type = "EQUIRECTANGULAR"
