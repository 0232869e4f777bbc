"""Renders that are ended early, within given times: they run with nothing beside them.
SPDX-License-Identifier: MIT"""
import json
import os
import resource
import signal
import subprocess
import time
import unittest

from program import CAMERA, PROGRAM, SANITIZED, write_scene
from render_test import RenderTest

# Long enough to be interrupted.
LONG = {"camera/camera.mh": CAMERA.replace("24 16", "96 64").replace("sample 6", "sample 60000")}


class EarlyEnds(RenderTest):
    def start(self, *options):
        write_scene(self.scene, LONG)
        process = subprocess.Popen([PROGRAM, "scene", "--progress", "json", *options],
                                   cwd=self.folder, stdout=subprocess.DEVNULL,
                                   stderr=subprocess.PIPE, text=True)
        self.addCleanup(process.stderr.close)
        self.addCleanup(process.kill)
        return process

    def start_and_see_frames(self, *options):
        process = self.start(*options)
        for line in process.stderr:
            if json.loads(line)["event"] == "frame" and json.loads(line)["frame"] >= 3:
                return process
        self.fail("no frame")

    def drain(self, process):
        """The frames told until the end; the process's status is in returncode."""
        frames = [json.loads(line).get("frame") for line in process.stderr if line.startswith("{")]
        process.wait(timeout=60)
        return frames

    def test_an_interrupt_ends_after_the_frame_with_all_images(self):
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGXCPU, signal.SIGUSR1,
                       signal.SIGALRM):
            process = self.start_and_see_frames("--report", "r.json", "--checkpoint", "c")
            process.send_signal(number)
            self.drain(process)
            self.assertEqual(process.returncode, 130)
            report = json.loads(self.bytes_of("r.json"))
            # A mean of the frames done, not a share of all 60000: the floor fills half the picture.
            self.assertGreater(self.image(report, "albedo.exr")["mean"][0], 0.1)
            self.assertTrue(os.path.exists(self.path("c")))

    def start_and_cast(self, *options, percent=100):
        process = self.start(*options)
        for line in process.stderr:
            if f'"photons","percent":{percent},' in line:
                break
        return process

    def seconds_to_end(self, process):
        start = time.monotonic()
        self.assertEqual(process.wait(timeout=20), 130)
        return time.monotonic() - start

    def test_signals_cut_a_frame_that_lasts_long(self):
        for signals, longest in ((2, 1.0), (1, 2.0)):
            process = self.start_and_cast("--gather", "2147483647", "--bounce", "2147483647",
                                          "--ray-depth", "255")
            time.sleep(0.2)
            for _ in range(signals):
                process.send_signal(signal.SIGINT)
                time.sleep(0.05)
            self.assertLess(self.seconds_to_end(process), longest)
            self.assertIn("gets half a second, or interrupt again", process.stderr.read())
            self.assertFalse(os.path.exists(self.path("beauty.hdr")))  # no frame was whole

    def test_a_signal_ends_photons_without_number(self):
        self.start().kill()
        write_scene(self.scene, {"light/light.mh": "sky_light\n    photon 2147483647\nend\n",
                                 "render/render.mh": ""})  # gathering, which traces them all
        process = self.start_and_cast(percent=0)
        process.send_signal(signal.SIGTERM)
        self.assertLess(self.seconds_to_end(process), 2.0)
        self.assertIn("before its first frame", process.stderr.read())

    def test_whole_frames_are_written_while_the_next_one_lasts(self):
        process = self.start("--gather", "300000000", "--checkpoint", "c")
        while json.loads(process.stderr.readline()).get("frame") != 1:
            pass
        process.send_signal(signal.SIGHUP)
        while not os.path.exists(self.path("c")):
            time.sleep(0.01)
        first = self.bytes_of("beauty.hdr")
        time.sleep(0.2)  # rows of the second frame come and are dropped
        process.send_signal(signal.SIGTERM)
        process.send_signal(signal.SIGINT)
        self.assertLess(self.seconds_to_end(process), 1.0)
        self.assertNotIn('"frame": 2', process.stderr.read())
        self.assertEqual(self.bytes_of("beauty.hdr"), first)

    def test_a_time_limit_cuts_a_frame(self):
        write_scene(self.scene, LONG)
        start = time.monotonic()
        self.assertIn("before its first frame",
                      self.render("--gather", "2147483647", "--time-limit", "0.3",
                                  status=130).stderr)
        self.assertLess(time.monotonic() - start, 3.0)

    def test_faults_of_single_writes_end_nothing(self):
        process = subprocess.Popen([PROGRAM, "scene"], cwd=self.folder, stdout=subprocess.PIPE,
                                   stderr=subprocess.DEVNULL)
        process.stdout.close()  # as head does
        self.assertEqual(process.wait(timeout=60), 0)
        self.assertTrue(os.path.exists(self.path("beauty.hdr")))

    @unittest.skipIf(SANITIZED == "thread", "that sanitizer writes a larger file of its own")
    def test_a_limit_of_file_sizes_is_a_fault_of_that_write(self):
        result = subprocess.run(
            [PROGRAM, "scene", "--report", "r.json"], cwd=self.folder, capture_output=True,
            text=True, preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (500, 500)))
        self.assertEqual(result.returncode, 3)
        self.assertIn("cannot write albedo.exr: File too large", result.stderr)

    def test_a_hangup_writes_and_goes_on(self):
        process = self.start_and_see_frames()
        process.send_signal(signal.SIGHUP)
        while not os.path.exists(self.path("beauty.hdr")):
            self.assertNotEqual(process.stderr.readline(), "")  # it goes on
        process.send_signal(signal.SIGINT)
        self.drain(process)

    def test_a_time_limit_ends_the_render(self):
        write_scene(self.scene, LONG)
        report = self.report("--time-limit", "0.5")
        self.assertTrue(0 < report["frames"] < 60000)
        self.assertGreater(self.image(report, "albedo.exr")["mean"][0], 0.1)

    def test_a_kill_leaves_whole_files(self):
        for delay in (0.0, 0.013, 0.05):
            process = self.start_and_see_frames("--write-every", "0", "--checkpoint", "c")
            time.sleep(delay)
            process.kill()
            self.drain(process)
            for name in ("beauty.hdr", "albedo.exr"):
                self.run_here("convert", name, "copy.png")
            self.render("--resume", "c", "--sample", "1")  # nothing is added, but it is read
