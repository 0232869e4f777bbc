"""Processor time and memory of the import and of the first picture of many triangles:
ten_million.py BUILD [MILLIONS [FORMAT...]], 10 by default, in glb, ply and obj. A wavy sheet of
that many triangles is written to import beside the folder of the build, imported and rendered once;
the OBJ file is also read by a scene as it stands.
SPDX-License-Identifier: MIT"""
import json
import os
import re
import resource
import shutil
import struct
import subprocess
import sys
import time

import numpy


def sheet(millions):
    """Corners and triangles of a wavy sheet."""
    side = int(round((millions * 1e6 / 2) ** 0.5)) + 1
    x, y = numpy.meshgrid(numpy.linspace(-1, 1, side, dtype=numpy.float32),
                          numpy.linspace(-1, 1, side, dtype=numpy.float32), indexing="ij")
    points = numpy.stack([x, y, 0.1 * numpy.sin(9 * x) * numpy.cos(7 * y)], -1).reshape(-1, 3)
    first = (numpy.arange(side - 1)[:, None] * side
             + numpy.arange(side - 1)).ravel().astype(numpy.uint32)
    corners = numpy.stack([first, first + side, first + 1, first + 1, first + side,
                           first + side + 1], -1)
    return points.astype("<f4"), corners.reshape(-1, 3).astype("<u4")


def write_glb(path, points, faces):
    buffer = points.tobytes() + faces.tobytes()
    low, high = points.min(0).tolist(), points.max(0).tolist()
    text = json.dumps({
        "asset": {"version": "2.0"}, "scene": 0, "scenes": [{"nodes": [0]}], "nodes": [{"mesh": 0}],
        "meshes": [{"primitives": [{"attributes": {"POSITION": 0}, "indices": 1}]}],
        "buffers": [{"byteLength": len(buffer)}],
        "bufferViews": [{"buffer": 0, "byteLength": points.nbytes},
                        {"buffer": 0, "byteOffset": points.nbytes, "byteLength": faces.nbytes}],
        "accessors": [{"bufferView": 0, "componentType": 5126, "count": len(points), "type": "VEC3",
                       "min": low, "max": high},
                      {"bufferView": 1, "componentType": 5125, "count": faces.size,
                       "type": "SCALAR"}]})
    text += " " * (-len(text) % 4)
    with open(path, "wb") as file:
        file.write(struct.pack("<4sIIII", b"glTF", 2, 28 + len(text) + len(buffer), len(text),
                               0x4E4F534A))
        file.write(text.encode() + struct.pack("<II", len(buffer), 0x004E4942) + buffer)


def write_ply(path, points, faces):
    rows = numpy.zeros(len(faces), [("count", "u1"), ("corners", "<i4", 3)])
    rows["count"], rows["corners"] = 3, faces
    with open(path, "wb") as file:
        file.write(f"ply\nformat binary_little_endian 1.0\nelement vertex {len(points)}\n"
                   f"property float x\nproperty float y\nproperty float z\n"
                   f"element face {len(faces)}\n"
                   "property list uchar int vertex_indices\nend_header\n".encode())
        file.write(points.tobytes() + rows.tobytes())


def write_obj(path, points, faces):
    with open(path, "w") as file:
        for start in range(0, len(points), 100000):
            file.write("".join("v %.6g %.6g %.6g\n" % tuple(p)
                               for p in points[start:start + 100000].tolist()))
        for start in range(0, len(faces), 100000):
            file.write("".join("f %d %d %d\n" % tuple(f)
                               for f in (faces[start:start + 100000] + 1).tolist()))


def measure(*command):
    """Seconds of wall and of processor, and the largest memory in MB of any process so far."""
    before, start = resource.getrusage(resource.RUSAGE_CHILDREN), time.monotonic()
    result = subprocess.run(command, capture_output=True, text=True)
    after, wall = resource.getrusage(resource.RUSAGE_CHILDREN), time.monotonic() - start
    if result.returncode != 0:
        sys.exit(result.stdout + result.stderr)
    processor = after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime
    return wall, processor, after.ru_maxrss / 1024


def report(name, values):
    print(f"| {name} | {values[0]:.1f} s | {values[1]:.1f} s | {values[2]:.0f} MB |", flush=True)


def read_as_it_stands(path, scene):
    """Lets the object of an imported scene read the file in place of the mesh."""
    objects = os.path.join(scene, "geometry/objects.mh")
    with open(objects) as file:
        text = file.read()
    with open(objects, "w") as file:
        file.write(re.sub(r'mesh ".*"', 'obj "sheet.obj"', text))
    os.rename(path, os.path.join(scene, "geometry/sheet.obj"))


def main():
    build, millions = os.path.abspath(sys.argv[1]), float((sys.argv[2:] or ["10"])[0])
    program, folder = os.path.join(build, "tools/moonhare"), os.path.join(os.path.dirname(build),
                                                                          "import")
    os.makedirs(folder, exist_ok=True)
    points, faces = sheet(millions)
    print(f"{len(faces)} triangles\n| step | wall | processor | memory so far |\n|---|---|---|---|")
    frame = ["--resolution", "320x180", "--sample", "1", "--output-dir", folder, "--progress",
             "none"]
    writers = {"glb": write_glb, "ply": write_ply, "obj": write_obj}
    for extension in sys.argv[3:] or writers:
        path, scene = os.path.join(folder, "sheet." + extension), os.path.join(folder,
                                                                               "sheet_" + extension)
        writers[extension](path, points, faces)
        shutil.rmtree(scene, ignore_errors=True)
        report(f"import of {extension}", measure(program, "import", path, scene))
        report("one frame of it", measure(program, scene, *frame))
        if extension == "obj":
            read_as_it_stands(path, scene)
            report("one frame of the OBJ file itself", measure(program, scene, *frame))
        else:
            os.remove(path)
        shutil.rmtree(scene)


main()
