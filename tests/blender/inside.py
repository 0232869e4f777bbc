"""Runs inside of Blender: what the add-on shows, and what it says when something is wrong.
SPDX-License-Identifier: MIT"""
import math
import os
import resource
import signal
import subprocess
import sys
import time

import addon_utils
import bpy
import numpy

WORK, PROGRAM = os.environ["WORK"], os.environ["MOONHARE_PROGRAM"]
SIZE = 32
sys.dont_write_bytecode = True  # into the sources
sys.path.insert(0, os.path.join(os.environ["MOONHARE_EXAMPLES"], "../bench/blender"))
from make import camera, diffuse, glow, lamp, link, material, plane, sphere, world  # noqa: E402


def fresh(empty=False):
    """A glowing square that fills the middle half of the picture, straight before the camera."""
    bpy.ops.wm.read_factory_settings(use_empty=True)
    addon_utils.enable("moonhare_render", default_set=True)
    scene = bpy.context.scene
    scene.render.engine = "MOONHARE"
    scene.render.resolution_x = scene.render.resolution_y = SIZE
    scene.render.image_settings.file_format = "OPEN_EXR"
    scene.render.image_settings.color_depth = "32"
    scene.moonhare.samples = 4
    world(0.25)
    camera((0, 0, 5), (0, 0, 0), math.degrees(2 * math.atan(0.4)))
    if not empty:
        link("square", plane(glow((0.2, 0.4, 0.8), 1.0), 2))
    return scene


def pixels(path):
    image = bpy.data.images.load(path)
    image.colorspace_settings.name = "Non-Color"
    texels = numpy.empty(4 * SIZE * SIZE, numpy.float32)
    image.pixels.foreach_get(texels)
    bpy.data.images.remove(image)
    return texels.reshape(SIZE, SIZE, 4)


def render():
    """The picture and the report."""
    path = os.path.join(WORK, "picture.exr")
    bpy.context.scene.render.filepath = path
    if os.path.exists(path):
        os.remove(path)
    bpy.ops.render.render(write_still=True)
    text = bpy.data.texts["moonhare report"].as_string()
    return (pixels(path) if os.path.exists(path) else None), text


def expect(condition, *shown):
    if not condition:
        raise AssertionError(" ".join(map(str, shown)))


def near(value, wanted, tolerance=1e-3):
    expect(numpy.allclose(value, wanted, rtol=tolerance, atol=tolerance), value, "is not", wanted)


def fails_with(*words):
    """The one error of the report holds all of the words."""
    picture, text = render()
    errors = [line for line in text.splitlines() if line.startswith("error: ")]
    expect(len(errors) == 1 and all(word in errors[0] for word in words), text)
    return picture


def program_is(path):
    bpy.context.preferences.addons["moonhare_render"].preferences.program = path


def script(name, lines):
    path = os.path.join(WORK, name)
    with open(path, "w") as file:
        file.write("#!/bin/sh\n" + lines)
    os.chmod(path, 0o755)
    return path


def shows_the_scene_and_every_pass():
    scene = fresh()
    layer = bpy.context.view_layer
    link("floor", plane(diffuse(1.0), 20), (0, 0, -1))
    lamp("SUN", energy=math.pi, angle=0.0).name = "key"
    layer.use_pass_z = layer.use_pass_normal = layer.use_pass_position = layer.use_pass_uv = True
    scene.moonhare.pass_lights = scene.moonhare.pass_diffuse = scene.moonhare.pass_emission = True
    scene.use_nodes = True
    nodes, links = scene.node_tree.nodes, scene.node_tree.links
    nodes.clear()
    source, target = nodes.new("CompositorNodeRLayers"), nodes.new("CompositorNodeOutputFile")
    links.new(source.outputs["Image"], nodes.new("CompositorNodeComposite").inputs[0])
    target.base_path = os.path.join(WORK, "passes")
    target.format.file_format, target.format.color_depth = "OPEN_EXR", "32"
    target.file_slots.clear()
    names = ("Depth", "Normal", "Position", "UV", "Diffuse", "Emission", "Light key", "Light World")
    for name in names:
        links.new(source.outputs[name], target.file_slots.new(name.replace(" ", "_") + "_"))
    picture, _ = render()
    near(picture[16, 16, :3], (0.2, 0.4, 0.8))
    found = {name: pixels(os.path.join(WORK, "passes", name.replace(" ", "_") + "_0001.exr"))
             for name in names}
    right, corner = (16, 22), (2, 2)  # on the square; on the floor, row and column from below
    unit = 2 * 0.4 / SIZE
    near(found["Depth"][right][0], 5.0)
    near(found["Depth"][corner][0], 6.0)
    near(found["Normal"][right][:3], (0, 0, 1), 0.01)
    near(found["Position"][right][:3], (6.5 * unit * 5, 0.5 * unit * 5, 0), 0.02)
    near(found["UV"][right][:3], (0.5 + 6.5 * unit * 2.5, 0.5 + 0.5 * unit * 2.5, 1), 0.02)
    near(found["Emission"][right][:3], (0.2, 0.4, 0.8))
    near(found["Light key"][corner][:3], (1, 1, 1), 0.01)
    expect(0.2 < found["Light World"][corner][0] < 0.26, found["Light World"][corner])
    near(found["Diffuse"][corner][:3], picture[corner][:3])


def keeps_the_film_transparent():
    fresh().render.film_transparent = True
    picture, _ = render()
    near(picture[16, 16], (0.2, 0.4, 0.8, 1.0))
    near(picture[1, 1], 0.0)


def stands_upright_under_shift_and_border():
    scene = fresh(empty=True)
    link("right", plane(glow((1, 0, 0), 1.0), 1), (1, 0, 0))
    link("above", plane(glow((0, 1, 0), 1.0), 1), (0, 1, 0))
    scene.camera.data.shift_x, scene.camera.data.shift_y = 0.25, -0.25
    scene.render.use_border, scene.render.border_min_x = True, 0.25
    picture, _ = render()  # a unit is 8 pixels; the frame's middle moved right and down by 8
    near(picture[24, 16, :3], (1, 0, 0))
    near(picture[30, 9, :3], (0, 1, 0))
    near(picture[24, 4], 0.0)  # beyond the border


def does_without_a_program():
    fresh()
    program_is(os.path.join(WORK, "nothing"))
    fails_with("is not found")


def survives_a_killed_program():
    fresh().moonhare.samples = 60000
    program_is(script("killed", f'(sleep 3; kill -9 $$) & exec {PROGRAM} "$@"\n'))
    picture = fails_with("signal 9", "kept")
    near(picture[16, 16, :3], (0.2, 0.4, 0.8))


def ends_the_program_on_cancel():
    fresh().moonhare.samples = 60000
    engine = sys.modules["moonhare_render.engine"].MoonhareRenderEngine
    begun, before = time.monotonic(), engine.is_unwanted
    engine.is_unwanted = lambda self: time.monotonic() > begun + 3
    try:
        picture, text = render()
    finally:
        engine.is_unwanted = before
    expect("error" not in text and time.monotonic() < begun + 10, text)
    near(picture[16, 16, :3], (0.2, 0.4, 0.8))


def reports_a_full_disk():
    signal.signal(signal.SIGXFSZ, signal.SIG_IGN)  # which Python does not by itself in 4.x
    whole = resource.getrlimit(resource.RLIMIT_FSIZE)
    for size, words in ((100, ("cannot be written",)), (3000, ("status 3",))):
        fresh()
        resource.setrlimit(resource.RLIMIT_FSIZE, (size, whole[1]))
        try:
            bpy.ops.render.render()
        finally:
            resource.setrlimit(resource.RLIMIT_FSIZE, whole)
        text = bpy.data.texts["moonhare report"].as_string()
        expect(all(word in text for word in words) and text.count("error: ") == 1, text)


def reports_a_scene_of_nothing():
    fresh(empty=True)
    link("points", bpy.data.meshes.new("points"))
    fails_with("nothing to render")


def reports_a_fault_of_its_own():
    fresh()
    engine = sys.modules["moonhare_render.engine"]
    export, engine.export = engine.export, lambda *_, **__: {}["missing"]
    try:
        fails_with("internal fault", "KeyError")
    finally:
        engine.export = export


def takes_any_name_and_missing_pictures():
    fresh(empty=True)
    names = ('say "hi"\nend', "каштан", "a/../b", "say _hi__end")
    for i, name in enumerate(names):
        square = link(name, plane(glow((0.1 * (i + 1), 0.5, 1), 1.0), 0.5), (i - 1.5, 0, 0))
        square.data.name = square.data.materials[0].name = name
    image = bpy.data.images.new("gone", 4, 4)
    image.source, image.filepath = "FILE", "//no/such\n\"file\".png"
    lost = link("lost", plane(material("lost", lambda n: n.add(
        "Emission", Color=n.add("TexImage", settings={"image": image}))), 1), (0, 1.2, 0))
    lost.data.update()
    link("faceless", bpy.data.meshes.new("faceless"))
    picture, text = render()
    for i in range(len(names)):
        near(picture[16, 4 + 8 * i, :3], (0.1 * (i + 1), 0.5, 1))
    near(picture[26, 16, :3], (1, 0, 1))
    expect("is missing" in text and "error" not in text, text)


def renders_ten_thousand_objects():
    fresh()
    data = sphere(glow((1, 1, 1), 1.0), 0.018, 8)
    for i in range(10000):
        link("ball", data, (-1.9 + 0.038 * (i % 100), -1.9 + 0.038 * (i // 100), 0.1))
    picture, text = render()
    expect("10,001 instances" in text and "error" not in text, text)
    expect((picture[..., 0] > 0.3).mean() > 0.5, "the balls are not seen")


def writes_a_million_triangles_fast():
    fresh(empty=True)
    count = 710
    x, y = numpy.meshgrid(numpy.arange(count, dtype=numpy.float32), numpy.arange(count))
    points = numpy.stack([x, y, numpy.sin(x)], -1).reshape(-1, 3) / count
    first = (numpy.arange(count - 1)[:, None] * count + numpy.arange(count - 1)).ravel()
    corners = numpy.stack([first, first + 1, first + count + 1, first + count],
                          -1).astype(numpy.int32)
    data = bpy.data.meshes.new("grid")
    data.vertices.add(len(points))
    data.vertices.foreach_set("co", points.astype(numpy.float32).ravel())
    data.loops.add(corners.size)
    data.loops.foreach_set("vertex_index", corners.ravel())
    data.polygons.add(len(corners))
    data.polygons.foreach_set("loop_start", numpy.arange(0, corners.size, 4, dtype=numpy.int32))
    data.polygons.foreach_set("loop_total", numpy.full(len(corners), 4, numpy.int32))
    data.update(calc_edges=True)
    data.uv_layers.new()
    data.materials.append(diffuse(0.5))
    link("grid", data)
    bpy.context.view_layer.update()
    started = time.process_time()
    bpy.ops.export_scene.moonhare(filepath=os.path.join(WORK, "grid"))
    seconds = time.process_time() - started
    print(f"a mesh of {2 * len(corners):,} triangles took {seconds:.2f} s")
    expect(seconds < 2, seconds, "seconds")


def writes_again_only_what_changed():
    scene = fresh()
    scene.render.use_persistent_data = True
    render()
    bpy.data.objects["square"].location.x = 0.1
    _, text = render()
    expect("5 files were there already" in text, text)  # mesh, shader, light, camera, render


def exports_a_sound_scene():
    fresh()
    link("ball", sphere(diffuse(0.5)), (0, 0, 1))
    lamp("AREA", (0, 0, 3))
    bpy.ops.object.curves_random_add()
    curves = bpy.context.object.data
    if "radius" in curves.attributes:
        curves.attributes.remove(curves.attributes["radius"])
    near(sys.modules["moonhare_render.compat"].curves_arrays(curves)[1], 0.005)
    folder = os.path.join(WORK, "exported")
    bpy.ops.export_scene.moonhare(filepath=folder)
    checked = subprocess.run([PROGRAM, "check", folder], capture_output=True, text=True)
    expect(checked.returncode == 0 and "fault" not in checked.stdout, checked.stdout)


class StandIn:
    """A node, socket or lamp of another version of Blender."""

    def __init__(self, **fields):
        self.__dict__.update(fields)


def understands_names_of_later_versions():
    fresh()
    inner = {name: sys.modules["moonhare_render." + name]
             for name in ("compat", "nodes", "surfaces")}
    values = {"Base Color": (0.8, 0.4, 0.2, 1.0), "Metallic": 0.0, "Roughness": 0.0, "IOR": 1.8,
              "Specular IOR Level": 0.25, "Transmission Weight": 0.25, "Coat Weight": 0.1,
              "Coat Roughness": 0.0, "Sheen Weight": 0.5, "Subsurface Weight": 0.5,
              "Emission Color": (1.0, 0.5, 0.0, 1.0), "Emission Strength": 2.0, "Alpha": 1.0}
    node = StandIn(bl_idname="ShaderNodeBsdfPrincipled", name="later", distribution="MULTI_GGX",
                   inputs={name: StandIn(name=name, default_value=value, is_linked=False)
                           for name, value in values.items()})
    before = inner["compat"].PRINCIPLED_ADDS, inner["compat"].COAT_SCALE
    inner["compat"].PRINCIPLED_ADDS, inner["compat"].COAT_SCALE = False, 1.0
    notes = []
    reader = inner["nodes"].Reader(None, StandIn(note=notes.append), "later")
    walk = inner["surfaces"].SurfaceReader(reader)
    try:
        walk.principled(node, inner["surfaces"].constant(1.0))
    finally:
        inner["compat"].PRINCIPLED_ADDS, inner["compat"].COAT_SCALE = before
    opaque, clear, light = walk.parts
    near(opaque.amount.color, 0.75)
    near(opaque.slots["lambertian"].color, values["Base Color"][:3])
    near(opaque.slots["specular"].color, 1.1)
    near(inner["surfaces"].reflectance_of(opaque.slots["ior"]), 0.5 * (0.8 / 2.8) ** 2)
    near(clear.amount.color, 0.25)
    near(light.slots["emissive"].color, (2.0, 1.0, 0.0))
    expect(len(notes) == 2, notes)  # sheen and what lies below the surface
    lamp_data = StandIn(exposure=1.0, use_temperature=True, temperature_color=(1.0, 0.8, 0.5))
    near(inner["compat"].lamp_gain(lamp_data), (2.0, 1.6, 1.0))


def keeps_presets():
    settings = fresh().moonhare
    settings.samples = 77
    bpy.ops.moonhare.preset_add(name="mine")
    settings.samples = 5
    for name, wanted in (("mine", 77), ("Preview", 16)):
        path = bpy.utils.preset_find(name, "moonhare/render")
        bpy.ops.script.execute_preset(filepath=path, menu_idname="MOONHARE_PT_presets")
        expect(settings.samples == wanted, settings.samples)


def goes_and_comes_back():
    fresh()
    addon_utils.disable("moonhare_render", default_set=True)
    expect(not hasattr(bpy.types.Scene, "moonhare"), "properties stay")
    fresh()
    near(render()[0][16, 16, :3], (0.2, 0.4, 0.8))


CASES = (
    shows_the_scene_and_every_pass, keeps_the_film_transparent,
    stands_upright_under_shift_and_border,
    does_without_a_program, survives_a_killed_program, ends_the_program_on_cancel,
    reports_a_full_disk,
    reports_a_scene_of_nothing, reports_a_fault_of_its_own, takes_any_name_and_missing_pictures,
    renders_ten_thousand_objects, writes_a_million_triangles_fast, writes_again_only_what_changed,
    exports_a_sound_scene, understands_names_of_later_versions, keeps_presets,
    goes_and_comes_back)
for case in CASES:
    try:
        case()
        print("passed:", case.__name__, flush=True)
    except Exception as error:
        print(f"FAILED: {case.__name__}: {type(error).__name__}: {error}", flush=True)
        sys.exit(1)
print("all cases passed")
