"""Imports the models of the Debian package assimp-testmodels: those that are sound render, those
that are damaged, by their makers or here, take one line. usage: import_models.py PROGRAM [SECONDS]
SPDX-License-Identifier: MIT"""
import os
import random
import shutil
import struct
import subprocess
import sys
import tempfile
import time

MODELS = "/usr/share/assimp/models"
SOUND = """
glTF2/2CylinderEngine-glTF-Binary/2CylinderEngine.glb glTF2/BoxTexcoords-glTF/boxTexcoords.gltf
glTF2/BoxTextured-glTF/BoxTextured.gltf glTF2/BoxTextured-glTF-Binary/BoxTextured.glb
glTF2/BoxTextured-glTF-Embedded/BoxTextured.gltf glTF2/ClearCoat-glTF/ClearCoatTest.gltf
glTF2/BoxTextured-glTF-pbrSpecularGlossiness/BoxTextured.gltf glTF2/cameras/Cameras.gltf
glTF2/glTF-Sample-Models/AnimatedMorphCube-glTF/AnimatedMorphCube.gltf
glTF2/simple_skin/simple_skin.gltf glTF2/textureTransform/TextureTransformTest.gltf
glTF/BoxTextured-glTF/BoxTextured.gltf glTF/CesiumMilkTruck/CesiumMilkTruck.gltf
OBJ/spider.obj OBJ/box.obj OBJ/WusonOBJ.obj OBJ/concave_polygon.obj
Collada/duck.dae Collada/COLLADA.dae Collada/earthCylindrical.DAE
FBX/cubes_with_names.fbx FBX/box.fbx FBX/phong_cube.fbx
PLY/Wuson.ply PLY/cube.ply PLY/cube_uv.ply STL/Spider_ascii.stl STL/Wuson.stl STL/sphereWithHole.stl
""".split()
DAMAGED = """
glTF2/BoxWithInfinites-glTF-Binary/BoxWithInfinites.glb glTF2/MissingBin/BoxTextured.gltf
glTF2/IndexOutOfRange/AllIndicesOutOfRange.gltf glTF2/IndexOutOfRange/IndexOutOfRange.gltf
glTF2/RecursiveNodes/RecursiveNodes.gltf
glTF2/SchemaFailures/sceneWrongType.gltf glTF2/TestNoRootNode/SceneWithoutNodes.gltf
glTF2/TestNoRootNode/NoScene.gltf glTF2/wrongTypes/badArray.gltf glTF2/wrongTypes/badExtension.gltf
glTF2/wrongTypes/badNumber.gltf glTF2/wrongTypes/badObject.gltf glTF2/wrongTypes/badString.gltf
glTF2/wrongTypes/badUint.gltf invalid/OutOfMemory.off invalid/malformed.obj invalid/malformed2.obj
invalid/empty.3ds invalid/empty.ase invalid/empty.lwo invalid/empty.obj invalid/empty.off
invalid/empty.ply invalid/empty.x
""".split()
LONGEST_SECONDS = 100


def run(program, folder, *arguments):
    return subprocess.run([program, *arguments], cwd=folder, capture_output=True, text=True,
                          errors="replace", timeout=LONGEST_SECONDS)


def import_one(program, folder, path, statuses):
    """The result; what a refused file leaves behind, or says in more than a line, is a fault."""
    result = run(program, folder, "import", path, "made")
    words = result.stderr.strip() or "no words"
    if result.returncode not in statuses:
        return result, f"status {result.returncode}: {words}"
    if result.returncode == 2 and (result.stderr.count("\n") != 1 or os.listdir(folder)):
        return result, f"{words}, and leaves {os.listdir(folder)}"
    return result, ""


def has_variance(path):
    with open(path, "rb") as file:
        file.readline(), file.readline(), file.readline()
        data = file.read()
    values = struct.unpack(f"<{len(data) // 4}f", data)
    return max(values) - min(values) > 0.01


def render(program, folder):
    check = run(program, folder, "check", "made", "--strict")
    if check.returncode != 0:
        return check.stdout
    result = run(program, folder, "made", "--resolution", "48x32", "--sample", "2", "--beauty",
                 "a.pfm")
    if result.returncode != 0:
        return result.stderr
    return "" if has_variance(os.path.join(folder, "a.pfm")) else "nothing is seen"


def try_in_folder(action):
    folder = tempfile.mkdtemp()
    try:
        return action(folder)
    except subprocess.TimeoutExpired:
        return f"more than {LONGEST_SECONDS} s"
    finally:
        shutil.rmtree(folder)


def sound(program, path):
    def action(folder):
        _, fault = import_one(program, folder, path, {0})
        return fault or render(program, folder)
    return try_in_folder(action)


def refused(program, path):
    return try_in_folder(lambda folder: import_one(program, folder, path, {2})[1])


def damaged(program, path, draws):
    """A copy with some bytes changed, or cut, beside what belongs to it."""
    with open(path, "rb") as file:
        content = bytearray(file.read())
    for _ in range(draws.choice([1, 3, 30])):
        content[draws.randrange(len(content))] = draws.randrange(256)
    if draws.random() < 0.2:
        del content[draws.randrange(len(content)):]

    def action(folder):
        beside = os.path.join(folder, "beside")
        shutil.copytree(os.path.dirname(path), beside, copy_function=os.symlink)
        copy = os.path.join(beside, os.path.basename(path))
        os.remove(copy)
        with open(copy, "wb") as file:
            file.write(content)
        work = os.path.join(folder, "work")
        os.mkdir(work)
        return import_one(program, work, copy, {0, 2})[1]
    return try_in_folder(action)


def main():
    program, seconds = os.path.abspath(sys.argv[1]), float((sys.argv[2:] or ["60"])[0])
    if not os.path.isdir(MODELS):
        sys.exit("assimp-testmodels is not installed")
    faults = 0

    def tell(name, fault):
        nonlocal faults
        if fault:
            faults += 1
            print(f"{name}: {fault}", flush=True)
    for name in SOUND:
        tell(name, sound(program, os.path.join(MODELS, name)))
    for name in DAMAGED:
        tell(name, refused(program, os.path.join(MODELS, name)))
    draws, end, count = random.Random(1), time.monotonic() + seconds, 0
    while time.monotonic() < end:
        count += 1
        name = draws.choice(SOUND)
        tell(f"{name}, damaged", damaged(program, os.path.join(MODELS, name), draws))
    print(f"{len(SOUND)} sound, {len(DAMAGED)} damaged, {count} damaged here: {faults} faults")
    sys.exit(faults > 0)


main()
