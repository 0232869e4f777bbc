"""Import of small files that are written here, and of damaged ones.
SPDX-License-Identifier: MIT"""
import base64
import copy
import json
import math
import os
import re
import struct
import unittest

from program import ProgramTest

CORNERS = struct.pack("<12f", 0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0)
UVS = struct.pack("<8f", 0, 1, 1, 1, 1, 0, 0, 0)
FACES = struct.pack("<6H", 0, 1, 2, 2, 3, 0)
PIXEL = base64.b64decode("iVBORw0KGgoAAAANSUhEUgAAAAEAAAABCAAAAAA6fptVAAAACklEQVR4nGNgAAAA"
                         "AgABSK+kcQAAAABJRU5ErkJggg==")


def uri(content, kind="application/octet-stream"):
    return f"data:{kind};base64," + base64.b64encode(content).decode()


# A square of two triangles in the plane of x and y, which glTF has upright.
SQUARE = {
    "asset": {"version": "2.0"}, "scene": 0, "scenes": [{"nodes": [0]}],
    "nodes": [{"mesh": 0, "name": "wall"}],
    "meshes": [{"name": "square", "primitives": [
        {"attributes": {"POSITION": 0, "TEXCOORD_0": 1}, "indices": 2, "material": 0}]}],
    "materials": [{"name": "paint", "pbrMetallicRoughness": {
        "baseColorFactor": [0.5, 0.25, 1, 1], "metallicFactor": 0, "roughnessFactor": 0.5}}],
    "buffers": [{"byteLength": 92, "uri": uri(CORNERS + UVS + FACES)}],
    "bufferViews": [{"buffer": 0, "byteOffset": start, "byteLength": size}
                    for start, size in ((0, 48), (48, 32), (80, 12))],
    "accessors": [
        {"bufferView": 0, "componentType": 5126, "count": 4, "type": "VEC3", "min": [0, 0, 0],
         "max": [1, 1, 0]},
        {"bufferView": 1, "componentType": 5126, "count": 4, "type": "VEC2"},
        {"bufferView": 2, "componentType": 5123, "count": 6, "type": "SCALAR"}]}


def add_array(scene, code, kind, *values):
    """The number of a new accessor."""
    content = struct.pack(f"<{len(values)}{code}", *values)
    scene["bufferViews"].append({"buffer": len(scene["buffers"]), "byteLength": len(content)})
    scene["buffers"].append({"byteLength": len(content), "uri": uri(content)})
    count = len(values) // {"VEC2": 2, "VEC3": 3, "VEC4": 4, "MAT4": 16}[kind]
    scene["accessors"].append({"bufferView": len(scene["bufferViews"]) - 1, "type": kind,
                               "componentType": {"f": 5126, "H": 5123}[code], "count": count})
    return len(scene["accessors"]) - 1


def constants_of_addon():
    """Numbers by name that the add-on for Blender maps materials with."""
    path = os.path.join(os.path.dirname(__file__), "../../blender/moonhare_render/surfaces.py")
    with open(path) as file:
        return {key: float(value)
                for key, value in re.findall(r"(?m)^([A-Z_]+) = ([\d.e]+)", file.read())}


class ImportTest(ProgramTest):
    def write(self, name, scene):
        with open(self.path(name), "w") as file:
            json.dump(scene, file)

    def changed(self, change):
        scene = copy.deepcopy(SQUARE)
        change(scene)
        self.write("square.gltf", scene)

    def imported(self, *options):
        return json.loads(self.run_here("import", "square.gltf", "--json", *options).stdout)

    def text(self, name):
        with open(self.path("square/" + name)) as file:
            return file.read()

    def refused(self, *words, name="square.gltf"):
        """One line, status 2, and nothing left behind."""
        before = sorted(os.listdir(self.folder))
        result = self.run_here("import", name, "made", status=2)
        self.assertEqual(result.stderr.count("\n"), 1, result.stderr)
        for word in words:
            self.assertIn(word, result.stderr)
        self.assertEqual(sorted(os.listdir(self.folder)), before)


class WhatComesIn(ImportTest):
    def test_a_square_stands_upright_in_a_sound_scene(self):
        self.write("square.gltf", SQUARE)
        summary = self.imported()
        self.assertEqual([summary[key] for key in ("triangles", "meshes", "instances", "dropped")],
                         [2, 1, 1, []])
        self.assertEqual(self.run_here("check", "square").stdout, "")
        objects = self.text("geometry/objects.mh")
        self.assertIn("matrix 1 0 0 0   0 0 -1 0   0 1 0 0   0 0 0 1", objects)
        mesh = self.bytes_of("square/geometry/square.mesh")
        self.assertEqual(mesh[24:72], CORNERS)

    def test_materials_take_the_numbers_of_the_addon(self):
        def change(scene):
            metal = copy.deepcopy(scene["materials"][0])
            metal["pbrMetallicRoughness"]["metallicFactor"] = 1
            coated = {**metal, "extensions": {"KHR_materials_clearcoat": {"clearcoatFactor": 1}}}
            scene["materials"][0]["extensions"] = {
                "KHR_materials_sheen": {"sheenColorFactor": [0.06, 0.03, 0]}}
            scene["extensionsUsed"] = ["KHR_materials_clearcoat", "KHR_materials_sheen"]
            scene["materials"].append(coated)
            scene["meshes"][0]["primitives"] *= 2
            scene["meshes"][0]["primitives"][1] = {**scene["meshes"][0]["primitives"][0],
                                                   "material": 1}
        self.changed(change)
        self.imported()
        paint, coated = self.text("shader/materials.mh").split("shader\n    name")[1:3]
        known = constants_of_addon()
        rest = 1 - known["SHEEN"]
        fuzz, metal = paint.split("surface_shader")[2], coated.split("surface_shader")[1]
        for text, slot, wanted in (
                (paint, "lambertian", [0.5 / rest, 0.25 / rest, 1]), (paint, "weight", [rest] * 3),
                (paint, "roughness", [0.25] * 3), (paint, "f0", [0.04 / rest] * 3),
                (paint, "ior", [1.5] * 3), (paint, "glossy", [1] * 3),
                (fuzz, "lambertian", [0.06, 0.03, 0]), (fuzz, "weight", [known["SHEEN"]] * 3),
                (metal, "ior", [1.5] * 3), (metal, "glossy", [1] * 3), (metal, "specular", [1] * 3),
                (metal, "f0", [0.5, 0.25, 1])):
            seen = re.search(rf"{slot}\s+color (.*)", text).group(1).split()
            for value, number in zip(map(float, seen), wanted):
                self.assertAlmostEqual(value, number, delta=1e-5 * number + 1e-9, msg=slot)
        self.assertIn('microfacet "ggx_separable"', metal)
        self.assertEqual(self.run_here("check", "square").stdout, "")

    def test_strength_and_specular_find_their_material(self):
        def change(scene):
            scene["extensionsUsed"] = ["KHR_materials_emissive_strength", "KHR_materials_specular",
                                       "EXT_new"]
            scene["materials"] = [
                {"name": name, "pbrMetallicRoughness": {"metallicFactor": 0, "roughnessFactor": 0},
                 "emissiveFactor": [1, 0.5, 0], "extensions": {
                     "KHR_materials_emissive_strength": {"emissiveStrength": strength},
                     "KHR_materials_specular": {"specularFactor": specular}}}
                for name, strength, specular in (("one", 2, 1), ("unused", 3, 1), ("two", 4, 0))]
            square = scene["meshes"][0]["primitives"][0]
            scene["meshes"][0]["primitives"] = [{**square, "material": 2},
                                                {**square, "material": 0}]
        self.changed(change)
        self.assertEqual(self.imported()["dropped"], ["extension EXT_new, which is not read"])
        blocks = {text.split('"')[1]: text
                  for text in self.text("shader/materials.mh").split("shader\n    name")[1:]}
        self.assertIn("color 4 2 0", blocks["two"])
        self.assertNotIn("ior", blocks["two"])
        self.assertIn("color 2 1 0", blocks["one"])
        self.assertIn("color 1.5 1.5 1.5", blocks["one"])

    def test_a_second_set_of_coordinates_is_kept_where_all_pictures_use_it(self):
        second = [0.125 * i for i in range(8)]
        moved = {"index": 0, "extensions": {"KHR_texture_transform": {"texCoord": 1}}}

        def change(scene):
            attributes = scene["meshes"][0]["primitives"][0]["attributes"]
            attributes["TEXCOORD_1"] = add_array(scene, "f", "VEC2", *second)
            scene["images"], scene["textures"] = [{"uri": uri(PIXEL, "image/png")}], [{"source": 0}]
            paint = scene["materials"][0]
            paint["pbrMetallicRoughness"]["baseColorTexture"] = moved
            paint["normalTexture"] = {"index": 0, "texCoord": 1}
            paint["extensions"] = {"KHR_materials_sheen": {"sheenColorTexture": {"index": 0}}}
        self.changed(change)
        summary = self.imported()
        self.assertEqual(summary["approximated"], [])
        self.assertEqual(summary["dropped"], ["sheenColorTexture of material paint"])
        kept = struct.unpack("<8f", self.bytes_of("square/geometry/square.mesh")[72:104])
        self.assertEqual(kept[::2], tuple(second[::2]))
        with open(self.path("square.gltf")) as file:
            mixed = json.load(file)
        mixed["materials"][0]["normalTexture"]["texCoord"] = 0
        self.write("square.gltf", mixed)
        self.assertEqual(self.imported("--force")["approximated"],
                         ["material paint: all pictures use coordinates number 1"])

    def test_pictures_are_scaled_turned_and_moved_as_gltf_says(self):
        x, y, turn, wide, high = 0.3, -0.2, 0.5, 2, 3

        def change(scene):
            scene["extensionsUsed"] = ["KHR_texture_transform"]
            scene["images"] = [{"uri": uri(PIXEL, "image/png")}]
            scene["samplers"] = [{"wrapS": 33071, "wrapT": 33648}]
            scene["textures"] = [{"source": 0, "sampler": 0}]
            scene["materials"][0]["pbrMetallicRoughness"]["baseColorTexture"] = {
                "index": 0, "extensions": {"KHR_texture_transform": {
                    "offset": [x, y], "rotation": turn, "scale": [wide, high]}}}
        self.changed(change)
        self.imported()
        self.assertEqual(self.run_here("check", "square").stdout, "")
        text = self.text("shader/materials.mh")
        self.assertIn('wrap_u "clamp"', text)
        self.assertIn('wrap_v "mirror"', text)
        c, s = math.cos(turn), math.sin(turn)
        rows = [float(n) for n in re.search("uv_matrix (.*)", text).group(1).split()]
        for u, v in ((0, 0), (1, 0), (0, 1)):  # v runs down in the file, up in the scene
            seen = (rows[0] * u + rows[1] * (1 - v) + rows[2],
                    1 - (rows[3] * u + rows[4] * (1 - v) + rows[5]))
            wanted = (c * wide * u + s * high * v + x, -s * wide * u + c * high * v + y)
            for one, other in zip(seen, wanted):
                self.assertAlmostEqual(one, other, delta=1e-5)

    def test_uses_of_a_mesh_share_it_but_for_what_stretches(self):
        def change(scene):
            scene["nodes"] = [{"mesh": 0, "translation": [n, 0, 0]} for n in range(3)]
            scene["nodes"] += [{"mesh": 0, "scale": [-2, 2, 2]}, {"mesh": 0, "scale": [-2, 2, 2]}]
            scene["scenes"][0]["nodes"] = [0, 1, 2, 3, 4]
        self.changed(change)
        summary = self.imported()
        self.assertEqual((summary["meshes"], summary["instances"]), (2, 5))
        self.assertIn("applied to a copy", summary["approximated"][0])
        mirrored = self.bytes_of("square/geometry/square_2.mesh")
        self.assertEqual(struct.unpack("<3I", mirrored[-24:-12]), (0, 2, 1))
        self.assertEqual(self.run_here("check", "square").stdout, "")

    def test_colours_of_vertices_run_across_triangles(self):
        def change(scene):
            scene["meshes"][0]["primitives"][0]["attributes"]["COLOR_0"] = add_array(
                scene, "f", "VEC3", 1, 0, 0, 0, 1, 0, 1, 1, 1, 0, 0, 1)
            scene["materials"] = [{"extensions": {"KHR_materials_unlit": {}}}]
            scene["extensionsUsed"] = ["KHR_materials_unlit"]
            scene["cameras"] = [{"type": "perspective", "perspective": {
                "yfov": 1.5707963, "aspectRatio": 1, "znear": 0.1}}]
            scene["nodes"].append({"translation": [0.5, 0.5, 0.5], "camera": 0})
            scene["scenes"][0]["nodes"] = [0, 1]
        self.changed(change)
        self.run_here("square.gltf", "--resolution", "20x20", "--beauty", "b.pfm")
        pixels = struct.unpack("<1200f", self.bytes_of("b.pfm")[-4800:])
        for x, y, color in ((15, 3, (0.4, 0.775, 0.175)), (3, 15, (0.4, 0.175, 0.775))):
            at = 3 * (20 * y + x)  # rows from the bottom
            for seen, wanted in zip(pixels[at:at + 3], color):
                self.assertAlmostEqual(seen, wanted, delta=0.04)

    def test_bones_and_shapes_move_the_vertices(self):
        def change(scene):
            square = scene["meshes"][0]["primitives"][0]
            square["targets"] = [{"POSITION": add_array(scene, "f", "VEC3", *[0, 0, 2] * 4)}]
            scene["meshes"][0]["weights"] = [0.25]
            square["attributes"].update(
                JOINTS_0=add_array(scene, "H", "VEC4", *[0, 1, 0, 0] * 4),
                WEIGHTS_0=add_array(scene, "f", "VEC4", *[0.5, 0.5, 0, 0] * 4))
            identity = [float(i % 5 == 0) for i in range(16)]
            scene["skins"] = [{"joints": [1, 2], "inverseBindMatrices": add_array(
                scene, "f", "MAT4", *identity, *identity)}]
            scene["nodes"] = [{"mesh": 0, "skin": 0}, {"translation": [0, 0, 4], "children": [2]},
                              {"translation": [0, 2, 0]}]
            scene["scenes"][0]["nodes"] = [0, 1]
        self.changed(change)
        self.imported()
        corners = struct.unpack("<12f", self.bytes_of("square/geometry/square.mesh")[24:72])
        self.assertEqual(corners, (0, 1, 4.5, 1, 1, 4.5, 1, 2, 4.5, 0, 2, 4.5))

    def test_lights_and_cameras_keep_their_units(self):
        def change(scene):
            scene["extensionsUsed"] = ["KHR_lights_punctual"]
            scene["extensions"] = {"KHR_lights_punctual": {"lights": [
                {"type": "point", "intensity": 314.15927, "color": [1, 0.5, 0]},
                {"type": "directional", "intensity": 3.1415927},
                {"type": "spot", "intensity": 314.15927, "spot": {
                    "innerConeAngle": 0.5235988, "outerConeAngle": 0.7853982}}]}}
            scene["cameras"] = [{"type": "perspective", "perspective": {
                "yfov": 0.7853981, "aspectRatio": 2, "znear": 0.1}}]
            scene["nodes"] += [
                {"translation": [0, 2, 0], "name": "bulb",
                 "extensions": {"KHR_lights_punctual": {"light": 0}}},
                {"name": "sun", "extensions": {"KHR_lights_punctual": {"light": 1}}},
                {"name": "eye", "translation": [0, 0, 5], "camera": 0},
                {"name": "torch", "extensions": {"KHR_lights_punctual": {"light": 2}}}]
            scene["scenes"][0]["nodes"] = [0, 1, 2, 3, 4]
        self.changed(change)
        self.imported()
        lights, camera = self.text("light/lights.mh"), self.text("camera/cameras.mh")
        for line in ("position 0 0 2", "color 100 50 0", "direction 0 1 0", "color 1 1 1",
                     "color 100 100 100", "inner_angle 30", "outer_angle 45"):
            self.assertIn(line, lights)
        for line in ("resolution 960 480", "position 0 -5 0", "target 0 -4 0", "up_vector 0 0 1",
                     "field_of_view 79.27"):
            self.assertIn(line, camera)

    def test_frames_share_what_does_not_move(self):
        def change(scene):
            keys = struct.pack("<2f", 0, 1) + struct.pack("<6f", 0, 0, 0, 4, 0, 0)
            scene["buffers"].append({"byteLength": 32, "uri": uri(keys)})
            scene["bufferViews"] += [{"buffer": 1, "byteLength": 8},
                                     {"buffer": 1, "byteOffset": 8, "byteLength": 24}]
            scene["accessors"] += [
                {"bufferView": 3, "componentType": 5126, "count": 2, "type": "SCALAR",
                 "min": [0], "max": [1]},
                {"bufferView": 4, "componentType": 5126, "count": 2, "type": "VEC3"}]
            scene["animations"] = [{"samplers": [{"input": 3, "output": 4}], "channels": [
                {"sampler": 0, "target": {"node": 0, "path": "translation"}}]}]
        self.changed(change)
        self.imported("--frames", "1:3", "--fps", "4")
        self.assertEqual(sorted(os.listdir(self.path("square"))), ["frame_0001", "frame_0002"])
        self.assertIn("matrix 1 0 0 1 ", self.text("frame_0001/geometry/objects.mh"))
        self.assertIn("matrix 1 0 0 2 ", self.text("frame_0002/geometry/objects.mh"))
        for shared in ("geometry/square.mesh", "camera/cameras.mh"):
            one, other = (os.stat(self.path(f"square/frame_000{n}/{shared}")) for n in (1, 2))
            self.assertEqual(one.st_ino, other.st_ino)
        self.imported("--time", "0.25", "--force")
        self.assertIn("matrix 1 0 0 1 ", self.text("geometry/objects.mh"))

    def test_a_file_is_rendered_directly(self):
        self.write("square.gltf", SQUARE)
        self.run_here("square.gltf", "--resolution", "16x9", "--sample", 2)
        self.assertEqual(sorted(n for n in os.listdir(self.folder) if n.startswith("square")),
                         ["square.gltf", "square.hdr", "square.png"])


class Refusals(ImportTest):
    def test_a_directory_is_replaced_by_force_and_only_if_it_is_a_scene(self):
        self.write("square.gltf", SQUARE)
        self.imported()
        self.assertIn("--force", self.run_here("import", "square.gltf", status=2).stderr)
        self.imported("--force")
        self.write("square/letter", {})
        self.assertIn("more than a scene",
                      self.run_here("import", "square.gltf", "--force", status=2).stderr)

    def test_damaged_files_take_one_line(self):
        def buffer(**values):
            return lambda scene: scene["buffers"][0].update(values)
        bomb = struct.pack(">4s4sI4sIIBBBBBI", b"\x89PNG", b"\r\n\x1a\n", 13, b"IHDR", 1 << 20,
                           1 << 20, 8, 6, 0, 0, 0, 0)

        def bombed(scene):
            scene["images"] = [{"uri": uri(bomb, "image/png")}]
            scene["textures"] = [{"source": 0}]
            scene["materials"][0]["pbrMetallicRoughness"]["baseColorTexture"] = {"index": 0}

        def picture(name):
            def change(scene):
                bombed(scene)
                scene["images"] = [{"uri": name}]
            return change
        changes = [
            (buffer(uri="../../etc/passwd"), "outside"), (buffer(uri="/etc/passwd"), "outside"),
            (buffer(uri="missing.bin"), "is not read"),
            (buffer(uri="http://localhost/a.bin"), "outside"),
            (buffer(byteLength=2 ** 31), "is not read"),
            (lambda scene: scene["accessors"][2].update(count=2 ** 31), "is not read"),
            (lambda scene: scene["nodes"][0].update(children=[0]), ""),
            (picture("../../etc/passwd"), "outside"), (bombed, "more than 2^28 pixels")]
        for number, (change, words) in enumerate(changes):
            with self.subTest(number):
                self.changed(change)
                self.refused("square.gltf", words)
        self.write_bytes("noise.glb", b"glTF" + bytes(range(256)))
        self.refused("noise.glb", name="noise.glb")
        self.refused("cannot be opened", name="nothing.glb")


if __name__ == "__main__":
    unittest.main()
