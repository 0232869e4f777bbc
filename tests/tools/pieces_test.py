"""Pictures from pieces: partial files and their merge, by the program.
SPDX-License-Identifier: MIT"""
import os
import shutil
import signal
import subprocess
import unittest

from program import EXAMPLES, PROGRAM, ProgramTest, write_scene
from seed_test import MIRROR

FRAMES = ("0:2", "2:3", "3:9")
LEFT, RIGHT = ("--region", "0,0,11,16"), ("--region", "11,0,24,16")


class Pieces(ProgramTest):
    def setUp(self):
        super().setUp()
        write_scene(self.scene, MIRROR)
        camera = MIRROR["camera/camera.mh"].rsplit("end", 1)[0]
        for kind in ("noise", "feature_albedo", "feature_depth"):
            camera += f'    aov\n        image "{kind}.pfm"\n        type "{kind}"\n    end\n'
        write_scene(self.scene, {"camera/camera.mh": camera + "end\n"})
        self.settings = ("--resolution", "24x16", "--sample", "9", "--seed", "7")

    def render(self, *options, scene="scene", status=0):
        return self.run_here(scene, *self.settings, "--progress", "none", *options, status=status)

    def pictures(self, folder):
        return {name: self.bytes_of(folder + "/" + name) for name in os.listdir(self.path(folder))}

    def pieces(self, *splits, scene="scene"):
        for i, split in enumerate(splits):
            self.render("--partial", f"{i}.part", *split, scene=scene)
        return [f"{i}.part" for i in range(len(splits))]

    def merged(self, *arguments, status=0):
        return self.run_here("merge", *arguments, "--output-dir", "merged", status=status)

    def test_merged_pieces_are_denoised_as_one_run(self):
        light = MIRROR["light/light.mh"].replace(
            "point_light\n", 'point_light\n    aov\n        image "key.pfm"\n    end\n', 1)
        write_scene(self.scene, {**MIRROR, "light/light.mh": light})  # without images of features
        self.merged(*self.pieces(LEFT, RIGHT))
        refused = self.merged("0.part", "1.part", "--denoise", status=2).stderr
        self.assertIn("render them with --denoise", refused)
        self.settings = (*self.settings, "--denoise")
        self.render("--output-dir", "one", "--exr-layers", "one.exr")
        for split in ([LEFT, RIGHT], [("--frames", "0:4"), ("--frames", "4:9")]):
            self.merged("--denoise", "--exr-layers", "merged.exr", *self.pieces(*split))
            self.assertEqual(self.bytes_of("merged.exr"), self.bytes_of("one.exr"))
            self.assertEqual(self.pictures("merged"), self.pictures("one"), split)
            self.assertIn("key_denoised.pfm", self.pictures("merged"))

    def test_pieces_give_the_bytes_of_one_run_however_it_was_split(self):
        by_frames = [("--frames", frames) for frames in FRAMES]
        splits = (by_frames, [("--frames", f) for f in ("0:8", "8:9")],
                  [("--frames", str(i) + ":" + str(i + 1)) for i in range(9)],
                  [LEFT, RIGHT], [("--region", "0,0,24,5"), ("--region", "0,5,24,16")],
                  [(*LEFT, "--frames", "0:4"), (*LEFT, "--frames", "4:9"), RIGHT])
        scenes = (("scene", ("--mode", "gather")),
                  (EXAMPLES + "/cornell", ("--mode", "path", "--gather", "9")))
        for i, (scene, mode) in enumerate(scenes):
            for estimator in ("classic", "exact"):
                self.settings = (*self.settings[:6], *mode, "--estimator", estimator, "--exr",
                                 "float", "--threads", "1")
                self.render("--output-dir", "one", scene=scene)
                self.settings = (*self.settings[:-1], "3")
                for split in splits if i == 0 else (by_frames, [LEFT, RIGHT]):
                    self.merged(*reversed(self.pieces(*split, scene=scene)))
                    self.assertEqual(self.pictures("merged"), self.pictures("one"),
                                     (scene, estimator, split))
                shutil.rmtree(self.path("one"))
                shutil.rmtree(self.path("merged"))

    def test_a_whole_piece_is_kept_and_another_one_replaced(self):
        self.pieces(("--frames", "0:2"))
        before = os.stat(self.path("0.part")).st_mtime_ns
        self.assertIn("already", self.render("--frames", "0:2", "--partial", "0.part").stderr)
        self.assertEqual(os.stat(self.path("0.part")).st_mtime_ns, before)
        content = self.bytes_of("0.part")
        for damaged in (b"", content[:-1], content[:200] + b"?" + content[201:], content + b"?"):
            self.write_bytes("0.part", damaged)
            self.render("--frames", "0:2", "--partial", "0.part")
            self.assertEqual(self.bytes_of("0.part"), content)
        self.write_bytes("0.part", b"a picture")
        self.assertIn("another kind",
                      self.render("--frames", "0:2", "--partial", "0.part", status=2).stderr)
        self.assertEqual(self.bytes_of("0.part"), b"a picture")

    def test_an_end_in_the_middle_leaves_no_piece(self):
        for number, status in ((signal.SIGTERM, 130), (signal.SIGKILL, -9)):
            with subprocess.Popen([PROGRAM, "scene", *self.settings[:2], "--sample", "65535",
                                   "--seed", "7", "--partial", "long.part", "--progress", "json"],
                                  cwd=self.folder, stdout=subprocess.DEVNULL,
                                  stderr=subprocess.PIPE, text=True) as process:
                while '"frame"' not in process.stderr.readline():
                    pass
                process.send_signal(number)
                process.stderr.read()
            self.assertEqual(process.returncode, status)
            self.assertFalse(os.path.exists(self.path("long.part")))
        self.render("--partial", "long.part", "--time-limit", "0", status=130)
        self.assertFalse(os.path.exists(self.path("long.part")))

    def test_what_does_not_fit_together_is_refused_with_a_line(self):
        a, b, c = self.pieces(*(("--frames", frames) for frames in FRAMES))
        content = self.bytes_of(b)

        def refuse(line, *files):
            result = self.merged(*files, status=2)
            self.assertRegex(result.stderr, r"^moonhare: [^\n]*" + line + r"[^\n]*\n$")
            self.assertFalse(os.path.exists(self.path("merged")))

        refuse("no piece holds frames 2 to 2 of", a, c)
        refuse("overlap: frames 0 to 1", a, b, c, a)
        refuse("cannot be read", a, "none")
        refuse("not a partial file", a, "scene/camera/camera.mh")
        for place in (0, 30, 100, 700, len(content) - 9):
            self.write_bytes("bad", content[:place] + bytes([content[place] ^ 1])
                             + content[place + 1:])
            refuse("damaged|not a partial file", a, "bad", c)
            self.write_bytes("bad", content[:place])
            refuse("damaged|not a partial file", a, "bad", c)
        for option, value, line in (("--seed", "8", "other settings: .*seed 8"),
                                    ("--sample", "10", "picture of 10 frames")):
            before, place = self.settings, self.settings.index(option) + 1
            self.settings = (*before[:place], value, *before[place + 1:])
            self.render("--partial", "other", "--frames", "2:3")
            self.settings = before
            refuse(line, a, "other", c)
        with open(self.path("scene/light/light.mh"), "a") as light:
            light.write("point_light\n    position 0 0 2\nend\n")
        self.render("--partial", "other", "--frames", "2:3")
        refuse("another scene", a, "other", c)
        self.assertIn("goes beyond",
                      self.render("--frames", "8:10", "--partial", "x", status=2).stderr)
        self.assertIn("--partial", self.render("--frames", "8:9", status=2).stderr)

    def test_means_are_of_the_frames_that_are_there_where_gaps_are_allowed(self):
        self.settings = (*self.settings, "--beauty", "b.pfm")
        left, right, short = self.pieces(LEFT, RIGHT, (*RIGHT, "--frames", "0:5"))

        def columns(*arguments):
            result = self.merged(*arguments)
            values = memoryview(self.pictures("merged")["b.pfm"][-24 * 16 * 12:]).cast("f")
            return result.stderr, [[values[72 * y + i] for y in range(16)
                                    for i in range(first, end)]
                                   for first, end in ((0, 33), (33, 72))]

        _, whole = columns(left, right)
        self.assertIn("columns 11 to 23",
                      self.merged(left, "--region", "0,0,24,16", status=2).stderr)
        line, gap = columns(left, short, "--allow-gaps")
        self.assertIn("frames 5 to 8 of columns 11 to 23 and rows 0 to 15", line)
        self.assertEqual(gap[0], whole[0])
        self.assertNotEqual(gap[1], whole[1])
        self.assertAlmostEqual(sum(gap[1]) / sum(whole[1]), 1, delta=0.2)

    def test_a_script_for_a_batch_system_renders_and_merges(self):
        self.render("--output-dir", "one")
        script = self.run_here("farm", "slurm", "scene", "--tasks", 4, "--output-dir", "it's done",
                               *self.settings).stdout
        with open(self.path("sbatch"), "w") as sbatch:
            sbatch.write('#!/bin/bash\nprintf %s "${@: -1}" > merge\n')
        os.chmod(self.path("sbatch"), 0o755)
        for task in (3, 0, 2, 1, 2):
            subprocess.run(["bash", "-c", script], cwd=self.folder, check=True, capture_output=True,
                           env=dict(os.environ, SLURM_ARRAY_JOB_ID="7",
                                    SLURM_ARRAY_TASK_ID=str(task),
                                    PATH=self.folder + ":" + os.environ["PATH"]))
        subprocess.run(["sh", "merge"], cwd=self.folder, check=True, capture_output=True)
        shutil.rmtree(self.path("it's done/pieces"))
        self.assertEqual(self.pictures("it's done"), self.pictures("one"))
        self.assertIn("lsf is not a batch system that moonhare knows; use slurm",
                      self.run_here("farm", "lsf", "scene", "--tasks", 4, status=2).stderr)

    def test_a_confined_scene_reads_nothing_outside_of_its_folder(self):
        write_scene(self.folder, {"out/mesh.obj": MIRROR["geometry/floor.obj"],
                                  "out/secret.ppm": "P3 1 1 255 9 9 9\n", "out/secret.exr": "v/1",
                                  "out/geometry/more.mh": "object\nend\n"})
        outside = self.path("out")
        image = 'surface_shader\n    emissive\n        image "{}"\n    end\nend\n'
        names = [outside + "/secret.ppm", "../out/secret.exr", "leading.ppm", "in.ppm"]
        parts = [outside + "/mesh.obj", "../../out/mesh.obj", "../out/mesh.obj", "leading.obj",
                 "out/mesh.obj"]
        shader = "shader\n    name \"s\"\n" + "".join(map(image.format, names)) + "end\n"
        objects = "".join(f'object\n    obj "{name}"\nend\n' for name in parts)
        write_scene(self.scene, {"shader/secrets.mh": shader, "geometry/secrets.mh": objects,
                                 "image/kept.ppm": "P3 1 1 255 9 9 9\n"})
        os.symlink("kept.ppm", self.path("scene/image/in.ppm"))
        os.symlink(outside + "/secret.ppm", self.path("scene/image/leading.ppm"))
        os.symlink("../../out/mesh.obj", self.path("scene/geometry/leading.obj"))
        os.symlink("../../out/geometry/more.mh", self.path("scene/geometry/more.mh"))
        lines = self.render("--confine").stderr.splitlines()
        refused = [line for line in lines if "outside of the scene's folder" in line]
        for name in (*names[:3], *parts, "more.mh"):
            self.assertTrue(any(name.lstrip("./") in line for line in refused), (name, lines))
        self.assertFalse(any("in.ppm" in line for line in refused), refused)
        for command in ("check", "info"):
            status = 1 if command == "check" else 0
            self.assertIn("outside",
                          self.run_here(command, "scene", "--confine", status=status).stderr)
        self.assertNotIn("outside", self.render().stderr)

    def test_photons_from_a_file_give_the_picture_of_those_that_are_cast(self):
        self.settings += ("--mode", "gather")
        self.render("--output-dir", "one")
        self.render("--photons", "photons")
        output = self.render("--use-photons", "photons", "--output-dir", "read").stdout
        self.assertNotIn("photon cast", output)
        self.assertEqual(self.pictures("read"), self.pictures("one"))
        self.render("--frames", "0:4", "--partial", "cast")
        self.render("--frames", "4:9", "--partial", "read.part", "--use-photons", "photons")
        self.merged("cast", "read.part")
        self.assertEqual(self.pictures("merged"), self.pictures("one"))
        content = self.bytes_of("photons")
        self.assertIn("already", self.render("--photons", "photons").stderr)
        for place in (0, 25, 60, len(content) // 2, len(content) - 3):
            for damaged in (content[:place], content[:place] + bytes([content[place] ^ 4])
                            + content[place + 1:]):
                self.write_bytes("bad", damaged)
                self.assertRegex(self.render("--use-photons", "bad", status=2).stderr,
                                 "is damaged|not a photon file")
        self.settings = (*self.settings[:4], "--seed", "8", *self.settings[6:])
        self.assertIn("other settings", self.render("--use-photons", "photons", status=2).stderr)

    def test_a_seed_is_picked_where_none_is_given(self):
        self.settings = ("--resolution", "8x8", "--sample", "2")
        self.assertRegex(self.render("--partial", "p").stderr, "no seed is given, .* must share it")


if __name__ == "__main__":
    unittest.main()
