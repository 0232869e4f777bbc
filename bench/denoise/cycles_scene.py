"""Renders a scene directory with Cycles: blender -b --python-exit-code 1 -P cycles_scene.py --
SCENE SAMPLES SEED PICTURE.exr prints the processor time of the render. Knows scenes of one OBJ file
with lambertian and emissive colours, one still camera without a lens, and a sky of a colour or an
image.
SPDX-License-Identifier: MIT"""
import glob
import math
import os
import sys
import time

import bpy
import mathutils

folder, samples, seed, path = sys.argv[sys.argv.index("--") + 1:]
KEYS = {"name", "color", "image", "bounce", "sample", "resolution", "position", "target",
        "up_vector", "field_of_view", "obj"}


def read_blocks(lines):
    """Nested lists of (key, words) and (kind, block)."""
    block = []
    for line in lines:
        words = line.split("#")[0].split()
        if words == ["end"]:
            break
        if len(words) == 1 and words[0] not in KEYS:
            block.append((words[0], read_blocks(lines)))
        elif words:
            block.append((words[0], [word.strip('"') for word in words[1:]]))
    return block


def find(block, *keys, default=None):
    for key in keys:
        block = next((value for name, value in block if name == key), None)
        if block is None:
            return default
    return block


def numbers(block, *keys, default="0 0 0"):
    return [float(word) for word in find(block, *keys, default=default.split())]


def material_of(shader):
    """Emission leaves the face alone, as `sideness "face"` has it."""
    material = bpy.data.materials.new(find(shader, "name")[0])
    material.use_nodes = True
    nodes, links = material.node_tree.nodes, material.node_tree.links
    nodes.clear()
    layers = find(shader, "surface_shader")
    surface = nodes.new("ShaderNodeBsdfDiffuse")
    surface.inputs[0].default_value = (*numbers(layers, "lambertian", "color"), 1)
    if find(layers, "emissive"):
        back, surface = surface, nodes.new("ShaderNodeMixShader")
        light = nodes.new("ShaderNodeEmission")
        light.inputs[0].default_value = (*numbers(layers, "emissive", "color"), 1)
        links.new(nodes.new("ShaderNodeNewGeometry").outputs["Backfacing"], surface.inputs[0])
        links.new(light.outputs[0], surface.inputs[1])
        links.new(back.outputs[0], surface.inputs[2])
    links.new(surface.outputs[0], nodes.new("ShaderNodeOutputMaterial").inputs[0])
    return material


def add_mesh(name):
    vertices, faces, materials = [], [], []
    with open(os.path.join(folder, "geometry", name)) as lines:
        for words in map(str.split, lines):
            if words[:1] == ["v"]:
                vertices.append([float(word) for word in words[1:4]])
            elif words[:1] == ["usemtl"]:
                material = bpy.data.materials[words[1]]
            elif words[:1] == ["f"]:
                faces.append([int(word.split("/")[0]) - 1 for word in words[1:]])
                materials.append(material)
    mesh = bpy.data.meshes.new(name)
    mesh.from_pydata(vertices, [], faces)
    used = sorted(set(materials), key=lambda m: m.name)
    for material in used:
        mesh.materials.append(material)
    for polygon, material in zip(mesh.polygons, materials):
        polygon.material_index = used.index(material)
    bpy.context.scene.collection.objects.link(bpy.data.objects.new(name, mesh))


def add_camera(scene, block):
    pose = find(block, "pose")
    camera = bpy.data.cameras.new("camera")
    camera.sensor_fit = "HORIZONTAL"
    camera.angle = math.radians(numbers(pose, "field_of_view")[0])
    scene.camera = bpy.data.objects.new("camera", camera)
    scene.collection.objects.link(scene.camera)
    place, target = (mathutils.Vector(numbers(pose, key)) for key in ("position", "target"))
    scene.camera.location = place
    scene.camera.rotation_euler = (target - place).to_track_quat("-Z", "Y").to_euler()
    scene.render.resolution_x, scene.render.resolution_y = map(int, numbers(block, "resolution"))
    scene.render.resolution_percentage = 100


def add_sky(scene, block):
    scene.world = bpy.data.worlds.new("sky")
    scene.world.use_nodes = True
    tree = scene.world.node_tree
    tree.nodes["Background"].inputs[0].default_value = (*numbers(block, "color"), 1)
    if find(block, "image"):
        image = tree.nodes.new("ShaderNodeTexEnvironment")
        image.image = bpy.data.images.load(
            os.path.abspath(os.path.join(folder, "image", find(block, "image")[0])))
        tree.links.new(image.outputs[0], tree.nodes["Background"].inputs[0])


def set_up(scene, blocks):
    scene.render.engine = "CYCLES"
    scene.render.threads_mode, scene.render.threads = "FIXED", os.cpu_count()
    cycles = scene.cycles
    cycles.samples, cycles.seed = int(samples), int(seed)
    cycles.use_adaptive_sampling = cycles.use_denoising = False
    cycles.max_bounces = 12
    cycles.diffuse_bounces = int(numbers(blocks, "render", "final_gather", "bounce",
                                         default="6")[0])
    cycles.pixel_filter_type = "BOX"
    cycles.filter_width = 1
    cycles.sample_clamp_direct = cycles.sample_clamp_indirect = 0
    image = scene.render.image_settings
    image.file_format, image.color_depth = "OPEN_EXR", "32"
    scene.render.filepath = os.path.abspath(path)


def main():
    blocks = []
    for name in sorted(glob.glob(os.path.join(folder, "*/*.mh"))):
        with open(name) as lines:
            blocks += read_blocks(iter(lines))
    bpy.ops.wm.read_factory_settings(use_empty=True)
    scene = bpy.context.scene
    set_up(scene, blocks)
    for kind, block in blocks:
        if kind == "shader":
            material_of(block)
    add_mesh(find(blocks, "object", "obj")[0])
    add_camera(scene, find(blocks, "camera"))
    add_sky(scene, find(blocks, "sky_light"))
    start = time.process_time()
    bpy.ops.render.render(write_still=True)
    print("processor seconds %.3f" % (time.process_time() - start))


main()
