"""Short forms for scenes in Blender: objects, node trees, pictures, lamps.
SPDX-License-Identifier: MIT"""
import math

import bmesh
import bpy
import mathutils
import numpy


def rgba(color):
    return (*(color if hasattr(color, "__len__") else (color,) * 3), 1.0)


LATER = {"Clearcoat": "Coat Weight"}  # sockets that 4.0 has renamed


def input_of(node, name):
    """An input by name, with _ for a blank, or by number: in0, in1 ..."""
    if name.startswith("in") and name[2:].isdigit():
        return node.inputs[int(name[2:])]
    name = name.replace("_", " ")
    return node.inputs[name if name in node.inputs else LATER.get(name, name)]


class Nodes:
    """A node tree, whose wires are the nesting of calls."""

    def __init__(self, tree):
        self.tree = tree
        tree.nodes.clear()

    def add(self, kind, output=0, settings=None, **inputs):
        """An output of a new node. Inputs are values or outputs of others."""
        node = self.tree.nodes.new("ShaderNode" + kind)
        for key, value in (settings or {}).items():
            setattr(node, key, value)
        for name, value in inputs.items():
            socket = input_of(node, name)
            if isinstance(value, bpy.types.NodeSocket):
                self.tree.links.new(value, socket)
            else:
                socket.default_value = rgba(value) if socket.type == "RGBA" else value
        return node.outputs[output] if node.outputs else None


def material(name, build):
    """A material whose surface `build` makes of its nodes."""
    made = bpy.data.materials.new(name)
    made.use_nodes = True
    nodes = Nodes(made.node_tree)
    nodes.add("OutputMaterial", Surface=build(nodes))
    return made


def diffuse(color, name="diffuse"):
    return material(name, lambda n: n.add("BsdfDiffuse", Color=color))


def principled(**inputs):
    return material("principled", lambda n: n.add("BsdfPrincipled", **inputs))


def glow(color, strength):
    return material("glow", lambda n: n.add("Emission", Color=color, Strength=strength))


def link(name, data, location=(0, 0, 0), rotation=(0, 0, 0), scale=(1, 1, 1)):
    made = bpy.data.objects.new(name, data)
    made.location, made.scale = location, scale
    made.rotation_euler = [math.radians(angle) for angle in rotation]
    bpy.context.collection.objects.link(made)
    return made


def mesh(name, fill, looks=None, smooth=False):
    data = bpy.data.meshes.new(name)
    made = bmesh.new()
    made.loops.layers.uv.new("UVMap")
    fill(made)
    made.to_mesh(data)
    made.free()
    for look in looks if isinstance(looks, list) else [looks] if looks else []:
        data.materials.append(look)
    for polygon in data.polygons:
        polygon.use_smooth = smooth
    return data


def sphere(look=None, radius=1.0, segments=64, smooth=True):
    return mesh("sphere", lambda b: bmesh.ops.create_uvsphere(
        b, u_segments=segments, v_segments=segments // 2, radius=radius, calc_uvs=True), look,
                smooth)


def cube(look=None, size=2.0):
    return mesh("cube", lambda b: bmesh.ops.create_cube(b, size=size, calc_uvs=True), look)


def plane(look=None, size=10.0):
    return mesh("plane", lambda b: bmesh.ops.create_grid(
        b, x_segments=1, y_segments=1, size=size / 2, calc_uvs=True), look)


def cone(look=None, smooth=False, radius=1.0, depth=2.0):
    return mesh("cone", lambda b: bmesh.ops.create_cone(
        b, cap_ends=True, segments=32, radius1=radius, radius2=0, depth=depth), look, smooth)


def floor(color=0.6, size=40.0):
    return link("floor", plane(diffuse(color, "floor"), size))


def picture(name, function, width=64, height=64, is_data=False, is_float=False):
    """A picture of a function of u and v, arrays of the middles of the texels."""
    made = bpy.data.images.new(name, width, height, float_buffer=is_float, is_data=is_data)
    v, u = numpy.meshgrid((numpy.arange(height) + 0.5) / height,
                          (numpy.arange(width) + 0.5) / width, indexing="ij")
    texels = numpy.ones((height, width, 4), numpy.float32)
    colors = function(u, v)
    for channel, values in enumerate(colors):
        texels[..., channel] = values
    made.pixels.foreach_set(texels.ravel())
    made.update()
    made.pack()
    return made


def lamp(kind, location=(0, 0, 0), rotation=(0, 0, 0), energy=100.0, color=(1, 1, 1), **settings):
    data = bpy.data.lights.new(kind.lower(), kind)
    data.energy, data.color = energy, color
    for key, value in settings.items():
        setattr(data, key, value)
    return link(kind.lower(), data, location, rotation)


def world(color=0.0, image=None, turn=0.0, strength=1.0):
    made = bpy.data.worlds.new("world")
    bpy.context.scene.world = made
    made.use_nodes = True
    nodes = Nodes(made.node_tree)
    if image:
        where = nodes.add("Mapping", Vector=nodes.add("TexCoord"),
                          Rotation=(0, 0, math.radians(turn)))
        color = nodes.add("TexEnvironment", settings={"image": image}, Vector=where)
    nodes.add("OutputWorld", Surface=nodes.add("Background", Color=color, Strength=strength))


def camera(position, target, angle=40.0, **settings):
    data = bpy.data.cameras.new("camera")
    data.sensor_fit, data.angle = "HORIZONTAL", math.radians(angle)
    for key, value in settings.items():
        setattr(data, key, value)
    made = link("camera", data, position)
    way = mathutils.Vector(target) - mathutils.Vector(position)
    made.rotation_euler = way.to_track_quat("-Z", "Y").to_euler()
    bpy.context.scene.camera = made
    return made


def garden(turned=False):
    """A sky with a bright window, a dark ground and colours that tell directions apart."""
    def sky(u, v):
        window = 12 * numpy.exp(-((u - 0.3) ** 2 + (v - 0.75) ** 2) / 0.004)
        ground = numpy.where(v < 0.5, 0.3, 1.0)
        return (ground * (0.4 + 0.4 * u) + window, ground * 0.6 + window,
                ground * (0.9 - 0.5 * u) + window)
    return picture("garden", sky, 128, 64, is_float=True)


def checker(name="checker", count=4):
    def colors(u, v):
        odd = (numpy.floor(u * count) + numpy.floor(v * count)) % 2
        return 0.2 + 0.7 * odd, 0.3 + 0.4 * u, 0.8 - 0.6 * odd * v
    return picture(name, colors, 256, 256)
