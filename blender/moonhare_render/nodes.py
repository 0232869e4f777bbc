"""What a socket of a node tree holds: walks back along its wires, through groups and reroutes.
SPDX-License-Identifier: MIT"""
from dataclasses import replace

import mathutils
import numpy

from . import compat
from .values import LUMINANCE, Place, Value, combined, constant, grey

WRAPS = {"REPEAT": "repeat", "EXTEND": "clamp", "MIRROR": "mirror"}
MATH = {
    "ADD": lambda a, b: a + b, "SUBTRACT": lambda a, b: a - b, "MULTIPLY": lambda a, b: a * b,
    "DIVIDE": lambda a, b: numpy.divide(a, b, out=numpy.zeros(numpy.broadcast_shapes(
        a.shape, b.shape)), where=b != 0), "POWER": lambda a, b: numpy.maximum(a, 0) ** b,
    "MINIMUM": numpy.minimum, "MAXIMUM": numpy.maximum, "ABSOLUTE": lambda a, b: numpy.abs(a),
    "SQRT": lambda a, b: numpy.sqrt(numpy.maximum(a, 0)),
    "LESS_THAN": lambda a, b: (a < b) * 1.0, "GREATER_THAN": lambda a, b: (a > b) * 1.0,
}
BLENDS = {
    "MIX": lambda a, b: b, "MULTIPLY": lambda a, b: a * b, "ADD": lambda a, b: a + b,
    "SUBTRACT": lambda a, b: a - b, "DARKEN": numpy.minimum, "LIGHTEN": numpy.maximum,
    "SCREEN": lambda a, b: 1 - (1 - a) * (1 - b), "DIFFERENCE": lambda a, b: numpy.abs(a - b),
    "OVERLAY": lambda a, b: numpy.where(a < 0.5, 2 * a * b, 1 - 2 * (1 - a) * (1 - b)),
}


class Reader:
    """Reads the sockets of one tree; `label` names it in notes."""

    def __init__(self, pictures, report, label):
        self.pictures, self.report, self.label = pictures, report, label
        self.groups = []  # nodes of the groups that are entered

    def note(self, text):
        self.report.note(f"{self.label}: {text}")

    def source(self, socket):
        """The output that feeds an input: (node, socket), or None."""
        if socket is None or not socket.is_linked or not socket.links:
            return None
        link = socket.links[0]
        node, output = link.from_node, link.from_socket
        if link.is_muted:
            return None
        if node.mute:
            inner = [way.from_socket for way in node.internal_links if way.to_socket == output]
            return self.source(inner[0]) if inner else None
        if node.bl_idname == "NodeReroute":
            return self.source(node.inputs[0])
        if node.bl_idname == "NodeGroupInput" and self.groups:
            outer = next((s for s in self.groups[-1].inputs if s.identifier == output.identifier),
                         None)
            group = self.groups.pop()
            found = self.source(outer) or (group, outer)
            self.groups.append(group)
            return found
        return node, output

    def in_group(self, node, output, read):
        """Calls `read` with the input of the group's output, inside of the group."""
        inside = node.node_tree and node.node_tree.nodes
        last = next((n for n in inside or () if n.bl_idname == "NodeGroupOutput"
                     and n.is_active_output), None)
        wanted = last and next((s for s in last.inputs if s.identifier == output.identifier), None)
        if wanted is None or len(self.groups) > 16:
            return None
        self.groups.append(node)
        try:
            return read(wanted)
        finally:
            self.groups.pop()

    def value(self, socket, default=0.0):
        """The colour of a socket, a constant where it is not understood."""
        if socket is None:
            return constant(default)
        found = self.source(socket)
        if found is None:
            return constant_of(socket, default)
        node, output = found
        if not output.is_output:  # an input of a group, without a wire
            return constant_of(output, default)
        if node.bl_idname == "ShaderNodeGroup":
            inner = self.in_group(node, output, lambda inside: self.value(inside, default))
            return inner if inner is not None else constant_of(socket, default)
        read = READERS.get(node.bl_idname)
        result = read(self, node, output) if read else None
        if result is None:
            self.note(f'node "{node.name}" ({node.bl_label}) is not understood; "{socket.name}" of '
                      f'"{socket.node.name}" keeps its own value')
            return constant_of(socket, default)
        return result

    def number(self, socket, default=0.0):
        """One number; of a picture the mean, with a note."""
        value = self.value(socket, default)
        if not value.is_constant:
            self.note(f'"{socket.name}" of "{socket.node.name}" takes the mean of its picture')
        return float(grey(value).mean()[0])

    def place(self, socket, node):
        """Where an image node looks its picture up."""
        place = Place(wrap=WRAPS.get(node.extension, "repeat"),
                      pixels="nearest" if node.interpolation == "Closest" else "bilinear")
        if node.extension == "CLIP":
            self.note(f'picture "{node.name}" is repeated beyond its edges, not clipped')
        if node.projection != "FLAT":
            self.note(f'picture "{node.name}" is mapped by uv coordinates')
        matrix = mathutils.Matrix.Identity(3)
        found = self.source(socket)
        while found and found[0].bl_idname == "ShaderNodeMapping":
            matrix = matrix @ mapping_matrix(self, found[0])
            found = self.source(found[0].inputs["Vector"])
        place = replace(place, matrix=tuple(x for row in matrix for x in row))
        if found is None:
            return place
        origin, output = found
        if origin.bl_idname == "ShaderNodeUVMap":
            return replace(place, uv_layer=origin.uv_map)
        if not (origin.bl_idname == "ShaderNodeTexCoord" and output.name == "UV"):
            self.note(f'coordinates "{output.name}" of "{origin.name}" are replaced by uv '
                      "coordinates")
        return place


def constant_of(socket, default):
    value = getattr(socket, "default_value", default)
    if isinstance(value, (str, type(None))):
        return constant(default)
    if hasattr(value, "__len__"):
        return constant(tuple(value)[:3])
    return constant(value)


def mapping_matrix(reader, node):
    """The part of a point mapping that acts on flat coordinates: scale, turn, move."""
    location, rotation, scale = (
        reader.value(node.inputs[name]).mean() if name in node.inputs else numpy.zeros(3)
        for name in ("Location", "Rotation", "Scale"))
    if rotation[0] or rotation[1]:
        reader.note(f'"{node.name}" turns its coordinates about z alone')
    turn = mathutils.Matrix.Rotation(rotation[2], 3, "Z")
    size = mathutils.Matrix.Diagonal((scale[0], scale[1], 1.0))
    if node.vector_type in ("NORMAL", "VECTOR"):
        location = (0, 0, 0)
    move = mathutils.Matrix(((1, 0, location[0]), (0, 1, location[1]), (0, 0, 1)))
    if node.vector_type == "TEXTURE":
        return (move @ turn @ size).inverted_safe()
    return move @ turn @ size


def read_image(reader, node, output):
    source = node.image and reader.pictures.source(node.image)
    if node.image and node.image.source == "TILED":
        reader.note(f'picture "{node.image.name}" is made of tiles, which are not read')
    if not source:
        name = node.image.name if node.image else node.name
        reader.note(f'picture "{name}" is missing and shows as magenta')
        return constant((1.0, 0.0, 1.0))
    is_flat = node.bl_idname == "ShaderNodeTexImage"
    place = reader.place(node.inputs["Vector"], node) if is_flat else Place()
    if output.name == "Alpha":
        return Value(texels=source.alpha(), place=place)
    return Value(image=source, place=place)


def read_constant(reader, node, output):
    return constant_of(output, 0.0)


def read_mix(reader, node, output):
    factor, first, second, blend = compat.mix_inputs(node)
    if blend not in BLENDS:
        return None
    return combined(lambda t, a, b: a + numpy.clip(t, 0, 1) * (BLENDS[blend](a, b) - a),
                    grey(reader.value(factor)), reader.value(first), reader.value(second))


def read_math(reader, node, output):
    if node.operation not in MATH:
        return None
    first, second = (grey(reader.value(s)) for s in node.inputs[:2])
    result = combined(MATH[node.operation], first, second)
    return combined(lambda a: numpy.clip(a, 0, 1), result) if node.use_clamp else result


def read_gamma(reader, node, output):
    return combined(lambda a, g: numpy.maximum(a, 0) ** g, reader.value(node.inputs["Color"]),
                    reader.value(node.inputs["Gamma"]))


def read_invert(reader, node, output):
    return combined(lambda t, a: a + t * (1 - 2 * a), reader.value(node.inputs["Fac"]),
                    reader.value(node.inputs["Color"]))


def read_ramp(reader, node, output):
    steps = 256
    if output.name == "Alpha":
        colors = [[node.color_ramp.evaluate(i / (steps - 1))[3]] * 3 for i in range(steps)]
    else:
        colors = [node.color_ramp.evaluate(i / (steps - 1))[:3] for i in range(steps)]
    table = numpy.array(colors)

    def look_up(a):
        return table[numpy.clip(a[..., 0] * (steps - 1) + 0.5, 0, steps - 1).astype(int)]

    return combined(look_up, grey(reader.value(node.inputs["Fac"])))


def read_channel(reader, node, output):
    channel = list(node.outputs).index(output)
    if channel > 2 or getattr(node, "mode", "RGB") != "RGB":
        return None
    return combined(lambda a: a[..., channel, None].repeat(3, -1), reader.value(node.inputs[0]))


def read_join(reader, node, output):
    if getattr(node, "mode", "RGB") != "RGB":
        return None
    return combined(lambda r, g, b: numpy.stack([x[..., 0]
                                                 for x in numpy.broadcast_arrays(r, g, b)],
                                                -1), *(reader.value(s) for s in node.inputs[:3]))


def read_luminance(reader, node, output):
    return combined(lambda a: (a @ LUMINANCE)[..., None].repeat(3, -1),
                    reader.value(node.inputs[0]))


READERS = {
    "ShaderNodeTexImage": read_image, "ShaderNodeTexEnvironment": read_image,
    "ShaderNodeRGB": read_constant, "ShaderNodeValue": read_constant, "ShaderNodeMixRGB": read_mix,
    "ShaderNodeMix": read_mix, "ShaderNodeMath": read_math, "ShaderNodeGamma": read_gamma,
    "ShaderNodeInvert": read_invert, "ShaderNodeValToRGB": read_ramp,
    "ShaderNodeSeparateRGB": read_channel, "ShaderNodeSeparateColor": read_channel,
    "ShaderNodeCombineRGB": read_join, "ShaderNodeCombineColor": read_join,
    "ShaderNodeRGBToBW": read_luminance,
}


def mapping_matrix3(reader, node):
    """The matrix that a mapping node multiplies directions by."""
    scale = reader.value(node.inputs["Scale"]).mean()
    turn = mathutils.Euler(reader.value(node.inputs["Rotation"]).mean(), "XYZ").to_matrix()
    matrix = numpy.array(turn) @ numpy.diag(scale)
    if node.vector_type == "TEXTURE":
        return numpy.linalg.inv(matrix) if abs(numpy.linalg.det(matrix)) > 1e-9 else numpy.eye(3)
    return matrix
