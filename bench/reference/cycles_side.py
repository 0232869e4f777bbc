"""Renders neutral scenes with Cycles: blender -b --python-exit-code 1 -P cycles_side.py --
NAME PATH [NAME PATH]... renders the scene of each name to the map of floats that follows it.
SPDX-License-Identifier: MIT"""
import math
import os
import sys

import bmesh
import bpy
import mathutils
import numpy

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import pictures  # noqa: E402
import shapes  # noqa: E402
from model import BLACK, WHITE, Sun, unit  # noqa: E402
from scenes import SCENES  # noqa: E402


class Nodes:
    """A node tree, whose wires are the nesting of calls."""

    def __init__(self, tree):
        self.tree = tree
        tree.nodes.clear()

    def add(self, kind, *inputs, output=0, **settings):
        """An output of a new node; inputs are values, outputs of others, or None for a default."""
        node = self.tree.nodes.new("ShaderNode" + kind)
        for key, value in settings.items():
            setattr(node, key, value)
        for socket, value in zip(node.inputs, inputs):
            if isinstance(value, bpy.types.NodeSocket):
                self.tree.links.new(value, socket)
            elif value is not None:
                socket.default_value = value
        return node.outputs[output] if node.outputs else None

    def math(self, operation, *inputs):
        return self.add("Math", *inputs, operation=operation)

    def black(self):
        return self.add("BsdfDiffuse", rgba(BLACK))

    def sum(self, shaders):
        total = shaders[0] if shaders else self.black()
        for shader in shaders[1:]:
            total = self.add("AddShader", total, shader)
        return total


def rgba(color):
    return (*map(float, color), 1.0)


def float_image(image):
    """A texel of Cycles lies at its middle."""
    texels = image.texels(0.5)
    made = bpy.data.images.new("image", image.width, image.height, float_buffer=True, is_data=True)
    alpha = numpy.ones((*texels.shape[:2], 1), numpy.float32)
    made.pixels.foreach_set(numpy.concatenate([texels, alpha], axis=-1).ravel())
    made.update()
    return made


def texture(nodes, image):
    return nodes.add("TexImage", image=float_image(image), interpolation="Linear")


def fresnel(nodes, layer):
    """[Schlick94] by the cosine on the side that is seen: 1 where the inside of a solid reflects in
    total, and with both faces of a thin sheet."""
    cosine = nodes.math("ABSOLUTE", nodes.add(
        "VectorMath", nodes.add("NewGeometry", output="Incoming"),
        nodes.add("NewGeometry", output="Normal"), operation="DOT_PRODUCT", output="Value"))
    r0 = ((layer.ior - 1) / (layer.ior + 1)) ** 2
    fifth = nodes.math("POWER", nodes.math("SUBTRACT", 1.0, cosine), 5.0)
    reflectance = nodes.math("MULTIPLY_ADD", fifth, 1 - r0, r0)
    if layer.material == "thin":  # F + (1 - F)^2 F / (1 - F^2)
        return nodes.math("DIVIDE", nodes.math("MULTIPLY", 2.0, reflectance),
                          nodes.math("ADD", 1.0, reflectance))
    if layer.material == "solid":
        total = nodes.math("MULTIPLY", nodes.add("NewGeometry", output="Backfacing"), nodes.math(
            "LESS_THAN", cosine, math.sqrt(1 - 1 / layer.ior ** 2)))
        return nodes.math("MAXIMUM", reflectance, total)
    return reflectance


def surface_of(nodes, layer):
    normal = layer.normal_image and nodes.add("NormalMap", 1.0, texture(nodes, layer.normal_image))
    under = []
    if layer.lambertian != BLACK:
        under.append(nodes.add("BsdfDiffuse", rgba(layer.lambertian), 0.0, normal))
    if layer.transmissive != BLACK:
        under.append(nodes.add("BsdfTranslucent", rgba(layer.transmissive), normal))
    if layer.emissive_image:
        tint = nodes.add("VectorMath", texture(nodes, layer.emissive_image), layer.emissive,
                         operation="MULTIPLY")
        under.append(nodes.add("Emission", tint, 1.0))
    elif layer.emissive != BLACK:
        under.append(nodes.add("Emission", rgba(layer.emissive), 1.0))
    if layer.material == "thin":
        under.append(nodes.add("BsdfTransparent", rgba(layer.specular)))
    if layer.material == "solid":
        under.append(nodes.add("BsdfRefraction", rgba(layer.specular), 0.0, layer.ior,
                               distribution="SHARP"))
    if layer.ior == 1.0:
        return nodes.sum(under)
    mirror = nodes.add("BsdfGlossy", rgba(layer.specular), 0.0, distribution="SHARP")
    return nodes.add("MixShader", fresnel(nodes, layer), nodes.sum(under), mirror)


def material_of(name, material):
    made = bpy.data.materials.new(name)
    made.use_nodes = True
    nodes = Nodes(made.node_tree)
    surface, weight = None, 0.0
    for layer in material.layers:
        weight += layer.weight
        shader = surface_of(nodes, layer)
        share = layer.weight / weight
        surface = nodes.add("MixShader", share, surface, shader) if surface else shader
    if material.one_sided:
        back = nodes.add("NewGeometry", output="Backfacing")
        surface = nodes.add("MixShader", back, surface, nodes.black())
    nodes.add("OutputMaterial", surface)
    return made


def link(name, data):
    made = bpy.data.objects.new(name, data)
    bpy.context.collection.objects.link(made)
    return made


def divide(data):
    """Large triangles that glow are sampled by solid angle, which lacks up to 2.5 % of the light of
    those that stand low and far; small ones by area, which is right."""
    made = bmesh.new()
    made.from_mesh(data)
    bmesh.ops.subdivide_edges(made, edges=made.edges, cuts=11, use_grid_fill=True)
    made.to_mesh(data)
    made.free()


def add_mesh(mesh, material, smooth=False, visible=True, divided=False):
    data = bpy.data.meshes.new(mesh.material)
    data.from_pydata([tuple(map(float, p)) for p in mesh.points], [], mesh.faces)
    if mesh.uvs:
        layer = data.uv_layers.new()
        for loop in data.loops:
            layer.data[loop.index].uv = mesh.uvs[loop.vertex_index]
    if divided:
        divide(data)
    for polygon in data.polygons:
        polygon.use_smooth = smooth
    data.update()
    data.materials.append(material)
    for matrix in mesh.instances or [numpy.eye(4)]:
        placed = link(mesh.material, data)
        placed.matrix_world = mathutils.Matrix(matrix.tolist())
        placed.visible_camera = visible


def add_meshes(scene):
    materials = {name: material_of(name, m) for name, m in scene.materials.items()}
    for mesh in scene.meshes:
        looks = scene.materials[mesh.material]
        displacement = looks.displacement
        if displacement:
            image, level = displacement
            mesh = shapes.height_field(mesh.material, mesh.points[2][0], image, level)
        lamp = len(mesh.faces) == 1 and looks.layers[0].emissive != BLACK
        add_mesh(mesh, materials[mesh.material], smooth=bool(displacement), divided=lamp)


def add_sun(sun):
    """Irradiance is pi times the colour where the light falls straight on. Directions of Cycles are
    uniform on the disk at distance 1, a mean cosine of 2 c / (1 + c); a cone's is (1 + c) / 2."""
    blur = math.radians(sun.blur)
    factor = (1 + math.cos(blur)) ** 2 / (4 * math.cos(blur))
    data = bpy.data.lights.new("sun", "SUN")
    data.color, data.energy, data.angle = sun.color, math.pi * factor, 2 * blur
    travel = mathutils.Vector(sun.direction)
    link("sun", data).rotation_euler = travel.to_track_quat("-Z", "Y").to_euler()


def add_bulb(bulb):
    """The radiant intensity is pi times the colour; with a radius a glowing ball has it."""
    if bulb.radius:
        ball = shapes.ball("bulb", bulb.position, bulb.radius, 64, 128)
        radiance = tuple(c / bulb.radius ** 2 for c in bulb.color)
        made = bpy.data.materials.new("bulb")
        made.use_nodes = True
        nodes = Nodes(made.node_tree)
        nodes.add("OutputMaterial", nodes.add("Emission", rgba(radiance), 1.0))
        return add_mesh(ball, made, visible=False)
    data = bpy.data.lights.new("bulb", "POINT")
    data.color, data.energy, data.shadow_soft_size = bulb.color, 4 * math.pi ** 2, 0.0
    link("bulb", data).location = bulb.position
    return None


def set_world(scene):
    world = bpy.data.worlds.new("world")
    bpy.context.scene.world = world
    world.use_nodes = True
    nodes = Nodes(world.node_tree)
    color = rgba(scene.sky)
    if scene.sky_image:
        color = nodes.add("VectorMath", scene.sky, nodes.add(
            "TexEnvironment", image=float_image(upright(scene.sky_image)), interpolation="Linear"),
            operation="MULTIPLY")
        world.cycles.sampling_method, world.cycles.sample_map_resolution = "MANUAL", 2048
    fog = None
    if scene.transmittance != WHITE:
        extinction = [-math.log(t) for t in scene.transmittance]
        fog = nodes.add("VolumeAbsorption", rgba(1 - x / max(extinction) for x in extinction),
                        max(extinction))
    nodes.add("OutputWorld", nodes.add("Background", color, 1.0), fog)


def upright(image):
    """Blender's rows go up, those of the sky's map from the zenith down."""
    return type(image)(lambda u, v: image.function(u, 1 - v), image.width, image.height)


def set_camera(scene):
    view = scene.camera
    back = -unit(numpy.subtract(view.target, view.position))
    right = unit(numpy.cross(view.up, back))
    data = bpy.data.cameras.new("camera")
    data.sensor_fit, data.angle = "HORIZONTAL", math.radians(view.fov)
    data.clip_start = 1e-4
    made = link("camera", data)
    axes = numpy.column_stack([right, numpy.cross(back, right), back, view.position])
    made.matrix_world = mathutils.Matrix([*axes.tolist(), [0, 0, 0, 1]])
    bpy.context.scene.camera = made


def set_renderer(scene):
    """A vertex of number `levels` is the last: Cycles counts the bounces before it."""
    settings = bpy.context.scene
    settings.render.engine = "CYCLES"
    settings.render.resolution_x = settings.render.resolution_y = scene.resolution
    settings.render.threads_mode, settings.render.threads = "FIXED", 2
    image = settings.render.image_settings
    image.file_format, image.color_depth, image.exr_codec = "OPEN_EXR", "32", "ZIP"
    cycles = settings.cycles
    cycles.samples, cycles.use_adaptive_sampling = scene.reference_samples, False
    cycles.use_denoising = False
    cycles.max_bounces = cycles.glossy_bounces = cycles.transmission_bounces = 24
    cycles.transparent_max_bounces = 24
    cycles.diffuse_bounces = (scene.reference_levels or scene.levels) - 1
    cycles.pixel_filter_type, cycles.filter_width = "BOX", 1.0
    cycles.sample_clamp_direct = cycles.sample_clamp_indirect = 0.0
    cycles.light_sampling_threshold = cycles.blur_glossy = 0.0


def render(scene, path):
    """Blender writes OpenEXR, from which the map of floats is made."""
    bpy.ops.wm.read_factory_settings(use_empty=True)
    set_renderer(scene)
    add_meshes(scene)
    for light in scene.lights:
        (add_sun if isinstance(light, Sun) else add_bulb)(light)
    set_world(scene)
    set_camera(scene)
    exr = os.path.abspath(path) + ".exr"
    bpy.context.scene.render.filepath = exr
    bpy.ops.render.render(write_still=True)
    image = bpy.data.images.load(exr)
    image.colorspace_settings.name = "Non-Color"
    texels = numpy.empty(4 * scene.resolution ** 2, numpy.float32)
    image.pixels.foreach_get(texels)
    os.remove(exr)
    pictures.write_pfm(path, texels.reshape(scene.resolution, scene.resolution, 4)[..., :3])


wanted = sys.argv[sys.argv.index("--") + 1:]
for scene_name, picture_path in zip(wanted[::2], wanted[1::2]):
    render(SCENES[scene_name], picture_path)
