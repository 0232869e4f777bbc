"""Faults that "moonhare check" finds, and its silence on sound scenes.
SPDX-License-Identifier: MIT"""
import json
import os
import tempfile
import unittest

from program import (CAMERA, EXAMPLES, LIGHT, MESH, OBJECT, RENDER, SHADER, SOUND, ProgramTest, run,
                     write_scene)

C, G, L, R, S = ("camera/camera.mh", "geometry/objects.mh", "light/light.mh", "render/render.mh",
                 "shader/shader.mh")
GATHER = RENDER.replace("distance 0", "distance 1")
EMISSIVE = SHADER.replace("lambertian", "emissive")
OBJECT_ALONE = 'object\n    obj "floor.obj"\nend\n'
STILL = CAMERA[:-4] + CAMERA[CAMERA.index("    pose"):CAMERA.index("    aov")] + "end\n"
TWO = OBJECT + OBJECT.replace("name floor", "name roof")

# File, its text (None: the file is missing), line (0: the whole scene), part of the message,
# suggestion.
FAULTS = [
    # Words that nothing knows: of another case, of no key, and what a block closes.
    (C, CAMERA.replace("sample", "Sample"), 3, "unknown key", "sample"),
    (C, CAMERA.replace("camera", "Camera"), 1, "unknown block", "camera"),
    (C, CAMERA + "banana\n", 15, "unknown block", ""),
    (C, CAMERA + "end\n", 15, '"end" without a block', ""),
    (L, LIGHT + "point_ligth\n    color 1 1 1\n    photon 5\nend\n", 5, "unknown block",
     "point_light"),
    # Values.
    (C, CAMERA.replace("24 16", "24"), 2, "needs 2 whole numbers, 1 given", ""),
    (C, CAMERA.replace("24 16", "24 16 8"), 2, "the rest is not read", ""),
    (C, CAMERA.replace("24 16", "24 x16"), 2, '"x16" is none', ""),
    (C, CAMERA.replace("sample 6", "sample 6.5"), 3, '".5" behind it', ""),
    (C, CAMERA.replace("sample 6", "sample 99999999999"), 3, "out of range", ""),
    (C, CAMERA.replace("0 -4 1", "0,-4,1"), 5, '",-4,1" is none', ""),
    (C, CAMERA.replace("0 -4 1", "0 1e 1"), 5, '"1e" is none', ""),
    (C, CAMERA.replace("field_of_view 40", "field_of_view 40deg"), 8, '"deg" behind it', ""),
    (C, CAMERA.replace("    pose", "    pose 1"), 4, "takes no value", ""),
    (S, SHADER.replace('"clay"', "clay"), 2, "needs 1 text in double quotes", ""),
    (S, SHADER.replace('"clay"', '"clay'), 2, "no closing quote", ""),
    (S, SHADER.replace('"clay"', '"clay" "mud"'), 2, "the rest is not read", ""),
    (G, OBJECT.replace("name floor", "name"), 2, "needs 1 name", ""),
    (G, OBJECT.replace("name floor", "name the floor"), 2, "the rest is not read", ""),
    (G, OBJECT.replace("end", "    instance\n        matrix 1 0 0 0 0 1\n        object floor\n"
                       "    end\nend"), 6, "needs 16 numbers, 6 given", ""),
    (C, CAMERA.replace("    sample", '    projection "pinhol"\n    sample'), 3,
     'knows no "pinhol"', "pinhole"),
    (S, SHADER.replace("        lambertian", '        sideness "front"\n        lambertian'), 4,
     'knows no "front"', ""),
    (C, CAMERA.replace("lambertian_color", "lambertian_colr"), 12, "is no channel",
     "lambertian_color"),
    # Lines and blocks.
    (C, CAMERA.replace("    sample", "#" * 5000 + "\n    sample"), 3, "more than 4095", ""),
    (C, CAMERA[:-4], 1, 'block "camera" has no "end"', ""),
    (C, CAMERA.replace("    aov", "    pose\n    end\n    pose\n    end\n    aov"), 12, "a third", ""),
    (L, "sky_light\n    color 1 1 1\npoint_light\n    photon 9\nend\n", 1,
     'block "sky_light" has no "end"', ""),
    (G, "object\n    name a\nobject\n    obj \"floor.obj\"\nend\n", 1, 'has no "end"', ""),
    (G, OBJECT.replace("end\n", "") + SHADER.replace("clay", "mud"), 1, 'has no "end"', ""),
    # Names.
    (G, OBJECT.replace("clay", "clai"), 3, "no shader is named", "clay"),
    (G, OBJECT + "object\n    instance\n        object flor\n    end\nend\n", 8,
     "no object is named", "floor"),
    (L, LIGHT.replace("end", '    link\n        shader "clya"\n    end\nend'), 5,
     "no shader is named", "clay"),
    ("geometry/floor.obj", "usemtl clai\n" + MESH, 1, "no shader is named", "clay"),
    (S, SHADER + SHADER, 9 + 1, "defined twice", ""),
    (G, OBJECT + OBJECT, 7, "defined twice", ""),
    # Files.
    (G, OBJECT.replace("floor.obj", "flor.obj"), 4, "is not found; looked for in", ""),
    (G, OBJECT.replace("obj \"floor.obj\"", "hair \"floor.obj\""), 4, "floor.obj", ""),
    ("geometry/floor.obj", "v 0 0 0\nf 1 2 9\n", 0, "", ""),
    (S, SHADER.replace("            color", '            image "no.png"\n            color'), 5,
     "is not found; looked for in", ""),
    (S, SHADER.replace("            color", '            image "camera/camera.mh"\n'
                       "            color"), 5, "camera.mh", ""),
    (L, LIGHT.replace("color", 'image "no.hdr"\n    color'), 2, "is not found", ""),
    # Outputs.
    (C, CAMERA.replace("albedo.exr", "albedo.xyz"), 11, "no extension", ""),
    (C, CAMERA.replace("albedo.exr", "albedo"), 11, "no extension", ""),
    (C, CAMERA.replace("albedo.exr", "beauty.hdr"), 11, "another output", ""),
    (C, CAMERA.replace('        image "albedo.exr"\n', ""), 10, 'without "image"', ""),
    # The scene as a whole.
    (C, CAMERA, 1, "one pose", ""),
    (C, None, 0, "no camera", ""),
    (C, CAMERA.replace("24 16", "2000000 2000000"), 0, "GB of memory", ""),
    (G, None, 0, "no object", ""),
    (L, LIGHT.replace("0.5 0.5 0.5", "0 0 0"), 0, "no light", ""),
    (S, EMISSIVE + "geometry_light\n    sample 8\nend\n", 3, "virtual_light", ""),
    (R, GATHER + "point_light\n    color 1 1 1\nend\n", 6, "sends no photons", ""),
    (G, TWO, 1, "miss the face of the same number", ""),
    (R, GATHER + TWO.replace("floor\n", "first\n"), 6, "hold no photons", ""),
]


def faults_of(scene):
    result = run("check", scene, "--json")
    faults = json.loads(result.stdout)["faults"]
    return result.returncode, faults


class Check(ProgramTest):
    def test_every_fault_is_found_on_its_line(self):
        for file, text, line, message, suggestion in FAULTS:
            with self.subTest(file=file, message=message, text=text):
                scene = tempfile.mkdtemp(dir=self.folder)
                files = {**SOUND, file: text}
                write_scene(scene, {name: t for name, t in files.items() if t is not None})
                status, faults = faults_of(scene)
                self.assertEqual(status, 1)
                found = [f for f in faults if message in f["message"] and f["line"] == line
                         and f["suggestion"] == suggestion
                         and (line == 0 or f["file"].endswith(file))]
                if message:
                    self.assertTrue(found, faults)

    def test_every_misspelt_word_is_told_once_with_its_right_form(self):
        for file, text in SOUND.items():
            lines = text.splitlines()
            for i, line in enumerate(lines):
                word = line.split()[0]
                if word == "end" or not file.endswith(".mh"):
                    continue
                slip = lines[:i] + [line.replace(word, word[:-2] + word[:-3:-1], 1)] + lines[i + 1:]
                with self.subTest(slip=slip):
                    scene = tempfile.mkdtemp(dir=self.folder)
                    write_scene(scene, {**SOUND, file: "\n".join(slip)})
                    _, faults = faults_of(scene)
                    told = [(f["line"], f["suggestion"]) for f in faults
                            if "one pose" not in f["message"]]
                    self.assertEqual(told, [(i + 1, word)], faults)

    def test_all_faults_of_a_scene_come_at_once_with_line_and_caret(self):
        write_scene(self.scene, {C: CAMERA.replace("target", "targte").replace("sample 6", "sample x"),
                                 G: OBJECT.replace("clay", "clai")})
        text = self.run_here("check", "scene", status=1).stdout
        self.assertIn("scene/camera/camera.mh:3:12: ", text)
        self.assertIn("        sample x\n" + " " * 15 + "^\n", text)
        self.assertIn("            targte 0 0 0.5\n            ^\n", text)
        self.assertIn('did you mean "clay"?', text)
        self.assertEqual(text.count("^"), 4)  # the single pose's too

    def test_examples_and_sound_scenes_are_silent(self):
        write_scene(self.scene, {C: STILL})
        scenes = [self.scene] + [os.path.join(EXAMPLES, name) for name in sorted(os.listdir(EXAMPLES))
                                 if os.path.isdir(os.path.join(EXAMPLES, name, "camera"))]
        self.assertGreater(len(scenes), 4)
        for scene in scenes:
            with self.subTest(scene=scene):
                result = run("check", scene)
                self.assertEqual((result.returncode, result.stdout), (0, ""))
                report = self.run_here(scene, "--resolution", "8x8", "--sample", "1").stdout
                self.assertNotIn("error :(", report)

    def test_a_scene_of_one_file_that_opens_with_its_mesh_is_silent(self):
        write_scene(self.folder, {"one/geometry/all.mh": OBJECT + STILL + SHADER + LIGHT + RENDER,
                                  "one/geometry/floor.obj": MESH})
        self.assertEqual(self.run_here("check", "one").stdout, "")

    def test_a_mesh_and_a_camera_are_a_scene(self):
        scene = write_scene(self.path("least"), {G: OBJECT_ALONE + "camera\nend\n",
                                                 "geometry/floor.obj": MESH})
        self.assertEqual(self.run_here("check", scene).stdout, "")
        self.run_here(scene, "--resolution", "20x10", "--sample", "2", "--beauty", "b.pfm")
        pixels = self.bytes_of("b.pfm")[-20 * 10 * 12:]
        self.assertGreater(len({pixels[i:i + 12] for i in range(0, len(pixels), 12)}), 1)

    def test_looking_at_a_scene_writes_nothing(self):
        write_scene(self.scene, {C: STILL})
        for command in ("check", "info"):
            self.run_here(command, "scene")
        self.assertEqual(os.listdir(self.folder), ["scene"])

    def test_what_is_no_directory_is_wrong_use(self):
        for command in ("check", "info", "render"):
            self.run_here(command, "nowhere", status=2)

    def test_info_tells_what_a_scene_holds(self):
        text = self.run_here("info", "scene").stdout
        for line in ("object floor: 1 parts", "4 vertices, 1 tetragons", "material clay: 1 layers",
                     "camera 0: 24x16, 6 frames", "output albedo.exr", "mode: path",
                     "total: 1 objects, 1 primitives"):
            self.assertIn(line, text)


if __name__ == "__main__":
    unittest.main()
