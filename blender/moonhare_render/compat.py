"""What differs between Blender 3.4 and 4.x; no other file asks for the version.
SPDX-License-Identifier: MIT"""
import os
import shutil

import bpy
import numpy

VERSION = bpy.app.version
PRESETS = "moonhare/render"  # folder below those of all presets

# Sockets of the Principled BSDF under their newer names.
OLD_SOCKETS = {
    "Specular IOR Level": "Specular", "Transmission Weight": "Transmission",
    "Coat Weight": "Clearcoat",
    "Coat Roughness": "Clearcoat Roughness", "Emission Color": "Emission", "Sheen Weight": "Sheen",
    "Subsurface Weight": "Subsurface",
}
# Up to 3.6 the Principled BSDF adds its reflection to the full diffuse light, and a quarter of its
# coat.
PRINCIPLED_ADDS = VERSION < (4, 0)
MICROFACET = "ggx_separable" if PRINCIPLED_ADDS else "ggx"  # how facets mask each other
# Up to 3.6 Multiscatter GGX follows light from facet to facet; later it is GGX, made brighter by
# what facets lose on the mean over all angles.
FACETS = ("GGX",) if PRINCIPLED_ADDS else ("GGX", "MULTI_GGX")
COAT_SCALE = 0.25 if PRINCIPLED_ADDS else 1.0
# Radiance of an area lamp of power 1 and area 1: a quarter in 3.4; 4.3 has that of a Lambertian
# one.
AREA_RADIANCE = 0.25 if VERSION < (4, 0) else 1 / numpy.pi
# Up to 3.4 spots fade with the cosine, too.
SPOT_FALLOFF = "cosine" if VERSION < (3, 5) else "smooth"
CURVES_RADIUS = 0.005  # of hair curves without radii, as Cycles draws them
# Panels of the engine that Blender shows materials, lights and worlds with.
EEVEE = "BLENDER_EEVEE_NEXT" if (4, 2) <= VERSION < (5, 0) else "BLENDER_EEVEE"


def socket(node, name):
    """An input by its newer name, or None."""
    found = node.inputs.get(name)
    return found if found is not None else node.inputs.get(OLD_SOCKETS.get(name, name))


def facets_gain(roughness, distribution):
    """What later versions multiply a lobe by: 1 over the mean albedo of its facets, of which the
    polynomial is a fit within 0.3 %."""
    if PRINCIPLED_ADDS or distribution != "MULTI_GGX":
        return 1.0
    return 1.0 + float(numpy.dot((0.037, 0.567, 0.837), roughness ** numpy.arange(2, 5)))


def lamp_gain(lamp):
    """Exposure and temperature of a lamp, which 4.5 has added."""
    gain = numpy.full(3, 2.0 ** getattr(lamp, "exposure", 0.0))
    if getattr(lamp, "use_temperature", False):
        gain = gain * numpy.array(lamp.temperature_color)
    return gain


def floats(collection, attribute, width, kind=numpy.float32):
    """Rows of an attribute of a whole collection."""
    values = numpy.empty((len(collection), width), kind)
    collection.foreach_get(attribute, values.ravel())
    return values


def corner_normals(mesh):
    """Normals of corners where they differ within a vertex or face, else None."""
    if VERSION >= (4, 1):
        if mesh.normals_domain != "CORNER":
            return None
        return floats(mesh.corner_normals, "vector", 3)
    faces = numpy.empty(len(mesh.polygons), bool)
    mesh.polygons.foreach_get("use_smooth", faces)
    if not (mesh.use_auto_smooth or mesh.has_custom_normals) and faces.all() == faces.any():
        return None
    mesh.calc_normals_split()
    return floats(mesh.loops, "normal", 3)


def is_smooth(mesh):
    """Whether a mesh without normals of corners is smooth as a whole, or faceted."""
    if VERSION >= (4, 1):
        return mesh.normals_domain == "POINT"
    return len(mesh.polygons) > 0 and mesh.polygons[0].use_smooth


def vertex_normals(mesh):
    return floats(mesh.vertex_normals, "vector", 3)


def uv_rows(layer):
    if VERSION >= (3, 5):
        return floats(layer.uv, "vector", 2)
    return floats(layer.data, "uv", 2)


def mix_inputs(node):
    """Factor, first and second input of a node that mixes colours, and the kind of blend."""
    if node.bl_idname == "ShaderNodeMixRGB":
        return (*node.inputs[:3], node.blend_type)
    kind = {"RGBA": "Color", "FLOAT": "Float", "VECTOR": "Vector"}.get(node.data_type, "Color")
    by_name = {socket.identifier: socket for socket in node.inputs}
    blend = node.blend_type if node.data_type == "RGBA" else "MIX"
    return by_name["Factor_Float"], by_name["A_" + kind], by_name["B_" + kind], blend


def curves_arrays(curves):
    """Points, their radii and the number of points of each curve of a hair object."""
    points = floats(curves.points, "position", 3)
    radii = floats(curves.points, "radius", 1)[:, 0] if "radius" in curves.attributes else \
        numpy.full(len(points), CURVES_RADIUS, numpy.float32)
    counts = floats(curves.curves, "points_length", 1, numpy.int32)[:, 0]
    return points, radii, counts


def set_rect(render_pass, rows):
    """Rows of a pass of a render result, the lowest one first."""
    pixels = numpy.ascontiguousarray(rows, numpy.float32).reshape(-1, rows.shape[2])
    try:
        render_pass.rect.foreach_set(pixels.ravel())
    except TypeError:  # 3.4 counts pixels instead of numbers
        render_pass.rect.foreach_set(pixels)


def panorama_type(camera):
    """Kind of a panorama, which up to 4.x Cycles keeps; None without Cycles."""
    return getattr(camera, "panorama_type", None) or getattr(
        getattr(camera, "cycles", None), "panorama_type", None)


def register_presets(folder):
    """Makes the presets of a folder known; before 4.1 by copies in the user's folder that stay."""
    if hasattr(bpy.utils, "register_preset_path"):
        bpy.utils.register_preset_path(folder)
        return
    ours = os.path.join(folder, "presets", *PRESETS.split("/"))
    try:
        theirs = bpy.utils.user_resource("SCRIPTS", path="presets/" + PRESETS, create=True)
        for name in os.listdir(ours):
            if theirs and name.endswith(".py") and not os.path.exists(os.path.join(theirs, name)):
                shutil.copy(os.path.join(ours, name), theirs)
    except OSError as error:
        print(f"moonhare: presets are not installed: {error}")


def unregister_presets(folder):
    if hasattr(bpy.utils, "unregister_preset_path"):
        bpy.utils.unregister_preset_path(folder)
