"""Pictures that repeat: seeds and estimators, by the program.
SPDX-License-Identifier: MIT"""
import json
import os
import signal
import struct
import subprocess
import unittest

from program import EXAMPLES, PROGRAM, RENDER, ProgramTest, write_scene

# A mirror that throws caustics of two lights on a floor, seen by a splat image as well.
MIRROR = {
    "shader/shader.mh": 'shader\n    name "clay"\n    surface_shader\n' + "".join(
        f"        {slot}\n            color {value} {value} {value}\n        end\n"
        for slot, value in (
            ("lambertian", 0.7), ("glossy", 0.3), ("specular", 0.6), ("roughness", 0.3),
            ("ior", 2)))
        + "    end\nend\n",
    "geometry/floor.obj": "v -2 0 0\nv 2 0 0\nv 2 4 0\nv -2 4 0\nv -2 4 3\nv 2 4 3\n"
                          "f 1 2 3 4\nf 4 3 6 5\n",
    "light/light.mh": "point_light\n    position 0 1 2\n    color 2 2 2\n    photon 3000\nend\n"
                      "parallel_light\n    direction 0.2 0.3 -1\n    photon 3000\nend\n"
                      "sky_light\n    photon 2000\nend\n",
    "camera/camera.mh": "camera\n    resolution 24 16\n    sample 4\n    aov\n"
                        '        image "splats.pfm"\n        type "light_path"\n    end\n    aov\n'
                        '        image "glossy.pfm"\n        type "glossy"\n    end\nend\n'}


class Seeds(ProgramTest):
    def pictures(self, scene, *options, status=0):
        for name in os.listdir(self.folder):
            if name.endswith((".pfm", ".exr", ".png")):
                os.remove(self.path(name))
        self.run_here(scene, "--progress", "none", "--beauty", "b.pfm", *options, status=status)
        return {name: self.bytes_of(name) for name in sorted(os.listdir(self.folder))
                if name.endswith((".pfm", ".exr", ".png"))}

    def stop_after_a_frame(self, *options, frame=1):
        with subprocess.Popen([PROGRAM, *options, "--progress", "json"], cwd=self.folder, text=True,
                              stdout=subprocess.DEVNULL, stderr=subprocess.PIPE) as process:
            for line in process.stderr:
                if json.loads(line).get("frame", 0) >= frame:
                    process.send_signal(signal.SIGTERM)
                    break
            process.stderr.read()

    def test_a_seed_gives_the_same_bytes_on_any_threads_and_across_a_resume(self):
        write_scene(self.scene, MIRROR)
        small = ("--resolution", "24x16", "--region", "1,2,23,15", "--sample", "9", "--seed", "7")
        for scene, mode in (("scene", "gather"), (EXAMPLES + "/cornell", "path"),
                            (EXAMPLES + "/sky", "path")):
            for estimator in ("classic", "exact"):
                given = (scene, *small, "--mode", mode, "--estimator", estimator)
                first = self.pictures(*given, "--threads", "1")
                self.assertEqual(self.pictures(*given, "--threads", "8"), first, given)
                self.stop_after_a_frame(*given, "--checkpoint", "c")
                self.assertEqual(self.pictures(*given, "--resume", "c"), first, given)

    def test_shared_out_frames_and_noise_targets_repeat(self):
        write_scene(self.scene, MIRROR)
        scene = ("scene", "--seed", "7", "--adaptive")
        for given in ((*scene, "--sample", "30"), (*scene, "--sample", "300", "--noise", "0.01",
                                                   "--estimator", "exact")):
            first = self.pictures(*given, "--threads", "1", "--report", "1.json")
            with open(self.path("1.json"), encoding="utf-8") as file:
                report = json.load(file)
            noise = report["noise"]["percentile_95_of_blocks"]
            self.assertEqual(noise < 0.01, "--noise" in given, noise)
            self.assertEqual(report["frames"] < 300, True)
            for threads in "238":
                self.assertEqual(self.pictures(*given, "--threads", threads), first, given)
            for end in (18, 400):  # in the middle, and never: a finished run gets no more frames
                self.stop_after_a_frame(*given, "--checkpoint", "c", frame=end)
                self.assertEqual(self.pictures(*given, "--resume", "c"), first, given)
            self.assertNotEqual(self.pictures(*(o for o in given if o != "--adaptive")), first)
        short = self.run_here("scene", "--sample", "7", "--report", "1.json").stdout
        self.assertIn("noise: too few frames for an estimate", short)
        piece = self.run_here(*scene, "--noise", "0.1", "--partial", "p", status=2).stderr
        self.assertIn("--partial goes without a noise target", piece)

    def test_adaptive_pieces_add_up_each_with_frames_of_its_own(self):
        given = (EXAMPLES + "/still_life", "--mode", "path", "--estimator", "exact", "--resolution",
                 "32x20",
                 "--seed", "7", "--denoise", "--sample", "64", "--beauty", "b.pfm", "--adaptive")
        self.run_here(*given, "--output-dir", "whole")
        self.run_here(*given[:-1], "--output-dir", "even")
        self.assertTrue(self.bytes_of("whole/b.pfm") != self.bytes_of("even/b.pfm"))
        self.run_here(*given, "--frames", "0:20", "--partial", "a")
        self.run_here(*given, "--frames", "20:64", "--partial", "b")
        for to, pieces in (("one", "ab"), ("two", "ba")):
            self.run_here("merge", *pieces, "--denoise", "--output-dir", to)
        self.run_here("merge", "a", "--allow-gaps", "--output-dir", "part")
        for name in ("b.pfm", "b_denoised.pfm"):
            self.assertEqual(self.bytes_of("one/" + name), self.bytes_of("two/" + name))
        self.assertTrue(self.bytes_of("one/b.pfm") != self.bytes_of("even/b.pfm"))
        error = {folder: json.loads(self.run_here("diff", folder + "/b.pfm", "whole/b.pfm",
                                                  "--json").stdout)
                 ["relative_mse"] for folder in ("one", "part")}
        self.assertLess(error["one"], 0.5 * error["part"])
        odd = self.run_here(*given, "--frames", "21:64", "--partial", "c", status=2).stderr
        self.assertIn("begin at even frames, not at 21", odd)

    def test_with_a_denoiser_the_noise_target_is_the_denoised_picture(self):
        given = (EXAMPLES + "/cornell", "--mode", "path", "--estimator", "exact", "--resolution",
                 "48x32", "--sample", "200", "--seed", "7", "--noise", "0.07")
        frames = []
        for options in ((), ("--denoise",)):
            pictures = self.pictures(*given, *options, "--report", "r.json")
            with open(self.path("r.json"), encoding="utf-8") as file:
                report = json.load(file)
            frames.append(report["frames"])
        self.assertLess(report["denoised_percentile_95_of_blocks"], 0.07)
        self.assertGreater(report["noise"]["percentile_95_of_blocks"], 0.07)
        self.assertLess(frames[1], frames[0] / 2)
        self.stop_after_a_frame(*given, "--denoise", "--checkpoint", "c", frame=10)
        self.assertEqual(self.pictures(*given, "--denoise", "--resume", "c"), pictures)

    def test_other_seeds_and_none_give_other_pictures(self):
        for estimator in ("classic", "exact"):
            given = (EXAMPLES + "/cornell", "--resolution", "24x16", "--sample", "1", "--mode",
                     "path", "--estimator", estimator)
            one, two = (self.pictures(*given, "--seed", seed)["b.pfm"] for seed in "12")
            self.assertNotEqual(one, two)
            default = self.pictures(*given)["b.pfm"]
            zero = self.pictures(*given, "--seed", "0")["b.pfm"]
            self.assertEqual(default == zero, estimator == "exact")

    def test_the_option_is_the_key(self):
        write_scene(self.scene, {"light/light.mh": 'sky_light\n    image "sky.pfm"\nend\n'})
        os.mkdir(self.path("scene/image"))
        dim = struct.pack("<3f", 1.0, 0.0035, 0.0072)  # more than a common exponent holds
        self.write_bytes("scene/image/sky.pfm", b"PF\n32 16\n-1\n" + 512 * dim)
        by_option = self.pictures("scene", "--estimator", "exact")
        exact = RENDER.replace("render\n", 'render\n    estimator "exact"\n', 1)
        write_scene(self.scene, {"render/render.mh": exact})
        self.assertEqual(self.pictures("scene"), by_option)

    def test_a_checkpoint_keeps_seed_and_estimator(self):
        self.pictures("scene", "--seed", "3", "--checkpoint", "c")
        for difference, *other in (
                ("seed 3, now 4", "--seed", "4"), ("seed 3, now none",),
                ("estimator classic, now exact; without adaptive", "--seed", "3", "--estimator",
                 "exact", "--adaptive")):
            result = self.run_here("scene", "--resume", "c", *other, status=2)
            self.assertEqual(result.stderr.splitlines()[-1],
                             f"moonhare: c was rendered with other settings: {difference}")

    def test_wrong_values_are_reported_with_their_line_and_ignored(self):
        wrong = ("seed -1", "seed x", "seed 1.5", 'estimator "best"', "estimator exact")
        for line in wrong:
            write_scene(self.scene, {"render/render.mh": f"render\n    {line}\nend\n" + RENDER})
            output = self.run_here("scene", "--progress", "none", "--checkpoint", "c").stdout
            self.assertRegex(output, rf"render\.mh, line 2: {line.split()[0]} takes .* ignored")
            self.assertIn(b"estimator classic, seed none", self.bytes_of("c"))


if __name__ == "__main__":
    unittest.main()
