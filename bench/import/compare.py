"""Compares imported files with the same files in Cycles: compare.py BUILD [NAME...] imports and renders
strips of spheres (spheres.py) and models of the package assimp-testmodels, has Blender do the same, and
prints how block means of 16 x 16 pixels differ. Pictures stay in import beside the folder of the build.
SPDX-License-Identifier: MIT"""
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

pictures.BLOCK = 16
MODELS = "/usr/share/assimp/models/glTF2"
FILES = {
    "BoxTextured": "BoxTextured-glTF/BoxTextured.gltf",
    "BoxTexcoords": "BoxTexcoords-glTF/boxTexcoords.gltf",
    "2CylinderEngine": "2CylinderEngine-glTF-Binary/2CylinderEngine.glb",
    "AnimatedMorphCube": "glTF-Sample-Models/AnimatedMorphCube-glTF/AnimatedMorphCube.gltf",
    "TextureTransform": "textureTransform/TextureTransformTest.gltf",
}
SKY, SAMPLES, FRAMES = 0.7, 128, 32
SIZE, STRIP_SIZE = (320, 192), (480, 96)


def vector(text, key):
    return [float(x) for x in re.search(rf"{key} (.*)", text).group(1).split()]


def imported(name, build, folder):
    """Imports and renders; returns the job for the other side."""
    strip = name in spheres.STRIPS
    file = os.path.join(folder, name + ".gltf") if strip else os.path.join(MODELS, FILES[name])
    if strip:
        spheres.write(name, file)
    program, scene = os.path.join(build, "tools/moonhare"), os.path.join(folder, name)
    shutil.rmtree(scene, ignore_errors=True)
    subprocess.run([program, "import", file, scene], check=True, stdout=subprocess.DEVNULL)
    with open(os.path.join(scene, "light/lights.mh"), "w") as light:
        light.write(f"sky_light\n    color {SKY} {SKY} {SKY}\n    photon 0\nend\n")
    with open(os.path.join(scene, "camera/cameras.mh")) as text:
        camera = text.read()
    if strip:  # straight from the front
        camera = ("camera\n" + 2 * ("    pose\n        position 0 -20 0\n        target 0 0 0\n"
                                    "        field_of_view 31.5\n        up_vector 0 0 1\n    end\n")
                  + "end\n")
        with open(os.path.join(scene, "camera/cameras.mh"), "w") as text:
            text.write(camera)
    width, height = STRIP_SIZE if strip else SIZE
    subprocess.run([program, scene, "--resolution", f"{width}x{height}", "--sample", str(FRAMES),
                    "--gather", str(4 * FRAMES), "--output-dir", folder, "--beauty", name + ".pfm",
                    "--progress", "none"], check=True, stdout=subprocess.DEVNULL)
    return {"file": file, "picture": os.path.join(folder, name + "_cycles.pfm"),
            "size": [width, height], "samples": SAMPLES, "sky": SKY,
            "position": vector(camera, "position"), "target": vector(camera, "target"),
            "up": vector(camera, "up_vector"), "fov": vector(camera, "field_of_view")[0]}


def tell(name, folder):
    ours = pictures.read_pfm(os.path.join(folder, name + ".pfm"))
    theirs = pictures.read_pfm(os.path.join(folder, name + "_cycles.pfm"))
    a, b = pictures.block_means(ours), pictures.block_means(theirs)
    difference = numpy.abs(a - b) / numpy.maximum(b, 0.05)
    touched = numpy.abs(b - SKY).max(-1) > 0.005  # blocks that hold more than sky
    on = difference[touched] if touched.any() else difference.reshape(-1, 3)
    print(f"| {name} | {a.mean() / b.mean():.4f} | {numpy.sqrt((on ** 2).mean()):.4f} | "
          f"{numpy.quantile(on, 0.95):.4f} | {on.max():.4f} |", flush=True)
    if name in spheres.STRIPS:
        width = STRIP_SIZE[0] // spheres.COUNT
        ratios = [ours[32:64, i * width + 32:i * width + 64].mean((0, 1))
                  / theirs[32:64, i * width + 32:i * width + 64].mean((0, 1))
                  for i in range(spheres.COUNT)]
        print("|   ratio of the middles |", "; ".join(" ".join(f"{x:.3f}" for x in r) for r in ratios))


def main():
    build = os.path.abspath(sys.argv[1])
    names = sys.argv[2:] or [*spheres.STRIPS, *FILES]
    folder = os.path.join(os.path.dirname(build), "import")
    os.makedirs(folder, exist_ok=True)
    jobs = [imported(name, build, folder) for name in names]
    with open(os.path.join(folder, "jobs.json"), "w") as file:
        json.dump(jobs, file)
    with open(os.path.join(folder, "blender.log"), "w") as log:
        subprocess.run(["blender", "-b", "--python-exit-code", "1", "-P",
                        os.path.join(HERE, "cycles_import.py"), "--",
                        os.path.join(folder, "jobs.json")], check=True, stdout=log, stderr=log)
    print("| file | mean | rms of blocks | 95 % of blocks | largest |\n|---|---|---|---|---|")
    for name in names:
        tell(name, folder)


main()
