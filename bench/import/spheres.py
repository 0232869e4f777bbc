"""glTF files of a row of five spheres each, over a range of one parameter.
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
STRIPS["ior"] = [glass(thickness=1, ior=n) for n in (1.05, 1.2, 1.33, 1.5, 2)]
STRIPS["glass_roughness"] = [glass(r, thickness=1) for r in (0, 0.1, 0.2, 0.4, 0.6)]
STRIPS["sheen"] = [pbr((0.1, 0.02, 0.02), 0, 0.8, extensions={"KHR_materials_sheen": {
    "sheenColorFactor": [s, s, s], "sheenRoughnessFactor": 0.5}}) for s in STEP]


def quad(corner, across, up):
    return [[c + s * a + t * u for c, a, u in zip(corner, across, up)]
            for s, t in ((0, 0), (1, 0), (1, 1), (0, 1))]


def studio():
    """Quads by their material: stripes behind the spheres, and two panels that glow."""
    stripes = [quad((-9.35 + 1.1 * i, -4, -3), (0.55, 0, 0), (0, 8, 0)) for i in range(17)]
    return [(pbr((0.05, 0.05, 0.2), 0, 1), stripes),
            (pbr((0, 0, 0), 0, 1, emissiveFactor=[1, 1, 1]),
             [quad((-9, 3, 6), (4, 0, 4), (0, 5, 0)), quad((5, 0, 8), (2, 0, -2), (0, 5, 0))])]


def add_studio(made):
    """Adds the quads to a scene of spheres."""
    for material, quads in studio():
        points = [p for q in quads for p in q]
        faces = [4 * i + k for i in range(len(quads)) for k in (0, 1, 2, 0, 2, 3)]
        data = struct.pack(f"<{3 * len(points)}f", *(x for p in points for x in p))
        numbers = struct.pack(f"<{len(faces)}H", *faces)
        view, accessor = len(made["bufferViews"]), len(made["accessors"])
        buffer = len(made["buffers"])
        made["buffers"].append({"byteLength": len(data) + len(numbers), "uri": uri(data + numbers)})
        made["bufferViews"] += [
            {"buffer": buffer, "byteLength": len(data)},
            {"buffer": buffer, "byteOffset": len(data), "byteLength": len(numbers)}]
        made["accessors"] += [
            {"bufferView": view, "componentType": 5126, "count": len(points), "type": "VEC3",
             "min": [min(c) for c in zip(*points)], "max": [max(c) for c in zip(*points)]},
            {"bufferView": view + 1, "componentType": 5123, "count": len(faces), "type": "SCALAR"}]
        made["meshes"].append({"primitives": [{"attributes": {"POSITION": accessor},
                                               "indices": accessor + 1,
                                               "material": len(made["materials"])}]})
        made["materials"].append(material)
        made["scenes"][0]["nodes"].append(len(made["nodes"]))
        made["nodes"].append({"mesh": len(made["meshes"]) - 1})
    return made


def uri(data):
    return "data:application/octet-stream;base64," + base64.b64encode(data).decode()


def scene(materials):
    points, faces = ball()
    places = struct.pack(f"<{3 * len(points)}f", *(x for p in points for x in p))
    numbers = struct.pack(f"<{3 * len(faces)}H", *(x for f in faces for x in f))
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
                     "uri": uri(places + numbers)}],
        "bufferViews": [{"buffer": 0, "byteLength": len(places)},
                        {"buffer": 0, "byteOffset": len(places), "byteLength": len(numbers)}],
        "accessors": [vectors, {"bufferView": 1, "componentType": 5123, "count": 3 * len(faces),
                                "type": "SCALAR"}]}


def write(name, path, in_studio=False):
    made = scene(STRIPS[name])
    with open(path, "w") as file:
        json.dump(add_studio(made) if in_studio else made, file)
