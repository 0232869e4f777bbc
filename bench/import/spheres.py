"""glTF files of one material each: a row of five spheres over a range of one parameter.
SPDX-License-Identifier: MIT"""
import base64
import json
import math
import struct

STEPS, AROUND = 32, 64
COUNT = 5


def ball():
    """Positions, which are normals too, and triangles of a unit sphere."""
    points = [(math.sin(a) * math.cos(b), math.cos(a), -math.sin(a) * math.sin(b))
              for a in (math.pi * i / STEPS for i in range(STEPS + 1))
              for b in (2 * math.pi * j / AROUND for j in range(AROUND + 1))]
    row = AROUND + 1
    faces = []
    for i in range(STEPS):
        for j in range(AROUND):
            a, b, c, d = i * row + j, i * row + j + 1, (i + 1) * row + j, (i + 1) * row + j + 1
            faces += [(a, c, d)] * (i < STEPS - 1) + [(a, d, b)] * (i > 0)
    return points, faces


def pbr(base=(0.8, 0.8, 0.8), metallic=0.0, roughness=0.5, **more):
    return {"pbrMetallicRoughness": {"baseColorFactor": [*base, more.pop("alpha", 1)],
                                     "metallicFactor": metallic, "roughnessFactor": roughness},
            **more}


GOLD, RED = (1.0, 0.77, 0.34), (0.8, 0.1, 0.05)
STEP = [0, 0.25, 0.5, 0.75, 1]


def glass(roughness=0.0, thickness=0.0, ior=1.5, transmission=1.0):
    extensions = {"KHR_materials_transmission": {"transmissionFactor": transmission},
                  "KHR_materials_ior": {"ior": ior}}
    if thickness:
        extensions["KHR_materials_volume"] = {"thicknessFactor": thickness}
    return pbr((1, 1, 1), 0, roughness, extensions=extensions)


# Name of the strip: its five materials.
STRIPS = {
    "base": [pbr(c, 0, 1) for c in ((0.05, 0.05, 0.05), (0.8, 0.8, 0.8), RED, (0.1, 0.6, 0.1),
                                    (0.1, 0.2, 0.8))],
    "metal_roughness": [pbr((0.9, 0.9, 0.9), 1, r) for r in (0.1, 0.3, 0.5, 0.7, 1)],
    "gold_roughness": [pbr(GOLD, 1, r) for r in (0.1, 0.3, 0.5, 0.7, 1)],
    "dielectric_roughness": [pbr(RED, 0, r) for r in (0.1, 0.3, 0.5, 0.7, 1)],
    "metallic": [pbr(RED, m, 0.3) for m in STEP],
    "transmission": [glass(transmission=t) for t in STEP],
    "emission": [pbr((0, 0, 0), 0, 1, emissiveFactor=[e, e / 2, 0]) for e in STEP],
    "alpha": [pbr(RED, 0, 1, alpha=a, alphaMode="BLEND") for a in STEP],
    "clearcoat": [pbr(RED, 0, 0.6, extensions={"KHR_materials_clearcoat": {"clearcoatFactor": c}})
                  for c in STEP],
}


def scene(materials):
    points, faces = ball()
    places = struct.pack(f"<{3 * len(points)}f", *(x for p in points for x in p))
    numbers = struct.pack(f"<{3 * len(faces)}H", *(x for f in faces for x in f))
    data = base64.b64encode(places + numbers).decode()
    vectors = {"bufferView": 0, "componentType": 5126, "count": len(points), "type": "VEC3",
               "min": [-1, -1, -1], "max": [1, 1, 1]}
    used = sorted({name for m in materials for name in m.get("extensions", {})})
    return {
        "asset": {"version": "2.0"}, "scene": 0, "scenes": [{"nodes": list(range(COUNT))}],
        "extensionsUsed": used,
        "nodes": [{"mesh": i, "translation": [2.2 * (i - 2), 0, 0]} for i in range(COUNT)],
        "meshes": [{"name": f"ball{i}", "primitives": [
            {"attributes": {"POSITION": 0, "NORMAL": 0}, "indices": 1, "material": i}]}
            for i in range(COUNT)],
        "materials": [{"name": f"ball{i}", **m} for i, m in enumerate(materials)],
        "buffers": [{"byteLength": len(places) + len(numbers),
                     "uri": "data:application/octet-stream;base64," + data}],
        "bufferViews": [{"buffer": 0, "byteLength": len(places)},
                        {"buffer": 0, "byteOffset": len(places), "byteLength": len(numbers)}],
        "accessors": [vectors, {"bufferView": 1, "componentType": 5123, "count": 3 * len(faces),
                                "type": "SCALAR"}]}


def write(name, path):
    with open(path, "w") as file:
        json.dump(scene(STRIPS[name]), file)
