"""Compares imported files with the same files in Cycles: compare.py BUILD [NAME...] imports and
renders strips of spheres (spheres.py) and models of the package assimp-testmodels, has Blender do
the same, and prints how block means of 16 x 16 pixels differ. Pictures stay in import beside the
folder of the build, those of Cycles until what they depend on changes.
SPDX-License-Identifier: MIT"""
import hashlib
import json
import os
import re
import shutil
import subprocess
import sys

import numpy

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path[:0] = [HERE, os.path.join(HERE, "../reference")]
import pictures  # noqa: E402
import spheres  # noqa: E402

BLOCK = 16
MODELS = "/usr/share/assimp/models/glTF2"
DIFFUSE, REFLECTING = 0.02, 0.05  # limits of block means
FILES = {
    "BoxTextured": "BoxTextured-glTF/BoxTextured.gltf",
    "2CylinderEngine": "2CylinderEngine-glTF-Binary/2CylinderEngine.glb",
    "AnimatedMorphCube": "glTF-Sample-Models/AnimatedMorphCube-glTF/AnimatedMorphCube.gltf",
    "TextureTransform": "textureTransform/TextureTransformTest.gltf",
}
# The ten files of plain materials, with the limit of each.
PLAIN = {"BoxTextured": DIFFUSE, "TextureTransform": DIFFUSE, "2CylinderEngine": DIFFUSE,
         "base": DIFFUSE, "emission": DIFFUSE, "AnimatedMorphCube": REFLECTING,
         "dielectric_roughness": REFLECTING, "metallic": REFLECTING, "metal_roughness": REFLECTING,
         "gold_roughness": REFLECTING}
SKY, SAMPLES, FRAMES = 0.7, 128, 32
GATHER = 4  # rays of a frame
BOUNCES = 32  # more than matter, since the two count those of different kinds differently
SIZE, STRIP_SIZE = (320, 192), (480, 96)


def vector(text, key):
    return [float(x) for x in re.search(rf"{key} (.*)", text).group(1).split()]


FRONT = (0, -20, 0)


def imported(name, build, folder, studio=None):
    """Imports and renders; returns the job for the other side. A studio says where strips are seen
    from, and the sky and size."""
    strip = name in spheres.STRIPS
    file = os.path.join(folder, name + ".gltf") if strip else os.path.join(MODELS, FILES[name])
    place, sky, strip_size = studio or (FRONT, SKY, STRIP_SIZE)
    if strip:
        spheres.write(name, file, studio is not None)
    program, scene = os.path.join(build, "tools/moonhare"), os.path.join(folder, name)
    shutil.rmtree(scene, ignore_errors=True)
    subprocess.run([program, "import", file, scene], check=True, stdout=subprocess.DEVNULL)
    with open(os.path.join(scene, "light/lights.mh"), "w") as light:
        light.write(f"sky_light\n    color {sky} {sky} {sky}\n    photon 0\nend\n")
        if studio:
            light.write("geometry_light\n    sample 64\n    photon 0\nend\n")
    with open(os.path.join(scene, "camera/cameras.mh")) as text:
        camera = text.read()
    if strip:
        pose = ("    pose\n        position {} {} {}\n        target 0 0 0\n"
                "        field_of_view 31.5\n        up_vector 0 0 1\n    end\n").format(*place)
        camera = "camera\n" + 2 * pose + "end\n"
        with open(os.path.join(scene, "camera/cameras.mh"), "w") as text:
            text.write(camera)
    settings = os.path.join(scene, "render/render.mh")
    with open(settings) as text:
        long_paths = re.sub(r"\b(bounce|ray_depth) \d+", rf"\1 {BOUNCES}", text.read())
    with open(settings, "w") as text:
        text.write(long_paths)
    width, height = strip_size if strip else SIZE
    subprocess.run([program, scene, "--resolution", f"{width}x{height}", "--sample", str(FRAMES),
                    "--gather", str(GATHER * FRAMES), "--output-dir", folder, "--beauty",
                    name + ".pfm", "--progress", "none"], check=True, stdout=subprocess.DEVNULL)
    return {"file": file, "picture": os.path.join(folder, name + "_cycles.pfm"),
            "size": [width, height], "samples": SAMPLES, "bounces": BOUNCES, "sky": sky,
            "position": vector(camera, "position"), "target": vector(camera, "target"),
            "up": vector(camera, "up_vector"), "fov": vector(camera, "field_of_view")[0]}


def report(name, folder):
    ours = pictures.read_pfm(os.path.join(folder, name + ".pfm"))
    theirs = pictures.read_pfm(os.path.join(folder, name + "_cycles.pfm"))
    a, b = (pictures.block_means(picture, BLOCK) for picture in (ours, theirs))
    difference = numpy.abs(a - b) / numpy.maximum(b, 0.05)
    touched = numpy.abs(b - SKY).max(-1) > 0.005  # blocks that hold more than sky
    on = difference[touched] if touched.any() else difference.reshape(-1, 3)
    limit = PLAIN.get(name, REFLECTING)
    print(f"| {name} | {100 * limit:.0f} % | {a.mean() / b.mean():.3f} "
          f"| {100 * (on < limit).mean():.0f} % | {numpy.sqrt((on ** 2).mean()):.3f} "
          f"| {on.max():.3f} |", flush=True)
    if name in spheres.STRIPS:
        width = STRIP_SIZE[0] // spheres.COUNT
        ratios = [ours[32:64, i * width + 32:i * width + 64].mean((0, 1))
                  / theirs[32:64, i * width + 32:i * width + 64].mean((0, 1))
                  for i in range(spheres.COUNT)]
        print("|   ratio of the middles |",
              "; ".join(" ".join(f"{x:.3f}" for x in r) for r in ratios))


def key_of(job):
    """What a picture of Cycles depends on."""
    with open(job["file"], "rb") as file, open(os.path.join(HERE, "cycles_import.py"),
                                               "rb") as script:
        content = file.read() + script.read()
    return json.dumps(job) + hashlib.sha256(content).hexdigest()


def is_kept(job):
    try:
        with open(job["picture"] + ".key") as file:
            return file.read() == key_of(job)
    except FileNotFoundError:
        return False


def render_by_cycles(jobs, folder):
    with open(os.path.join(folder, "jobs.json"), "w") as file:
        json.dump(jobs, file)
    with open(os.path.join(folder, "blender.log"), "w") as log:
        subprocess.run(["blender", "-b", "--python-exit-code", "1", "-P",
                        os.path.join(HERE, "cycles_import.py"), "--",
                        os.path.join(folder, "jobs.json")], check=True, stdout=log, stderr=log)
    for job in jobs:
        with open(job["picture"] + ".key", "w") as file:
            file.write(key_of(job))


def main():
    build = os.path.abspath(sys.argv[1])
    names = sys.argv[2:] or [*PLAIN, *(name for name in spheres.STRIPS if name not in PLAIN)]
    folder = os.path.join(os.path.dirname(build), "import")
    os.makedirs(folder, exist_ok=True)
    jobs = [imported(name, build, folder) for name in names]
    new = [job for job in jobs if not is_kept(job)]
    if new:
        render_by_cycles(new, folder)
    print("| file | limit | mean | blocks within | rms | worst |\n|---|---|---|---|---|---|")
    for name in names:
        report(name, folder)


if __name__ == "__main__":
    main()
