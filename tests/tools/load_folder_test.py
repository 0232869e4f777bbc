"""The script that loads all files of a folder: what it makes of sound and damaged files, and of
programs that crash, hang or keep silent.
SPDX-License-Identifier: MIT"""
import os
import struct
import unittest

import load_folder
import program

TGA = bytes([0, 0, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0])
FILES = {
    "sound.ppm": b"P6\n1 1\n255\nabc",
    "sound.tga": TGA + struct.pack("<HH", 1, 1) + b"\x18\0abc",
    "sound.obj": program.MESH.encode(),
    "negative.hdr": b"#?RADIANCE\nFORMAT=32-bit_rle_rgbe\n\n-Y -2147483647 +X 2\n",
    "large.tga": TGA + struct.pack("<HH", 60000, 60000) + b"\x18\0" + bytes(17),
    # Crashes its decoder: a header of 255 bytes in a file of 46.
    "crash.tga": bytes.fromhex("ff000b008000000000000100010001000820ff8000000000000000") +
                 b"TRUEVISION-XFILE.\0",
    "large.pbm": b"P4\n99999999 99999999\n" + bytes(121),
    "picture.psd": b"8BPS\0\1" + bytes(6) + b"\0\3" + b"\x7f" * 8 + b"\0\x08\0\3" + bytes(40),
    "text.xpm": b"/* XPM */\nstatic char *x[] = {\"99999 99999 9 9\"};\n",
    "points.hair": b"HAIR" + struct.pack("<III", 1 << 30, 1 << 31, 2) + bytes(112),
}
SOUND = {name for name in FILES if name.startswith("sound")}


class LoadFolderTest(program.ProgramTest):
    def test_loads_what_is_sound_and_refuses_the_rest_with_a_line(self):
        for name, content in FILES.items():
            self.write_bytes(name, content)
            outcome, words = load_folder.try_file(program.PROGRAM, self.path(name))
            self.assertEqual(outcome, "loaded" if name in SOUND else "refused", name + words)
            self.assertTrue(words or outcome == "loaded", name)

    def test_tells_crashes_hangs_and_silence(self):
        load_folder.LONGEST_SECONDS = 0.5
        for script, expected in ((b"kill -SEGV $$", "crash"), (b"exec sleep 9", "hang"),
                                 (b"exit 1", "silent")):
            self.write_bytes("stub", b"#!/bin/sh\n" + script + b"\n")
            os.chmod(self.path("stub"), 0o700)
            outcome, _ = load_folder.try_file(self.path("stub"),
                                              self.path("scene/geometry/floor.obj"))
            self.assertEqual(outcome, expected)
