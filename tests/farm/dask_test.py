"""Renders by real schedulers and workers on the loopback address, which are killed, cut off and out
of disk: the picture is that of one run, byte by byte.
SPDX-License-Identifier: MIT"""
import contextlib
import importlib.util
import os
import re
import shutil
import signal
import socket
import subprocess
import sys
import time
import unittest

from program import EXAMPLES, ProgramTest, heavy

try:
    import psutil
except ImportError:
    pass

PICTURES = ("beauty.hdr", "light.exr", "albedo.png")
SIZE = ("--resolution", "64x64", "--sample", "200", "--seed", "5", "--mode", "path")
PATIENCE_S = 100


def wait_for(condition, what):
    until = time.monotonic() + PATIENCE_S
    while time.monotonic() < until:
        found = condition()
        if found:
            return found
        time.sleep(0.05)
    raise AssertionError(f"no {what} after {PATIENCE_S} s")


def renders_below(parent):
    """(Dask worker, program) for each piece that is being rendered for the parent of workers."""
    try:
        return [(worker, child) for worker in psutil.Process(parent).children()
                for child in worker.children() if "--frames" in child.cmdline()]
    except psutil.NoSuchProcess:
        return []


def listening_addresses(process):
    addresses = set()
    for one in (process, *process.children(recursive=True)):
        with contextlib.suppress(psutil.NoSuchProcess):  # pieces end at any time
            addresses |= {socket.laddr.ip for socket in one.connections("tcp")
                          if socket.status == psutil.CONN_LISTEN}
    return addresses


@heavy("farm")
@unittest.skipUnless(importlib.util.find_spec("distributed"), "python3-distributed is missing")
class Farm(ProgramTest):
    def setUp(self):
        super().setUp()
        self.scene = EXAMPLES + "/cornell"

    def start(self, *command):
        log = open(self.path(f"log{len(os.listdir(self.folder))}"), "w+")
        process = subprocess.Popen(list(map(str, command)), cwd=self.folder, stdout=log, stderr=log)
        process.log = log.name
        log.close()
        self.addCleanup(self.end, process)
        return process

    def end(self, process, number=signal.SIGTERM):
        process.send_signal(number)
        process.wait(PATIENCE_S)

    def start_scheduler(self, port):
        process = self.start(sys.executable, "-m", "distributed.cli.dask_scheduler", "--host",
                             "127.0.0.1", "--port", port, "--dashboard-address", "127.0.0.1:0")
        wait_for(lambda: "Scheduler at" in self.text_of(process), "scheduler")
        return process

    def start_worker(self, port, *before):
        return self.start(*before, sys.executable, "-m", "distributed.cli.dask_worker",
                          f"tcp://127.0.0.1:{port}", "--nthreads", "1", "--host", "127.0.0.1",
                          "--dashboard-address", "127.0.0.1:0",
                          "--local-directory", self.path("scratch"))

    def start_farm(self, *options):
        return self.start(sys.executable, "-m", "moonhare.farm", self.scene, "--output-dir", "out",
                          *options)

    def text_of(self, process):
        with open(process.log) as file:
            return file.read()

    def finish(self, farm, options):
        """The farm ends well, and leaves the pictures of one run and nothing else."""
        self.assertEqual(farm.wait(PATIENCE_S), 0, self.text_of(farm))
        self.run_here(self.scene, "--output-dir", "alone", "--progress", "none", *options)
        self.assertEqual(sorted(os.listdir(self.path("out"))), sorted(PICTURES))
        for name in PICTURES:
            self.assertEqual(self.bytes_of("out/" + name), self.bytes_of("alone/" + name), name)

    def free_port(self):
        with socket.socket() as probe:
            probe.bind(("127.0.0.1", 0))
            return probe.getsockname()[1]

    def test_a_worker_is_killed_in_the_middle_of_a_piece(self):
        farm = self.start_farm("--local", "2", *SIZE)
        wait_for(lambda: os.path.exists(self.path("out/beauty.hdr")), "first picture")
        worker, program = wait_for(lambda: renders_below(farm.pid), "piece")[0]
        self.assertEqual(listening_addresses(psutil.Process(farm.pid)), {"127.0.0.1"})
        worker.kill()
        wait_for(lambda: not program.is_running(), "end of its program")
        self.finish(farm, SIZE)

    def test_photons_and_strips_make_the_picture_of_one_run(self):
        options = ("--resolution", "48x320", "--sample", "3", "--seed", "5", "--region",
                   "3,20,47,300")
        shutil.copytree(self.scene, self.path("room"))
        self.scene = "room"
        lamp = self.bytes_of("room/light/light.mh")
        self.write_bytes("room/light/light.mh", lamp.replace(b"photon 1000000", b"photon 20000"))
        farm = self.start_farm("--local", "2", "--no-shared-files", *options)
        self.finish(farm, options)
        self.assertIn("100 %, 3.0 of 3 samples a pixel", self.text_of(farm))

    def test_the_scheduler_is_killed_and_comes_back(self):
        port = self.free_port()
        scheduler = self.start_scheduler(port)
        worker = self.start_worker(port)
        farm = self.start_farm("--scheduler", f"tcp://127.0.0.1:{port}", *SIZE)
        wait_for(lambda: os.path.exists(self.path("out/beauty.hdr")), "first picture")
        wait_for(lambda: renders_below(worker.pid), "piece")
        self.end(scheduler, signal.SIGKILL)
        wait_for(lambda: "connection to the scheduler is lost" in self.text_of(farm), "notice")
        self.start_scheduler(port)
        self.start_worker(port)
        self.finish(farm, SIZE)

    def test_the_disk_of_a_worker_is_full(self):
        port = self.free_port()
        self.start_scheduler(port)
        full = self.start_worker(port, "prlimit", "--fsize=100000")
        wait_for(lambda: "Registered to" in self.text_of(full), "worker")
        farm = self.start_farm("--scheduler", f"tcp://127.0.0.1:{port}", "--no-shared-files", *SIZE)
        wait_for(lambda: "no more pieces for worker" in self.text_of(farm), "notice")
        self.start_worker(port)  # one that joins late
        self.finish(farm, SIZE)

    def test_a_run_that_was_stopped_is_gone_on_with(self):
        farm = self.start_farm("--local", "2", *SIZE)
        wait_for(lambda: os.path.exists(self.path("out/beauty.hdr")), "first picture")
        self.end(farm, signal.SIGTERM)
        self.assertEqual(farm.returncode, 130, self.text_of(farm))
        folder = next(name for name in os.listdir(self.path("out")) if name.startswith("pieces-"))
        kept = [name for name in os.listdir(self.path("out/" + folder)) if name.endswith("partial")]
        self.assertGreater(len(kept), 0)
        farm = self.start_farm("--local", "2", *SIZE)
        self.finish(farm, SIZE)
        first = re.search(r"(\d+\.\d) of 200 samples", self.text_of(farm))
        self.assertGreater(float(first[1]), 0)

    def test_faults_of_scene_and_options_end_the_run_at_once(self):
        for options, message in ((("--bonce", "3"), 'farm: no use for "--bonce"; did you mean'),
                                 (("--camera", "2"), "has no camera 2"),
                                 (("--sample", "ax5"), "ax5 is not a whole number above 0"),
                                 (("--noise=0.1",), "--noise does not go with the farm")):
            farm = self.start_farm("--local", "1", *options)
            self.assertIn(farm.wait(PATIENCE_S), (2, 3))
            self.assertIn(message, self.text_of(farm))


if __name__ == "__main__":
    unittest.main()
