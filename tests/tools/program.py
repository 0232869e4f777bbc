"""What the tests of the program share: starting it, and scenes of a few lines.
SPDX-License-Identifier: MIT"""
import os
import shutil
import subprocess
import tempfile
import unittest

PROGRAM = os.path.abspath(os.environ["MOONHARE"])
EXAMPLES = os.path.abspath(os.environ["MOONHARE_EXAMPLES"])

RENDER = "render\n    final_gather\n        distance 0\n    end\nend\n"
CAMERA = """camera
    resolution 24 16
    sample 6
    pose
        position 0 -4 1
        target 0 0 0.5
        up_vector 0 0 1
        field_of_view 40
    end
    aov
        image "albedo.exr"
        type "lambertian_color"
    end
end
"""
SHADER = """shader
    name "clay"
    surface_shader
        lambertian
            color 0.6 0.4 0.3
        end
    end
end
"""
OBJECT = "object\n    name floor\n    shader \"clay\"\n    obj \"floor.obj\"\nend\n"
LIGHT = "sky_light\n    color 0.5 0.5 0.5\n    photon 1000\nend\n"
MESH = "v -2 -2 0\nv 2 -2 0\nv 2 2 0\nv -2 2 0\nf 1 2 3 4\n"

SOUND = {
    "render/render.mh": RENDER,
    "camera/camera.mh": CAMERA,
    "shader/shader.mh": SHADER,
    "light/light.mh": LIGHT,
    "geometry/objects.mh": OBJECT,
    "geometry/floor.obj": MESH,
}


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
