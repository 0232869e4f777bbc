"""Faults that "moonhare check" finds, and its silence on sound scenes.
SPDX-License-Identifier: MIT"""
import json
import os
import shutil
import struct
import tempfile
import unittest
import zlib

from program import (CAMERA, EXAMPLES, LIGHT, MESH, OBJECT, RENDER, SHADER, SOUND, ProgramTest, run,
                     write_scene)

C, G, S = "camera/camera.mh", "geometry/objects.mh", "shader/shader.mh"
OBJECT_ALONE = 'object\n    obj "floor.obj"\nend\n'
STILL = CAMERA[:-4] + CAMERA[CAMERA.index("    pose"):CAMERA.index("    aov")] + "end\n"


def listed_faults():
    """Of faults.txt: blocks of a head "FILE:LINE | part of the message | suggestion", line 0 for
    the whole scene, and the lines that go from the sound file and come into it. Yields file, text,
    line, message and suggestion."""
    with open(os.path.join(os.path.dirname(__file__), "faults.txt")) as file:
        blocks = "".join(line for line in file if line[0] != "#").split("\n\n")
    for block in blocks:
        head, *change = block.strip("\n").split("\n")
        place, message, suggestion = (part.strip() for part in head.split("|"))
        name, line = place.split(":")
        old, new = ("".join(c[1:] + "\n" for c in change if c[0] == sign) for sign in "-+")
        before, _, after = SOUND[name].rpartition(old) if old else (SOUND[name], "", "")
        yield name, before + new + after, int(line), message, suggestion


def changed_line(before, after):
    pairs = zip(before.split("\n"), after.split("\n"))
    return next((i + 1 for i, (old, new) in enumerate(pairs) if old != new), before.count("\n") + 1)


def listed_slips():
    """Of slips.txt: the changed files, severity, file, line and part of the message."""
    with open(os.path.join(os.path.dirname(__file__), "slips.txt")) as file:
        rows = [line.rstrip("\n") for line in file if line.strip() and line[0] != "#"]
    plain = {name: "\n".join(map(str.strip, text.split("\n"))) for name, text in SOUND.items()}
    for row in rows:
        edits, severity, message = (part.strip() for part in row.split(" | "))
        files = dict(plain)
        for number, edit in enumerate(edits.split(" ;; ")):
            name, change = edit.split(": ", 1)
            old, new = (part.strip().replace(" / ", "\n") for part in f" {change} ".split("=> "))
            text = files.get(name, "")
            before, _, after = text.rpartition(old) if old else (text, "", "\n")
            files[name] = before + new + after
            if number == 0:
                place = name, changed_line(text, files[name])
        severity, _, at = severity.partition("@")
        if at:
            file, _, line = at.rpartition(":")
            place = file or place[0], int(line)
        yield row, files, severity, *place, message


def png(kind, bits, palette=b""):
    """One pixel."""
    def chunk(name, data):
        return struct.pack(">I", len(data)) + name + data + struct.pack(">I",
                                                                        zlib.crc32(name + data))
    row = bytes(1 + bits // 8 * (3 if kind == 2 else 1))
    return (b"\x89PNG\r\n\x1a\n"
            + chunk(b"IHDR", struct.pack(">IIBBBBB", 1, 1, bits, kind, 0, 0, 0))
            + (chunk(b"PLTE", palette) if palette else b"") + chunk(b"IDAT", zlib.compress(row))
            + chunk(b"IEND", b""))


HDR = b"#?RADIANCE\nFORMAT=32-bit_rle_rgbe\n\n-Y 1 +X 1\n\x80\x80\x80\x81"
STRAND = b"segment 1\nposition 0 0 0\nposition 0 0 1\n"
BINARY = {"image/grey.png": png(2, 8), "image/palette.png": png(3, 8, b"\1\2\3"),
          "image/wide.png": png(2, 16), "image/grey.hdr": HDR, "image/sky.hdr": HDR,
          "image/points.pfm": b"PF\n1 1\n-1\n" + bytes(12), "geometry/packed.obj": b"\x1f\x8b\x08",
          "geometry/carriage.obj": MESH.replace("\n", "\r").encode(),
          "geometry/two.fur": 4 * STRAND, "geometry/spare.fur": STRAND + b"position 0 0 2\n",
          "geometry/tiny.fur": STRAND.replace(b"0 0 1", b"0 0 0.001")}

FAULTS = list(listed_faults()) + [
    (C, CAMERA.replace("    sample", "#" * 5000 + "\n    sample"), 3, "more than 4095", ""),
    (C, None, 0, "no camera", ""), (G, None, 0, "no object", "")]


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
                self.assertEqual(status, int(any(f["severity"] == "fault" for f in faults)))
                found = [f for f in faults if message in f["message"] and f["line"] == line
                         and f["suggestion"] == suggestion
                         and (line == 0 or f["file"].endswith(file))]
                if message:
                    self.assertTrue(found, faults)

    def test_words_that_are_no_text_leave_the_json_whole(self):
        self.write_bytes("scene/camera/camera.mh",
                         b"camera\n    \xff\xc3\xa9\xed\xa0\x80\x01\"\nend\n")
        self.assertIn("\ufffd\u00e9\ufffd", faults_of(self.scene)[1][0]["message"])

    def test_every_slip_is_found_with_its_severity(self):
        for name, content in BINARY.items():
            os.makedirs(os.path.dirname(self.path("scene/" + name)), exist_ok=True)
            self.write_bytes("scene/" + name, content)
        for row, files, severity, file, line, message in listed_slips():
            with self.subTest(slip=row):
                scene = shutil.copytree(self.scene, tempfile.mkdtemp(dir=self.folder) + "/scene")
                write_scene(scene, files)
                status, faults = faults_of(scene)
                self.assertTrue([f for f in faults if f["severity"] == severity
                                 and message in f["message"] and f["line"] == line
                                 and (line == 0 or f["file"].endswith(file))], faults)
                self.assertEqual(status, int(any(f["severity"] == "fault" for f in faults)))

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
                    told = [(f["line"], f["suggestion"]) for f in faults]
                    self.assertEqual(told, [(i + 1, word)], faults)

    def test_all_faults_of_a_scene_come_at_once_with_line_and_caret(self):
        write_scene(self.scene,
                    {C: CAMERA.replace("target", "targte").replace("sample 6", "sample x"),
                     G: OBJECT.replace("clay", "clai")})
        text = self.run_here("check", "scene", status=1).stdout
        self.assertIn("scene/camera/camera.mh:3:12: ", text)
        self.assertIn("        sample x\n" + " " * 15 + "^\n", text)
        self.assertIn("            targte 0 0 0.5\n            ^\n", text)
        self.assertIn('did you mean "clay"?', text)
        self.assertEqual(text.count("^"), 3)

    def test_examples_and_sound_scenes_are_silent(self):
        write_scene(self.scene, {C: STILL})
        scenes = [self.scene] + [os.path.join(EXAMPLES, name)
                                 for name in sorted(os.listdir(EXAMPLES))
                                 if os.path.isdir(os.path.join(EXAMPLES, name, "camera"))]
        self.assertGreater(len(scenes), 4)
        for scene in scenes:
            with self.subTest(scene=scene):
                status, faults = faults_of(scene)
                self.assertEqual((status, [f for f in faults if f["severity"] != "note"]), (0, []))
                result = self.run_here(scene, "--strict", "--resolution", "8x8", "--sample", "1",
                                       "--mode", "path", "--progress", "none")
                self.assertNotIn("error :(", result.stdout)
                self.assertEqual(result.stderr, "")

    def test_a_render_counts_faults_and_strict_refuses_them(self):
        write_scene(self.scene, {C: CAMERA.replace("sample 6", "sample 0\n    smaple 3"),
                                 S: SHADER.replace("0.6", "1.6"), G: OBJECT.replace("clay", "mud")})
        line = "moonhare: 2 faults, 2 warnings; moonhare check scene lists them\n"
        report = self.run_here("scene", "--progress", "none")
        self.assertEqual(report.stderr, line)
        self.assertIn("beauty.hdr", os.listdir(self.folder))
        os.remove(self.path("beauty.hdr"))
        refused = self.run_here("scene", "--progress", "none", "--strict", status=1)
        self.assertTrue(refused.stderr.startswith(line), refused.stderr)
        self.assertNotIn("beauty.hdr", os.listdir(self.folder))
        write_scene(self.scene, {C: CAMERA, G: OBJECT})
        self.run_here("check", "scene")
        self.run_here("check", "scene", "--strict", status=1)

    def test_a_mesh_and_a_camera_are_a_scene(self):
        self.assertEqual(self.run_here("check", write_scene(self.path("one"), {
            "geometry/all.mh": OBJECT + STILL + SHADER + LIGHT + RENDER,
            "geometry/floor.obj": MESH})).stdout, "")
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

    def test_arguments_that_nothing_takes_are_named_with_what_is_meant(self):
        for arguments, message in (
                (("scene", "--smaple", "3"), 'no use for "--smaple"; did you mean "--sample"?'),
                (("check", "scene", "--stirct"), 'no use for "--stirct"; did you mean "--strict"?'),
                (("chekc", "scene"), '"chekc" is not a command; did you mean "check"?'),
                (("scene", "--sample", "1.5"), "1.5 is not a whole number")):
            self.assertIn(message, self.run_here(*arguments, status=2).stderr)

    def test_info_tells_what_a_scene_holds(self):
        text = self.run_here("info", "scene").stdout
        for line in ("object floor: 1 part", "4 vertices, 1 tetragon,", "material clay: 1 layer",
                     "camera 0: 24x16, 6 frames", "output albedo.exr", "mode: path",
                     "seed: none", "total: 1 object, 1 primitive,"):
            self.assertIn(line, text)
        write_scene(self.scene,
                    {"render/render.mh": RENDER.replace("render", "render\n    seed 7", 1),
                     C: CAMERA.replace("camera", "camera\n    region 1 2 9 8", 1)})
        text = self.run_here("info", "scene").stdout
        self.assertRegex(text, "camera 0: .*, region 1,2,9,8\n(.*\n)*seed: 7\n")
