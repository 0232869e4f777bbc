"""The add-on, installed from its zip file into a Blender without a window.
SPDX-License-Identifier: MIT"""
import os
import shutil
import subprocess
import tempfile
import unittest
import zipfile

from program import EXAMPLES, PROGRAM, heavy

ADDON = os.path.abspath(os.environ["MOONHARE_ADDON"])
BLENDER = shutil.which("blender")
HERE = os.path.dirname(os.path.abspath(__file__))


@heavy("blender")
@unittest.skipUnless(BLENDER, "Blender is not installed")
class AddOn(unittest.TestCase):
    def test_everyCaseEndsWithAReportAndNoTraceback(self):
        self.expect([BLENDER, "-b", "--python-exit-code", "1"], "inside.py", "all cases passed")

    @unittest.skipUnless(shutil.which("xvfb-run"), "xvfb is not installed")
    def test_theWindowShowsTheCubeAndThePanels(self):
        """The picture of the window stays beside the zip file."""
        self.expect(["xvfb-run", "--auto-servernum", "--server-args", "-screen 0 1280x800x24",
                     BLENDER,
                     "--window-geometry", "0", "0", "1280", "800"], "window.py",
                    "the window was seen")

    def expect(self, command, script, words):
        with tempfile.TemporaryDirectory() as folder:
            with zipfile.ZipFile(ADDON) as addon:
                addon.extractall(os.path.join(folder, "scripts/addons"))
            places = {"BLENDER_USER_SCRIPTS": os.path.join(folder, "scripts"), "HOME": folder,
                      "MOONHARE_PROGRAM": PROGRAM, "WORK": folder, "MOONHARE_EXAMPLES": EXAMPLES,
                      "KEPT": os.path.dirname(ADDON)}
            run = subprocess.run(
                [*command, "--factory-startup", "-P", os.path.join(HERE, script)],
                env={**os.environ, **places}, text=True, stdout=subprocess.PIPE,
                stderr=subprocess.STDOUT, errors="replace", timeout=300)
        self.assertEqual(run.returncode, 0, run.stdout)
        for fault in ("Traceback", "not found '"):
            self.assertNotIn(fault, run.stdout)
        self.assertIn(words, run.stdout)


if __name__ == "__main__":
    unittest.main()
