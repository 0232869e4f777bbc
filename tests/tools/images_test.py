"""The commands on image files: convert, denoise and diff.
SPDX-License-Identifier: MIT"""
import json
import math
import random
import struct
import unittest
import zlib

from program import PROGRAM, ProgramTest


def pfm(width, height, pixels):
    """Rows are given from the top; the format stores the bottom row first."""
    rows = [pixels[y * width:(y + 1) * width] for y in range(height)]
    values = [v for row in reversed(rows) for pixel in row for v in pixel]
    return b"PF\n%d %d\n-1.0\n" % (width, height) + struct.pack("<%df" % len(values), *values)


def png(width, depth, kind, row, palette=b""):
    """One row of pixels."""
    def chunk(name, data):
        return struct.pack(">I", len(data)) + name + data + struct.pack(">I",
                                                                        zlib.crc32(name + data))
    return (b"\x89PNG\r\n\x1a\n"
            + chunk(b"IHDR", struct.pack(">IIBBBBB", width, 1, depth, kind, 0, 0, 0))
            + (chunk(b"PLTE", palette) if palette else b"")
            + chunk(b"IDAT", zlib.compress(b"\0" + row)) + chunk(b"IEND", b""))


def srgb(x):
    return 12.92 * x if x <= 0.0031308 else min(1.0, 1.055 * x ** (1 / 2.4) - 0.055)


def aces(x):
    return x * (2.51 * x + 0.03) / (x * (2.43 * x + 0.59) + 0.14)


def film(x):
    return (x * (0.15 * x + 0.05) + 0.004) / (x * (0.15 * x + 0.5) + 0.06) - 0.02 / 0.3


PIXELS = [(0.0, 0.1, 0.5), (0.9, 2.0, 30.0), (0.002, 0.2, 0.3), (1.0, 0.04, -1.0)]


class Convert(ProgramTest):
    def setUp(self):
        super().setUp()
        self.write_bytes("in.pfm", pfm(2, 2, PIXELS))

    def ppm_values(self, *options):
        self.run_here("convert", "in.pfm", "out.ppm", *options)
        content = self.bytes_of("out.ppm")
        self.assertTrue(content.startswith(b"P6"))
        return list(content[-12:])

    def test_exposure_curve_and_transfer_function_are_applied_to_each_pixel_in_its_place(self):
        curves = {"none": lambda x: x, "aces": aces, "filmic": lambda x: film(2 * x) / film(11.2)}
        for name, curve in curves.items():
            for stops in (0, -2, 1.5):
                with self.subTest(curve=name, stops=stops):
                    got = self.ppm_values("--tonemap", name, "--exposure", str(stops))
                    expected = [255 * srgb(curve(max(v, 0) * 2.0 ** stops)) for p in PIXELS
                                for v in p]
                    for value, exact in zip(got, expected):
                        self.assertLessEqual(abs(value - exact), 0.51)  # half a byte

    def test_values_come_back_through_linear_formats_and_bytes(self):
        # Half a step of half floats at 30; bytes have no steps between them.
        for first, back, limit, *options in (("copy.exr", "in.pfm", 0.016), ("a.png", "a.png", 0),
                                             ("float.exr", "in.pfm", 0, "--exr", "float")):
            self.run_here("convert", "in.pfm", first, *options)
            self.run_here("convert", first, "b.pfm")
            if not back.endswith(".pfm"):
                self.run_here("convert", "b.pfm", "b" + back[-4:])
            result = json.loads(self.run_here("diff", "b" + back[-4:], back, "--json").stdout)
            self.assertLessEqual(result["largest"], limit)

    def test_ordinary_files_show_what_viewers_show(self):
        palette = bytes([10, 20, 30, 200, 100, 50])
        for name, content, expected in (
                ("palette", png(2, 8, 3, b"\1\0", palette), [200, 100, 50, 10, 20, 30]),
                ("nibbles", png(2, 4, 3, b"\x10", palette), [200, 100, 50, 10, 20, 30]),
                ("bits", png(3, 1, 0, b"\xa0"), [255] * 3 + [0] * 3 + [255] * 3),
                ("grey of four bits", png(2, 4, 0, b"\x3f"), [51] * 3 + [255] * 3),
                ("alpha", png(1, 8, 6, bytes([40, 80, 120, 128])), [40, 80, 120]),
                ("words", png(1, 16, 0, b"\x80\x00"), [128] * 3)):
            with self.subTest(name=name):
                self.write_bytes("in.png", content)
                self.run_here("convert", "in.png", "out.ppm")
                self.assertEqual(list(self.bytes_of("out.ppm")[-len(expected):]), expected)

    def test_damaged_files_end_in_a_line(self):
        self.run_here("convert", "in.pfm", "whole.exr")
        whole = self.bytes_of("whole.exr")
        for content in (whole[:-9], whole[:20], b"v/1\1" + bytes(99), b""):
            self.write_bytes("bad.exr", content)
            line = self.run_here("convert", "bad.exr", "out.png", status=1).stderr
            self.assertRegex(line, r"^moonhare: cannot read bad.exr: [^\n]+\n$")

    def test_all_images_of_a_run_are_layers_of_one_file(self):
        for width, limit in (("float", 0), ("half", 1e-3)):
            with self.subTest(width):
                self.run_here("scene", "--seed", 1, "--beauty", "b.exr", "--exr", width,
                              "--exr-layers", "all.exr")
                self.run_here("diff", "all.exr", "b.exr", "--fail-above", limit)
        self.run_here("diff", "all.exr", "albedo.exr", "--layer", "albedo", "--fail-above", 1e-3)
        self.run_here("diff", "all.exr", "b.exr", "--layer", "albedo", "--fail-above", 0.01,
                      status=1)
        line = self.run_here("convert", "all.exr", "x.pfm", "--layer", "alb", status=1).stderr
        self.assertIn('no layer "alb"; its layers are albedo', line)
        line = self.run_here("convert", "b.exr", "x.pfm", "--layer", "albedo", status=1).stderr
        self.assertIn("no layers", line)
        line = self.run_here("scene", "--exr-layers", "missing/all.exr", status=3).stderr
        self.assertIn("missing/all.exr", line)

    def test_faults_have_their_statuses(self):
        for status, *arguments in ((1, "none.png", "out.png"), (3, "in.pfm", "out.xyz"),
                                   (3, "in.pfm", "nowhere/out.png"), (2, "in.pfm"),
                                   (2, "in.pfm", "out.png", "--tonemap", "film")):
            self.run_here("convert", *arguments, status=status)


class Denoise(ProgramTest):
    def write(self, name, value, width=24, height=16):
        pixels = [value(x, y) for y in range(height) for x in range(width)]
        self.write_bytes(name, pfm(width, height, pixels))

    def setUp(self):
        super().setUp()
        draw = random.Random(3).gauss
        self.write("clean.pfm", lambda x, y: (0.2, 0.2, 0.2) if x < 12 else (0.8, 0.4, 0.2))
        self.write("in.pfm", lambda x, y: tuple(draw(v, 0.1) for v in (
            (0.2, 0.2, 0.2) if x < 12 else (0.8, 0.4, 0.2))))

    def error(self, name):
        return json.loads(self.run_here("diff", name, "clean.pfm", "--json").stdout)["rmse"]

    def test_a_picture_comes_out_cleaner_and_no_file_is_lost(self):
        before = self.bytes_of("in.pfm")
        self.run_here("denoise", "in.pfm", "--albedo", "clean.pfm")
        self.assertLess(self.error("in_denoised.pfm"), self.error("in.pfm") / 3)
        self.assertEqual(self.bytes_of("in.pfm"), before)
        self.assertIn("--output", self.run_here("denoise", "in.pfm", status=3).stderr)
        self.write("noise.pfm", lambda x, y: (0.0, 0.0, 0.0))  # clean, it says
        self.run_here("denoise", "in.pfm", "--noise", "noise.pfm", "--output", "in_denoised.pfm")
        self.assertLess(abs(self.error("in_denoised.pfm") / self.error("in.pfm") - 1), 0.01)

    def test_a_network_that_is_not_built_in_is_refused(self):
        with open(PROGRAM, "rb") as file:
            if b"libOpenImageDenoise" in file.read():
                self.skipTest("this build has it")
        for arguments in (("scene",), ("merge", "a.part")):
            refused = self.run_here(*arguments, "--denoise", "oidn", status=2).stderr
            self.assertTrue(refused.startswith("moonhare: built without Open Image Denoise; "))

    def test_bad_features_get_a_line_each(self):
        self.write("small.pfm", lambda x, y: (0, 0, 0), 8)
        self.write("nan.pfm", lambda x, y: (math.nan if x == 3 else x, 0, 0))
        self.write("black.pfm", lambda x, y: (0, 0, 0))
        self.write("dot.pfm", lambda x, y: (0.5, 0.5, 0.5), 1, 1)
        self.write_bytes("grey.pfm", b"Pf\n24 16\n-1.0\n" + bytes(4 * 24 * 16))
        for status, line, *arguments in (
                (1, "small.pfm has 8x16 pixels, the picture 24x16", "in.pfm", "--normal",
                 "small.pfm"),
                (1, "--depth: cannot read none.pfm", "in.pfm", "--depth", "none.pfm"),
                (1, "cannot read none.pfm", "none.pfm"),
                (0, "nan.pfm: 16 pixels with values that are not finite", "nan.pfm"),
                (0, "nan.pfm: 16 pixels with values that are not finite", "in.pfm", "--albedo",
                 "nan.pfm"),
                (0, "black.pfm: all pixels are alike", "in.pfm", "--depth", "black.pfm"),
                (0, "grey.pfm: all pixels are alike", "in.pfm", "--depth", "grey.pfm"),
                (0, "", "black.pfm"), (0, "", "dot.pfm")):
            with self.subTest(arguments=arguments):
                result = self.run_here("denoise", *arguments, "--output", "out.pfm", status=status)
                self.assertIn(line, result.stderr)
                self.assertEqual(result.stderr.count("\n"), 1 if line else 0)


class Diff(ProgramTest):
    def write(self, name, pixels, width=2):
        self.write_bytes(name, pfm(width, len(pixels) // width, pixels))

    def test_measures_agree_with_their_formulas(self):
        a, b = PIXELS, [(0.1, 0.1, 0.4), (1.0, 1.0, 28.0), (0.0, 0.2, 0.3), (1.0, 0.0, 0.0)]
        self.write("a.pfm", a)
        self.write("b.pfm", b)
        pairs = [(x, y) for p, q in zip(a, b) for x, y in zip(p, q)]
        mse = sum((x - y) ** 2 for x, y in pairs) / len(pairs)
        result = json.loads(self.run_here("diff", "a.pfm", "b.pfm", "--json").stdout)
        expected = {"rmse": math.sqrt(mse),
                    "relative_mse": sum((x - y) ** 2 / (y * y + 0.01)
                                        for x, y in pairs) / len(pairs),
                    "psnr_db": 10 * math.log10(28 ** 2 / mse), "largest": 2.0}
        for name, value in expected.items():
            self.assertAlmostEqual(result[name], value, places=5, msg=name)
        self.assertIn("rmse ", self.run_here("diff", "a.pfm", "b.pfm").stdout)

    def test_shown_and_linear_values_are_compared_in_one_space(self):
        self.write_bytes("a.png", png(2, 8, 2, bytes([188, 188, 188, 255, 0, 0])))
        self.write("b.pfm", [(0.5, 0.5, 0.5), (1.0, 0.0, 0.0)])
        result = json.loads(self.run_here("diff", "a.png", "b.pfm", "--json").stdout)
        self.assertLess(result["largest"], 0.004)  # a step of a byte

    def test_what_people_see_agrees_with_direct_evaluations(self):
        # FLIP and SSIM of these patterns, by filters of two dimensions in double precision.
        places = [(x, y) for y in range(16) for x in range(24)]
        self.write("a.pfm", [((x % 5) / 4, (y % 3) / 2, ((x + y) % 7) / 6) for x, y in places], 24)
        self.write("b.pfm", [((x % 4) / 3, (y % 3) / 2, ((2 * x + y) % 7) / 6) for x, y in places],
                   24)
        result = json.loads(self.run_here("diff", "a.pfm", "b.pfm", "--json").stdout)
        self.assertAlmostEqual(result["flip"], 0.2422206, delta=1e-5)
        self.assertAlmostEqual(result["ssim"], 0.8542916, delta=1e-5)
        result = json.loads(self.run_here("diff", "a.pfm", "a.pfm", "--json").stdout)
        self.assertEqual((result["flip"], result["ssim"]), (0, 1))

    def test_limits_sizes_and_unreadable_files(self):
        self.write("a.pfm", PIXELS)
        self.write("b.pfm", [(x + 0.5, y + 0.5, z + 0.5) for x, y, z in PIXELS])
        self.write("wide.pfm", PIXELS, width=4)
        self.write("nan.pfm", [(math.nan, 0, 0)] + PIXELS[1:])
        self.run_here("diff", "a.pfm", "b.pfm", "--fail-above", "0.51")
        self.run_here("diff", "a.pfm", "b.pfm", "--fail-above", "0.49", status=1)
        self.run_here("diff", "a.pfm", "a.pfm", "--fail-above", "0")
        self.run_here("diff", "a.pfm", "nan.pfm", "--fail-above", "100", status=1)
        self.assertIn("size", self.run_here("diff", "a.pfm", "wide.pfm", status=2).stderr)
        self.run_here("diff", "a.pfm", "none.pfm", status=2)
        self.run_here("diff", "a.pfm", "b.pfm", "--image", "d.pfm")
        self.write("half.pfm", [(0.5, 0.5, 0.5)] * 4)
        self.run_here("diff", "d.pfm", "half.pfm", "--fail-above", "1e-5")
