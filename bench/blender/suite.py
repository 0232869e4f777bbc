"""Renders scenes with moonhare and with Cycles, and compares:
blender -b --factory-startup --python-exit-code 1 -P suite.py -- FOLDER [NAME...]
Pictures go to FOLDER, a line of JSON for each scene to FOLDER/results.json. Pictures of Cycles are
kept for the next time, as long as the scene stays the same.
SPDX-License-Identifier: MIT"""
import hashlib
import inspect
import json
import os
import sys
import time

import addon_utils
import bpy
import numpy

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, HERE)  # scenes.py of here comes before that of the other folder
sys.path.append(os.path.join(HERE, "../reference"))
import scenes  # noqa: E402
import whole  # noqa: E402
from pictures import block_means  # noqa: E402
from scenes import ROUGH, SAME  # noqa: E402

BLOCK = 16
SIZE = (160, 128)
SAMPLES = int(os.environ.get("SUITE_SAMPLES", "256"))
BOUNCES = {SAME: 4, ROUGH: 15}  # diffuse ones; rough lobes and fibres count as such here
SCENES = {
    **{name: (getattr(scenes, name), SAME) for name in (
        "meshes", "modifiers", "instances", "curves", "mirror", "glass", "emission", "transparent",
        "mix_add", "textures", "bumps", "lamps", "sun_area", "world_image", "camera_shift",
        "camera_ortho", "camera_panorama")},
    "hair": (scenes.hair, ROUGH), "principled": (scenes.principled_row, ROUGH),
    "glossy": (scenes.glossy, ROUGH), "forest": (whole.forest, SAME),
    **{name: (getattr(whole, name), ROUGH) for name in (
        "interior", "product", "character", "still_life")},
}


def prepare(build, limit):
    bpy.ops.wm.read_factory_settings(use_empty=True)
    addon_utils.enable("moonhare_render", default_set=True)
    addon_utils.enable("cycles", default_set=True)
    scene = bpy.context.scene
    render, cycles, ours = scene.render, scene.cycles, scene.moonhare
    render.resolution_x, render.resolution_y = SIZE
    render.image_settings.file_format, render.image_settings.color_depth = "OPEN_EXR", "32"
    render.threads_mode, render.threads = "FIXED", 2
    scene.view_settings.view_transform = "Standard"
    cycles.samples, cycles.use_adaptive_sampling, cycles.use_denoising = SAMPLES, False, False
    cycles.max_bounces = cycles.glossy_bounces = cycles.transmission_bounces = 24
    cycles.transparent_max_bounces = 24
    cycles.diffuse_bounces = BOUNCES[limit]
    cycles.pixel_filter_type, cycles.filter_width = "BOX", 1.0
    cycles.sample_clamp_direct = cycles.sample_clamp_indirect = 0.0
    cycles.light_sampling_threshold = cycles.blur_glossy = 0.0
    ours.samples, ours.bounces, ours.ray_depth = SAMPLES, BOUNCES[limit] + 1, 32
    build()
    return scene


def rendered(scene, engine, path):
    """The picture of an engine, the lowest row first, and its seconds."""
    scene.render.engine = engine
    scene.render.filepath = path
    started = time.time()
    bpy.ops.render.render(write_still=True)
    seconds = time.time() - started
    return pixels(path), seconds


def pixels(path):
    image = bpy.data.images.load(path)
    image.colorspace_settings.name = "Non-Color"
    texels = numpy.empty(4 * image.size[0] * image.size[1], numpy.float32)
    image.pixels.foreach_get(texels)
    texels = texels.reshape(image.size[1], image.size[0], 4)[..., :3].astype(float)
    bpy.data.images.remove(image)
    return texels


def save_png(texels, path):
    """For the page: clipped, and with the curve of sRGB."""
    height, width = texels.shape[:2]
    image = bpy.data.images.new("page", width, height)
    curve = numpy.clip(texels, 0, 1)
    curve = numpy.where(curve < 0.0031308, 12.92 * curve, 1.055 * curve ** (1 / 2.4) - 0.055)
    image.pixels.foreach_set(numpy.concatenate([curve, numpy.ones((height, width, 1))], -1).astype(
        numpy.float32).ravel())
    image.filepath_raw, image.file_format = path, "PNG"
    image.save()
    bpy.data.images.remove(image)


def shift_between(ours, theirs):
    """Pixels (x, y) by which one picture lies beside the other, by least squares over its
    slopes."""
    a, b = (numpy.log(0.05 + picture.mean(-1)) for picture in (ours, theirs))
    dy, dx = numpy.gradient(b)
    slopes = numpy.stack([dx.ravel(), dy.ravel()], -1)
    weight = 1 / (0.02 + numpy.abs(a - b).ravel())  # noise and other light count little
    found = numpy.linalg.lstsq(slopes * weight[:, None], (b - a).ravel() * weight, rcond=None)[0]
    return [round(float(x), 3) for x in found]


def compared(ours, theirs, limit):
    """Differences of block means; what is darker than a hundredth of the mean counts as that."""
    a, b = block_means(ours, BLOCK), block_means(theirs, BLOCK)
    relative = numpy.abs(a - b) / numpy.maximum(b, 0.01 * b.mean())
    return {"mean": float(ours.mean() / theirs.mean()),
            "rms": float(numpy.sqrt((relative ** 2).mean())), "worst": float(relative.max()),
            "within": float((relative.max(-1) <= limit).mean()), "limit": limit,
            "shift": shift_between(ours, theirs)}


def digest_of(build, limit):
    text = inspect.getsource(build) + inspect.getsource(sys.modules["make"])
    return hashlib.sha256((text + f"{SAMPLES} {SIZE} {BOUNCES[limit]}").encode()).hexdigest()[:12]


def run(name, folder):
    build, limit = SCENES[name]
    scene = prepare(build, limit)
    ours, our_seconds = rendered(scene, "MOONHARE", os.path.join(folder, name + ".exr"))
    report = bpy.data.texts["moonhare report"].as_string()
    kept = os.path.join(folder, f"{name}_{digest_of(build, limit)}_cycles.exr")
    if os.path.exists(kept):
        theirs, their_seconds = pixels(kept), 0.0
    else:
        theirs, their_seconds = rendered(scene, "CYCLES", kept)
    result = {"name": name, **compared(ours, theirs, limit),
              "seconds": [our_seconds, their_seconds], "report": report}
    gap = numpy.ones((ours.shape[0], 4, 3))
    save_png(numpy.concatenate([ours, gap, theirs], 1), os.path.join(folder, name + ".png"))
    print("{name:16} mean {mean:.4f} rms {rms:.4f} worst {worst:.3f} within {within:.2f} "
          "shift {shift}".format(**result), [round(s, 1) for s in result["seconds"]], flush=True)
    return result


def main():
    folder, *names = sys.argv[sys.argv.index("--") + 1:]
    os.makedirs(folder, exist_ok=True)
    path = os.path.join(folder, "results.json")
    results = {}
    if os.path.exists(path):
        with open(path) as file:
            results = json.load(file)
    for name in names or SCENES:
        results[name] = run(name, folder)
        with open(path, "w") as file:
            json.dump(results, file, indent=1)


main()
