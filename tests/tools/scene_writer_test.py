"""Scenes written from arrays show what was meant, whatever their names are.
SPDX-License-Identifier: MIT"""
import os
import subprocess
import tempfile
import unittest

try:
    import numpy
    from scene import Scene, layer, read_pfm
except ImportError:
    numpy = None

NAMES = ['say "hi"\nend', "say _hi__end", "мир/..", "", "x" * 300]
TOP, BOTTOM = (0.5, 0.25, 0.125), (0.125, 1, 2)


@unittest.skipUnless(numpy, "NumPy is not installed")
class SceneWriter(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        self.path = os.path.join(self.folder.name, "scene")

    def build(self, scene):
        """A square of each name side by side, each with a picture, and a camera before them."""
        square = numpy.array([(0, 0, 0), (1, 0, 0), (1, 0, 1), (0, 0, 1)], float)
        texels = numpy.empty((4, 4, 3), numpy.float32)
        texels[:2], texels[2:] = TOP, BOTTOM
        glow = {"color": (1, 1, 1), "image": scene.picture(NAMES[0], texels),
                "sampler": {"pixel_sampler": "nearest"}}
        shaders = [scene.shader(name, surface_shader=layer(emissive=glow)) for name in NAMES]
        faces = [(0, 1, 2), (0, 2, 3)]
        mesh = scene.mesh(NAMES[0], square, faces, uvs=square[:, ::2])
        names = [scene.object(NAMES[0], shader=shader, mesh=mesh) for shader in shaders]
        count = len(NAMES)
        pose = {"position": (count / 2, -count / 2, 0.5), "target": (count / 2, 0, 0.5),
                "field_of_view": 90}
        scene.object("root", instance=[
            {"object": name, "matrix": [1, 0, 0, i, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1]}
            for i, name in enumerate(names)])
        scene.add("camera", resolution=(10 * count, 10), sample=1, pose=[pose, pose])
        scene.add("render", final_gather={"distance": 0.0})
        scene.write()

    def test_everyNameIsFoundAndPicturesStandUpright(self):
        self.build(Scene(self.path))
        checked = subprocess.run([os.environ["MOONHARE"], "check", self.path], text=True,
                                 stdout=subprocess.PIPE)
        self.assertNotIn("fault", checked.stdout)
        subprocess.run([os.environ["MOONHARE"], self.path, "--beauty", "b.pfm", "--progress",
                        "none",
                        "--output-dir", self.folder.name], check=True, stdout=subprocess.DEVNULL)
        picture = read_pfm(os.path.join(self.folder.name, "b.pfm"))
        for index in range(len(NAMES)):
            middle = 10 * index + 5
            numpy.testing.assert_allclose(picture[2, middle], TOP, rtol=1e-3)
            numpy.testing.assert_allclose(picture[7, middle], BOTTOM, rtol=1e-3)

    def test_theNextFrameWritesWhatChangedAndRemovesWhatWent(self):
        scene = Scene(self.path)
        self.build(scene)
        mesh = os.path.join(self.path, "geometry", "say__hi__end.mesh")
        before = os.stat(mesh)
        scene.restart()
        self.build(scene)
        self.assertEqual(os.stat(mesh).st_ino, before.st_ino)
        scene.restart()
        scene.write()
        self.assertFalse(os.path.exists(mesh))

    def test_whatTextCannotHoldIsRefused(self):
        scene = Scene(self.path)
        for key, value in (("image", 'a".png'), ("image", "a\nend"),
                           ("color", (0, 0, float("nan")))):
            with self.assertRaises(ValueError):
                scene.add("sky_light", **{key: value})
        with self.assertRaises(ValueError):
            scene.mesh("m", [(0, 0, 0)], [(0, 0, 1)])


if __name__ == "__main__":
    unittest.main()
