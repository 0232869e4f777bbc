"""Renders files by Blender's own importer and Cycles: blender -b --python-exit-code 1 -P
cycles_import.py -- JOBS, a JSON file that lists jobs of "file", "picture" (a map of floats),
"size", "samples", "bounces", "sky" (a radiance), "position", "target", "up" and "fov" in degrees.
SPDX-License-Identifier: MIT"""
import json
import math
import os
import sys

import bpy
import mathutils
import numpy

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "../reference"))
import pictures  # noqa: E402


numpy.bool = bool  # the importer of Blender 3.4 asks for it by the name that NumPy dropped


def open_file(path):
    bpy.ops.wm.read_factory_settings(use_empty=True)
    extension = path.rsplit(".", 1)[1].lower()
    if extension in ("gltf", "glb"):
        bpy.ops.import_scene.gltf(filepath=path)
    else:
        raise ValueError(path)


def decode_pictures():
    """Makes floats of pictures in sRGB: of bytes Cycles filters the encoded values, not the
    light."""
    for picture in list(bpy.data.images):
        if picture.colorspace_settings.name != "sRGB" or picture.is_float:
            continue
        encoded = numpy.empty(len(picture.pixels), numpy.float32)
        picture.pixels.foreach_get(encoded)
        light = numpy.where(encoded <= 0.04045, encoded / 12.92, ((encoded + 0.055) / 1.055) ** 2.4)
        light[3::4] = encoded[3::4]
        decoded = bpy.data.images.new(picture.name, *picture.size, alpha=True, float_buffer=True)
        decoded.colorspace_settings.name, decoded.alpha_mode = "Non-Color", picture.alpha_mode
        decoded.pixels.foreach_set(light)
        picture.user_remap(decoded)


def set_world(radiance):
    world = bpy.data.worlds.new("world")
    bpy.context.scene.world = world
    world.use_nodes = True
    background = world.node_tree.nodes["Background"]
    background.inputs[0].default_value = (radiance, radiance, radiance, 1.0)
    background.inputs[1].default_value = 1.0


def set_camera(job):
    position, target = mathutils.Vector(job["position"]), mathutils.Vector(job["target"])
    back = (position - target).normalized()
    right = mathutils.Vector(job["up"]).cross(back).normalized()
    up = back.cross(right)
    data = bpy.data.cameras.new("view")
    data.sensor_fit, data.angle = "HORIZONTAL", math.radians(job["fov"])
    data.clip_start, data.clip_end = 1e-3, 1e6
    made = bpy.data.objects.new("view", data)
    bpy.context.collection.objects.link(made)
    made.matrix_world = mathutils.Matrix([[right[i], up[i], back[i], position[i]] for i in range(3)]
                                         + [[0, 0, 0, 1]])
    bpy.context.scene.camera = made


def set_renderer(job):
    settings = bpy.context.scene
    settings.render.engine = "CYCLES"
    settings.render.resolution_x, settings.render.resolution_y = job["size"]
    settings.render.resolution_percentage = 100
    settings.render.threads_mode, settings.render.threads = "FIXED", 2
    image = settings.render.image_settings
    image.file_format, image.color_depth, image.exr_codec = "OPEN_EXR", "32", "ZIP"
    cycles = settings.cycles
    cycles.samples = job["samples"]
    cycles.use_adaptive_sampling = cycles.use_denoising = False
    cycles.max_bounces = cycles.glossy_bounces = cycles.transmission_bounces = job["bounces"]
    cycles.transparent_max_bounces = cycles.diffuse_bounces = job["bounces"]
    cycles.pixel_filter_type, cycles.filter_width = "BOX", 1.0
    cycles.sample_clamp_direct = cycles.sample_clamp_indirect = 0.0
    cycles.light_sampling_threshold = cycles.blur_glossy = 0.0


def render(job):
    open_file(job["file"])
    decode_pictures()
    set_world(job["sky"])
    set_camera(job)
    set_renderer(job)
    exr = os.path.abspath(job["picture"]) + ".exr"
    bpy.context.scene.render.filepath = exr
    bpy.ops.render.render(write_still=True)
    image = bpy.data.images.load(exr)
    image.colorspace_settings.name = "Non-Color"
    width, height = job["size"]
    texels = numpy.empty(4 * width * height, numpy.float32)
    image.pixels.foreach_get(texels)
    os.remove(exr)
    pictures.write_pfm(job["picture"], texels.reshape(height, width, 4)[..., :3])


with open(sys.argv[sys.argv.index("--") + 1]) as jobs:
    for wanted in json.load(jobs):
        render(wanted)
