"""What the tests of the program share: starting it, and scenes of a few lines.
SPDX-License-Identifier: MIT"""
import os
import shutil
import subprocess
import tempfile
import unittest

PROGRAM = os.path.abspath(os.environ["MOONHARE"])
EXAMPLES = os.path.abspath(os.environ["MOONHARE_EXAMPLES"])
SANITIZED = os.environ.get("MOONHARE_SANITIZE", "")  # by which: ten times as slow, and larger

SOUND = {}
for folder, _, names in os.walk(os.path.join(os.path.dirname(__file__), "sound")):
    for name in names:
        with open(os.path.join(folder, name)) as text:
            SOUND[os.path.basename(folder) + "/" + name] = text.read()
CAMERA, LIGHT, MESH, OBJECT, RENDER, SHADER = (SOUND[name] for name in (
    "camera/camera.mh", "light/light.mh", "geometry/floor.obj", "geometry/objects.mh",
    "render/render.mh", "shader/shader.mh"))


def heavy(command):
    """For tests that need much time or large packages: they run when "./run test COMMAND" asks."""
    return unittest.skipUnless(os.environ.get("MOONHARE_TESTS") == command,
                               f"./run test {command} runs it")


def write_scene(folder, files):
    for name, text in files.items():
        path = os.path.join(folder, name)
        os.makedirs(os.path.dirname(path), exist_ok=True)
        with open(path, "w") as file:
            file.write(text)
    return folder


def run(*arguments, cwd=None):
    return subprocess.run([PROGRAM, *map(str, arguments)], cwd=cwd, capture_output=True, text=True,
                          timeout=120)


class ProgramTest(unittest.TestCase):
    """Each test works in a folder of its own, with a sound scene in "scene"."""

    def setUp(self):
        self.folder = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, self.folder)
        self.scene = write_scene(os.path.join(self.folder, "scene"), SOUND)

    def run_here(self, *arguments, status=0):
        result = run(*arguments, cwd=self.folder)
        self.assertEqual(result.returncode, status, result.stdout + result.stderr)
        return result

    def path(self, name):
        return os.path.join(self.folder, name)

    def bytes_of(self, name):
        with open(self.path(name), "rb") as file:
            return file.read()

    def write_bytes(self, name, content):
        with open(self.path(name), "wb") as file:
            file.write(content)
