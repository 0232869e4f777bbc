"""Rendering by the program: overrides, progress, checkpoints, exit statuses.
SPDX-License-Identifier: MIT"""
import glob
import json
import os
import pathlib
import pty
import re
import shutil
import subprocess
import time
import unittest

from program import (CAMERA, EXAMPLES, OBJECT, PROGRAM, SANITIZED, SHADER, ProgramTest,
                     write_scene)

# A light whose noise the frames share out evenly.
NOISY = {"light/light.mh": "sky_light\n    color 0.5 0.5 0.5\n    sample 1\n    photon 1000\nend\n"}


class RenderTest(ProgramTest):
    def render(self, *options, status=0):
        return self.run_here("scene", "--progress", "none", *options, status=status)

    def report(self, *options):
        self.render("--report", "r.json", *options)
        return json.loads(self.bytes_of("r.json"))

    def image(self, report, file="beauty.hdr"):
        return next(i for i in report["images"] if i["file"].endswith(file))


class Overrides(RenderTest):
    def test_sizes_frames_and_settings_reach_the_run(self):
        report = self.report("--resolution", "40x30", "--sample", "3", "--gather", "5", "--bounce",
                             "2", "--ray-depth", "4", "--threads", "1", "--checkpoint", "c")
        self.assertEqual((self.image(report)["width"], self.image(report)["height"]), (40, 30))
        self.assertEqual((report["frames"], report["machine"]["threads"]), (3, 1))
        self.assertIn(b"gather 5, bounce 2, ray depth 4, mode path", self.bytes_of("c"))

    def test_modes(self):
        self.assertIn("unidirectional path tracing", self.render("--mode", "path").stdout)
        self.assertIn("progressive final gathering", self.render("--mode", "gather").stdout)

    def test_a_scene_without_numbers_is_gathered_alike_in_any_unit(self):
        cells = set()
        for scale in "1", "1000":
            write_scene(self.scene, {"geometry/objects.mh": OBJECT.replace(
                "obj ", f"scale {scale}\n    obj "), "render/render.mh": ""})
            report = self.render().stdout
            cells.add(re.search(r"density estimator buffer +(\S+)", report)[1])
        self.assertEqual(len(cells), 1, cells)
        self.assertGreater(float(cells.pop()), 0.01)  # M bytes, of 24 a cell
        write_scene(self.scene, {"geometry/objects.mh": OBJECT.replace(
            "obj ", "scale 5e-4\n    obj ")})  # photons reach no face so small
        self.assertIn("unidirectional path tracing", self.render().stdout)

    def test_a_region_alone_is_rendered(self):
        whole = self.image(self.report("--mode", "path"), "albedo.exr")["mean"][0]
        self.assertGreater(whole, 0)
        for region in ("0,0,24,16", "0,0,900,900"):
            part = self.image(self.report("--region", region), "albedo.exr")["mean"][0]
            self.assertAlmostEqual(part, whole, delta=0.1 * whole)  # a random jitter at edges
        part = self.image(self.report("--region", "0,8,12,16"), "albedo.exr")["mean"][0]
        self.assertLess(part, 0.6 * whole)
        self.assertIn("picture of 24x16", self.render("--region", "24,0,40,4", status=1).stderr)

    def test_outputs_go_where_they_are_sent(self):
        self.render("--output-dir", "new/folder", "--beauty", "picture.png")
        self.assertEqual(sorted(os.listdir(self.path("new/folder"))), ["albedo.exr", "picture.png"])
        halves = len(self.bytes_of("new/folder/albedo.exr"))
        self.render("--output-dir", "new/folder", "--exr", "float")
        self.assertGreater(len(self.bytes_of("new/folder/albedo.exr")), halves)
        self.render("--output-dir", "www.icon.com", "--beauty", "picture.png")
        self.assertEqual(self.bytes_of("www.icon.com/picture.png")[1:4], b"PNG")
        self.assertFalse(os.path.exists(self.path("beauty.hdr")))

    def test_further_images_are_asked_for_without_touching_the_scene(self):
        self.render("--aov", "depth,noise", "--output-dir", "two")
        self.assertEqual(sorted(os.listdir(self.path("two"))),
                         ["albedo.exr", "beauty.hdr", "depth.exr", "noise.exr"])
        report = self.report("--aov", "all", "--output-dir", "all")
        self.assertEqual(len(os.listdir(self.path("all"))), 14)  # the scene has its own of one type
        self.assertGreater(self.image(report, "depth.exr")["mean"][0], 1)
        self.assertIn('"deep" is not a type', self.render("--aov", "depth,deep", status=2).stderr)

    def test_another_camera_renders_alone(self):
        second = CAMERA.replace("24 16", "8 8").replace("albedo", "second")
        write_scene(self.scene, {"camera/camera.mh": CAMERA + second})
        self.assertEqual(self.image(self.report("--camera", "1"))["width"], 8)
        self.assertEqual(sorted(os.listdir(self.folder)),
                         ["beauty.hdr", "r.json", "scene", "second.exr"])
        os.remove(self.path("second.exr"))
        self.render()  # the first, when none is named
        self.assertFalse(os.path.exists(self.path("second.exr")))
        self.assertIn("has 2 cameras, numbered from 0: there is no camera 2",
                      self.render("--camera", "2", status=1).stderr)


class Statuses(RenderTest):
    def test_wrong_use(self):
        for arguments in ([], ["scene", "--nothing"], ["nowhere"], ["scene", "--resolution", "12"],
                          ["scene", "--resolution", "-1x5"], ["scene", "--region", "1,2,3"],
                          ["scene", "--sample", "0"], ["scene", "--sample", "x"],
                          ["scene", "--mode", "fast"], ["scene", "--threads", "257"],
                          ["scene", "--progress", "loud"], ["scene", "scene"],
                          ["scene", "--time-limit", "nan"],
                          ["scene", "--write-every", "inf"], ["scene", "--region", "5,5,5,9"],
                          ["scene", "--resolution", "0x9"]):
            with self.subTest(arguments=arguments):
                self.assertIn(arguments[1] if len(arguments) == 3 else "",
                              self.run_here(*arguments, status=2).stderr.splitlines()[0])

    def test_a_picture_beyond_memory(self):
        self.assertRegex(self.render("--resolution", "46000x46000", status=1).stderr,
                         r"46000 x 46000 pixels need \d+\.\d GB of memory, and \d+\.\d GB are free")
        self.assertEqual(os.listdir(self.folder), ["scene"])

    def test_nothing_to_render(self):
        for missing, reason in (("geometry/floor.obj", "no object of the scene holds geometry"),
                                ("camera/camera.mh", "no camera")):
            os.remove(self.path("scene/" + missing))
            self.assertIn(reason, self.render(status=1).stderr)
            self.assertEqual(os.listdir(self.folder), ["scene"])

    def test_files_that_cannot_be_written_end_a_run_before_it_begins(self):
        self.assertEqual(self.render("--exr-layers", "b.hdr", status=3).stderr,
                         "moonhare: --exr-layers: b.hdr has to end in .exr\n")
        os.mkdir(self.path("folder"))
        for option, path, reason in (
                ("--beauty", "gone/b.hdr", "No such file"),
                ("--beauty", "b.xyz", "no known extension"),
                ("--report", "gone/r.json", "No such file"),
                ("--checkpoint", "folder", "not a regular file"),
                ("--log", "gone/log", "No such file"), ("--photons", "gone/p", "No such file"),
                ("--output-dir", "scene/light/light.mh", "Not a directory")):
            with self.subTest(option=option):
                result = self.render(option, path, status=3)
                self.assertRegex(result.stderr,
                                 rf"^moonhare: cannot (write|make) {path}: .*{reason}.*\n$")
                self.assertNotIn("avgerage", result.stdout)
                self.assertEqual(sorted(os.listdir(self.folder)), ["folder", "scene"])

    def test_pictures_that_a_scene_names_in_vain_do_not_keep_the_others(self):
        write_scene(self.scene,
                    {"camera/camera.mh": CAMERA.replace("albedo.exr", "gone/albedo.exr")})
        self.assertIn("cannot write gone/albedo.exr: No such file or directory; "
                      "the others are rendered", self.render(status=3).stderr)
        self.assertTrue(os.path.exists(self.path("beauty.hdr")))

    def test_the_report_goes_where_it_is_sent(self):
        self.assertEqual(self.render("--quiet").stdout, "")
        self.assertEqual(self.run_here("scene", "--quiet", "--log", "log").stderr, "")
        self.assertEqual(self.render("--log", "log").stdout, "")
        self.assertIn(b"avgerage of", self.bytes_of("log"))
        self.assertIn("cannot write /dev/full", self.render("--log", "/dev/full", status=3).stderr)

    def test_pages(self):
        self.assertRegex(self.run_here("--version").stdout,
                         r"moonhare \d.*\ncommit .+\ncompiler .+\ninstruction set (AVX2|portable)")
        help_text, manual = self.run_here("--help").stdout, self.run_here("man").stdout
        shells = {s: self.run_here("completion", "--shell", s).stdout
                  for s in ("bash", "zsh", "fish")}
        for option in re.findall(r"--[a-z-]+", help_text):
            if option not in ("--help", "--version"):
                self.assertIn("\n*" + option + "*", manual)
                for shell, script in shells.items():
                    self.assertIn("-l " + option[2:] if shell == "fish" else option, script)
        script = shells["bash"]
        script += "\nCOMP_WORDS=(moonhare --progress j); COMP_CWORD=2; _moonhare"
        script += "; echo ${COMPREPLY[@]}"
        completed = subprocess.run(["bash", "-c", script], capture_output=True, text=True)
        self.assertEqual(completed.stdout.strip(), "json")


@unittest.skipIf(SANITIZED, "sanitizers add memory of their own")
class Memory(RenderTest):
    def peak_bytes(self, *arguments):
        """Of the program alone, by what the kernel says while it runs."""
        process = subprocess.Popen([PROGRAM, *arguments], cwd=self.folder)
        peak = 0
        while process.poll() is None:
            with open(f"/proc/{process.pid}/status") as status:
                peak = max([peak] + [1024 * int(line.split()[1]) for line in status
                                     if line.startswith("VmHWM")])
            time.sleep(0.002)
        self.assertEqual(process.returncode, 0)
        return peak

    def test_estimates_lie_within_thirty_percent(self):
        fine = {"render/render.mh":  # 255 x 255 cells a face
                "render\n    final_gather\n        distance 1\n        resolution 2e-6\n    end\n"
                "end\n"}
        scenes = {"scene": write_scene(self.scene, {**fine, "geometry/floor.obj": "".join(
            f"v {x} {y} 0\n" for y in range(5) for x in range(5)) + "".join(
            f"f {5 * y + x + 1} {5 * y + x + 2} {5 * y + x + 7} {5 * y + x + 6}\n"
            for y in range(4) for x in range(4))})}
        for name in ("cornell", "displacement", "glass", "hair", "instances", "sky", "still_life"):
            scenes[name] = shutil.copytree(os.path.join(EXAMPLES, name), self.path(name))
            for file in glob.glob(scenes[name] + "/light/*.mh"):
                path = pathlib.Path(file)  # light samples and photons take time alone
                path.write_text(re.sub(r"(sample|photon) \d{2,}", r"\1 10", path.read_text()))
            for file in glob.glob(scenes[name] + "/camera/*.mh"):
                path = pathlib.Path(file)
                path.write_text(re.sub(r"resolution \d+ \d+", "resolution 400 300",
                                       path.read_text()))
        scenes["noisy"] = shutil.copytree(scenes["glass"], self.path("noisy"))
        write_scene(scenes["noisy"], {"render/noise.mh": "render\n    noise 1e-6\nend\n"})
        for name, scene in scenes.items():
            with self.subTest(scene=name):
                told = re.search(r"memory: about ([0-9.]+) MB", self.run_here("info", scene).stdout)
                peak = self.peak_bytes(scene, "--sample", "1", "--gather", "1", "--bounce", "1",
                                       "--quiet")
                self.assertLess(abs(float(told[1]) * 2 ** 20 / peak - 1), 0.3, (told[1], peak))


@unittest.skipUnless(os.environ.get("DISPLAY") and shutil.which("xdotool"),
                     "needs a display and xdotool")
class Preview(RenderTest):
    def setUp(self):
        super().setUp()
        self.server = subprocess.Popen(["Xvfb", "-displayfd", "1", "-screen", "0", "640x480x24"],
                                       stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        self.addCleanup(lambda: (self.server.kill(), self.server.communicate()))
        self.display = {**os.environ, "DISPLAY": ":" + self.server.stdout.readline().strip()}

    def ask(self, *command):
        return subprocess.run(["xdotool", *command], env=self.display, capture_output=True,
                              text=True, timeout=120).stdout.strip()

    def test_keys_of_the_window_change_the_exposure(self):
        process = subprocess.Popen([PROGRAM, "scene", "--sample", "65535", "--quiet", "--preview"],
                                   cwd=self.folder, env=self.display, stderr=subprocess.DEVNULL)
        self.addCleanup(lambda: (process.kill(), process.wait()))
        window = self.ask("search", "--sync", "--name", "moonhare").split()[-1]
        for keys, title in (("plus plus minus", "moonhare, exposure +0.5"),
                            ("0", "moonhare, exposure +0.0")):
            self.ask("key", "--window", window, *keys.split())
            for _ in range(1000):
                if self.ask("getwindowname", window) == title:
                    break
                time.sleep(0.05)
            self.assertEqual(self.ask("getwindowname", window), title)


class SceneText(RenderTest):
    def test_the_layout_shows_the_same_picture_and_is_laid_out(self):
        scene = shutil.copytree(os.path.join(EXAMPLES, "still_life"), self.path("still"))
        files = glob.glob(scene + "/*/*.mh")

        def words():
            return sorted(word for name in files for word in pathlib.Path(name).read_text().split())

        options = (scene, "--resolution", "16x12", "--sample", "1", "--seed", "1", "--mode", "path",
                   "--progress", "none", "--beauty")
        self.run_here(*options, "a.pfm")
        before = words()
        self.assertIn("light.mh", self.run_here("fmt", scene, "--check", status=1).stdout)
        self.run_here("fmt", scene)
        self.assertEqual(words(), before)  # comments included
        self.assertEqual(self.run_here("fmt", scene, "--check").stdout, "")
        self.run_here(*options, "b.pfm")
        self.assertEqual(self.bytes_of("a.pfm"), self.bytes_of("b.pfm"))

    def test_files_that_the_reader_would_not_take_whole_stay_as_they_are(self):
        for text, fault in (("camera\n  posse\n", '2: "camera" has no key "posse"'),
                            ("#\ncamera\n pose\n end\n", '2: "camera" has no "end"'),
                            ("room\nend\n", '1: no block is called "room"')):
            write_scene(self.scene, {"camera/camera.mh": text})
            self.assertIn("camera.mh:" + fault, self.run_here("fmt", "scene", status=1).stderr)
            self.assertEqual(self.bytes_of("scene/camera/camera.mh"), text.encode())

    def test_a_new_scene_is_sound_laid_out_and_never_written_over(self):
        self.run_here("new", "fresh")
        self.assertEqual(self.run_here("check", "--strict", "fresh").stdout, "")
        self.run_here("fmt", "--check", "fresh")
        self.assertIn("fresh exists already", self.run_here("new", "fresh", status=2).stderr)
        mesh = self.path('floor".obj')
        pathlib.Path(mesh).write_text("v 0 0 5e-6\nv 1e-6 0 0\nv 0 4e-6 0\nf 1 2 3\n")
        self.run_here("new", "own", mesh)
        self.assertEqual(self.run_here("check", "--strict", "own").stdout, "")
        self.run_here("fmt", "--check", "own")
        self.assertIn("fresh/shader/shader.mh is not an OBJ file; moonhare import",
                      self.run_here("new", "none", "fresh/shader/shader.mh", status=2).stderr)
        self.assertFalse(os.path.exists(self.path("none")))


class Progress(RenderTest):
    def test_each_form_tells_frames_on_standard_error_alone(self):
        lines = self.run_here("scene", "--progress", "plain").stderr.splitlines()
        self.assertRegex(lines[-1], r"^moonhare: 100 %  frames 6/6, [0-9.]+ M rays/s, .* left$")
        self.assertIn("[####", self.run_here("scene", "--progress", "bar").stderr)
        self.assertEqual(self.render().stderr, "")
        result = self.run_here("scene", "--progress", "json")
        events = [json.loads(line) for line in result.stderr.splitlines()]
        frames = [e for e in events if e["event"] == "frame"]
        self.assertEqual([e["frame"] for e in frames], [1, 2, 3, 4, 5, 6])
        self.assertEqual((frames[-1]["percent"], frames[-1]["remaining_s"]), (100, 0))
        steps = [(e["event"], e["percent"]) for e in events if e["event"] in ("trees", "photons")]
        self.assertEqual(steps, sorted(steps, key=lambda step: (step[0] != "trees", step[1])))
        for phase in ("trees", "photons"):
            percents = [p for name, p in steps if name == phase]
            self.assertEqual((percents[0], percents[-1]), (0, 100))
        self.assertTrue(result.stdout.startswith("_" * 80))

    def on_terminal(self, *arguments, report=False):
        """What a terminal is sent, by standard error and perhaps by standard output."""
        try:
            terminal, program_end = pty.openpty()
        except OSError:
            self.skipTest("a machine without terminal devices")
        process = subprocess.Popen([PROGRAM, "scene", *arguments], cwd=self.folder,
                                   stderr=program_end,
                                   stdout=program_end if report else subprocess.DEVNULL)
        os.close(program_end)
        written = b""
        try:
            while more := os.read(terminal, 4096):
                written += more
        except OSError:  # the other end is closed
            pass
        os.close(terminal)
        self.assertEqual(process.wait(timeout=60), 0)
        return written.decode()

    def test_a_terminal_gets_one_line_with_a_bar_and_the_report_below(self):
        line, *report = self.on_terminal(report=True).split("\r\n")
        states = [state.rstrip() for state in line.split("\r") if state]
        self.assertRegex(states[0], r"^\[\.{24}\] reading, [0-9.]+ s$")
        self.assertRegex(states[-1],
                         r"^\[#{24}\] 100 % frames 6/6, [0-9.]+ M rays/s, [0-9.]+ s, 0.0 s left$")
        self.assertLess(max(map(len, states)), 79)
        self.assertEqual(report[0], "_" * 80)
        self.assertTrue(any(text.startswith("avgerage of") for text in report))

    def test_the_bar_moves_within_photons_and_frames(self):
        write_scene(self.scene, {"light/light.mh": "sky_light\n    photon 2000000\nend\n",
                                 "render/render.mh": ""})
        text = self.on_terminal("--sample", "1", "--resolution", "600x800", "--gather", "300",
                                "--threads", "1")
        for phase in (r"photons", r"frames 0/1"):
            shares = [int(p) for p in re.findall(r"(\d+) % " + phase + r"[^\r]* s left", text)]
            self.assertGreater(len(set(shares)), 3, text)
            self.assertEqual(shares, sorted(shares))

    def test_without_a_terminal_lines_are_plain(self):
        first = self.run_here("scene").stderr.split("\n")[0]
        self.assertRegex(first, r"^moonhare: 1\d %  photons, [0-9.]+ s, [0-9.]+ s left$")

    def test_a_report_tells_phases_and_images(self):
        report = self.report()
        for phase in ("scene", "cameras", "accelerator", "renderer", "frames"):
            self.assertGreaterEqual(report["phases_s"][phase], 0)
        self.assertGreater(report["rays"], 6 * 24 * 16 - 1)
        self.assertGreater(report["peak_memory_bytes"], 1e6)
        self.assertEqual(self.image(report)["pixels_not_finite"], 0)


class Checkpoints(RenderTest):
    def test_a_resumed_render_has_all_frames_and_the_mean_of_an_unbroken_one(self):
        write_scene(self.scene, NOISY)
        whole = self.report("--sample", "64")
        self.report("--sample", "1", "--checkpoint", "c")
        resumed = self.report("--resume", "c", "--sample", "64")
        self.assertEqual((whole["frames"], resumed["frames"]), (64, 64))
        for file in ("beauty.hdr", "albedo.exr"):
            a, b = self.image(whole, file), self.image(resumed, file)
            self.assertAlmostEqual(a["mean"][0], b["mean"][0], delta=0.02 * a["mean"][0])

    def test_frames_are_added_to_a_finished_render(self):
        self.report("--checkpoint", "c")
        result = self.run_here("scene", "--resume", "c", "--sample", "9", "--progress", "json")
        frames = [json.loads(line).get("frame") for line in result.stderr.splitlines()]
        self.assertEqual([f for f in frames if f], [7, 8, 9])
        self.assertIn("6 frames already", self.render("--resume", "c").stderr)

    def test_what_is_no_file_is_not_read(self):
        os.mkdir(self.path("scene/shader/a.mh"))
        os.mkfifo(self.path("scene/shader/b.mh"))
        os.symlink("/dev/zero", self.path("scene/shader/c.mh"))
        self.render("--checkpoint", "c")
        self.render("--resume", "c", "--sample", "7")
        self.render("--resume", "scene/shader/b.mh", status=2)
        faults = self.run_here("check", "scene", status=1).stdout
        self.assertEqual(faults.count("cannot be read: it is left out"), 3, faults)

    def test_files_of_other_scenes_and_damaged_ones_are_refused(self):
        self.render("--checkpoint", "c")
        good = self.bytes_of("c")
        self.assertIn("other settings",
                      self.render("--resume", "c", "--bounce", "3", status=2).stderr)
        before = self.bytes_of("beauty.hdr")
        for at in (0, 10, 25, len(good) // 2, len(good) - 1):
            for damaged in (good[:at], good[:at] + bytes([good[at] ^ 1]) + good[at + 1:]):
                self.write_bytes("d", damaged)
                self.assertRegex(self.render("--resume", "d", status=2).stderr,
                                 "damaged|not a checkpoint")
        self.render("--resume", "none", status=2)
        self.write_bytes("d", good.replace(b"checkpoint 4", b"checkpoint 3"))
        self.assertIn("d is of format 3, by another version of moonhare; this one reads format 4",
                      self.render("--resume", "d", status=2).stderr)
        for file, text in (("shader/shader.mh", SHADER.replace("0.6", "0.5")),
                           ("geometry/floor.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\n")):
            write_scene(self.scene, {file: text})
            self.assertIn("another scene", self.render("--resume", "c", status=2).stderr)
        self.assertEqual(self.bytes_of("beauty.hdr"), before)
