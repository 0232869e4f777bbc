"""What the benchmarks of the live view share with its tests.
SPDX-License-Identifier: MIT"""
import os
import sys
import tempfile

PROGRAM, SCENE = map(os.path.abspath, sys.argv[1:3])
os.environ.update(MOONHARE=PROGRAM, MOONHARE_EXAMPLES=os.path.dirname(SCENE))
sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "tests", "tools"))
from live import Live, Stream  # noqa: E402, F401


class Folder:
    """What a test gives to Live."""

    def __init__(self):
        self.folder = tempfile.mkdtemp()

    def addCleanup(self, _):
        pass
