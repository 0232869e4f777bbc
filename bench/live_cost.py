"""What the live view adds to a render.

usage: live_cost.py PROGRAM SCENE [ROUNDS]

Processor time of a whole run, by turns: the program alone, "serve" without a page, and "serve" with one that takes
10 updates a second. Ratios to the run alone in the same round.
SPDX-License-Identifier: MIT"""
import contextlib
import http.client
import os
import shutil
import statistics
import subprocess
import sys
import tempfile
import threading
import time

from live_side import PROGRAM, SCENE, Folder, Live, Stream
from time_left import processor_time

ROUNDS = int(sys.argv[3]) if len(sys.argv) > 3 else 5

OPTIONS = ("--seed", "1", "--mode", "path", "--sample", "48", "--beauty", "beauty.pfm")


def run_alone():
    folder = tempfile.mkdtemp()
    with subprocess.Popen([PROGRAM, SCENE, *OPTIONS, "--quiet"], cwd=folder, stdout=subprocess.DEVNULL) as process:
        usage = os.wait4(process.pid, 0)[2]
        process.returncode = 0
    shutil.rmtree(folder)
    return usage.ru_utime + usage.ru_stime


def watch(live):
    stream = Stream(live)
    with contextlib.suppress(http.client.HTTPException, OSError):  # the program has been ended
        while stream.read():
            stream.tiles.clear()


def run_live(has_page):
    folder = Folder()
    live = Live(folder, SCENE, *OPTIONS)
    if has_page:
        threading.Thread(target=watch, args=(live,), daemon=True).start()
    while not os.path.exists(os.path.join(folder.folder, "beauty.pfm")):
        time.sleep(0.02)
    seconds = processor_time(live.process.pid)
    live.process.kill()
    live.process.wait()
    shutil.rmtree(folder.folder)
    return seconds


def main():
    ratios = {"without a page": [], "with one page": []}
    for _ in range(ROUNDS):
        alone = run_alone()
        for has_page, name in enumerate(ratios):
            ratios[name].append(run_live(bool(has_page)) / alone)
    for name, values in ratios.items():
        print(f"{name}: {statistics.median(values):.4f} of the processor time "
              f"({min(values):.4f} to {max(values):.4f})", flush=True)


main()
