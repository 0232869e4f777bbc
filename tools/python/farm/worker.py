"""What runs on a worker: the program as a process of its own, for one piece. A worker finds its own
program, keeps the scene and its photons in a folder of its own, and runs no code that is sent to
it.
SPDX-License-Identifier: MIT"""
from __future__ import annotations

import functools
import hashlib
import json
import os
import shutil
import signal
import subprocess
import tempfile
import threading
import time
from dataclasses import dataclass
from typing import Callable, Optional

from .pieces import Piece, Region, Strip
from .scene_pack import scene_digest, unpack_scene

POLL_S = 0.2
TEXT_LINES = 5  # of what the program complained about
ONE_AT_A_TIME = threading.Lock()  # to make what all pieces of a worker share


@dataclass(frozen=True)
class Job:
    """What all pieces of a picture have in common."""
    scene: str  # its folder on the machine that asks
    digest: str  # of its files
    options: tuple[str, ...]  # of the program
    version: str  # of the program
    gathers: bool
    pieces: str  # folder for the pieces on the machine that asks
    token: str  # the text of the file "token" in that folder
    threads: int = 0  # of a piece; 0: the processors of a worker, divided by its slots


@dataclass
class Outcome:
    """Of one call on a worker; `fault` is empty when all went well."""
    fault: str = ""
    status: int = 0  # of the program
    worker: str = ""  # its address
    scene_missing: bool = False
    frames_s: Optional[float] = None  # None: the piece was there already
    start_s: Optional[float] = None
    data: Optional[bytes] = None  # of the piece, where its folder is not seen


@dataclass
class Place:
    """Where a worker works."""
    folder: str
    slots: int
    is_cancelled: Callable[[], bool]


def find_program() -> str:
    """That of MOONHARE_PROGRAM, of the same installation or build, or of the search path."""
    here = os.path.dirname(os.path.abspath(__file__))
    beside = (os.environ.get("MOONHARE_PROGRAM"), os.path.join(here, "../../../tools/moonhare"),
              os.path.join(here, "../../../../../bin/moonhare"), shutil.which("moonhare"))
    for path in beside:
        if path and os.access(path, os.X_OK) and os.path.isfile(path):
            return os.path.abspath(path)
    raise FileNotFoundError("the program moonhare is not installed")


@functools.cache
def program_version() -> str:
    return subprocess.run([find_program(), "--version"], check=True, capture_output=True,
                          text=True).stdout.split("\ncompiler")[0].replace("\n", ", ")


def is_shared(job: Job) -> bool:
    """Whether the folder for the pieces is the one of the machine that asks."""
    try:
        with open(os.path.join(job.pieces, "token"), encoding="utf-8") as file:
            return file.read() == job.token and os.access(job.pieces, os.W_OK)
    except OSError:
        return False


def piece_name(piece: Piece) -> str:
    return f"{piece.strip}-{piece.first}-{piece.end}.partial"


def region_text(region: Region) -> str:
    return ",".join(map(str, region))


def kept(place: Place, job: Job, name: str) -> str:
    folder = os.path.join(place.folder, "moonhare-" + job.digest[:32])
    os.makedirs(folder, mode=0o700, exist_ok=True)
    return os.path.join(folder, name)


def find_scene(place: Place, job: Job) -> Optional[str]:
    """The scene's own folder where it is seen and the same, or what was unpacked, or nothing."""
    link = kept(place, job, "found")
    if os.path.isdir(link):
        return os.path.realpath(link)
    if is_shared(job) and os.path.isdir(job.scene) and scene_digest(job.scene) == job.digest:
        os.symlink(job.scene, link)
        return os.path.realpath(link)
    return None


def store_chunk(place: Place, job: Job, offset: int, chunk: bytes, is_last: bool) -> Outcome:
    """Takes a part of the scene's archive, and unpacks it with the last one."""
    try:
        with ONE_AT_A_TIME:
            archive = kept(place, job, "scene.zip")
            with open(archive, "wb" if offset == 0 else "r+b") as file:
                file.seek(offset)
                file.write(chunk)
            if is_last and not os.path.exists(kept(place, job, "found")):
                scene = tempfile.mkdtemp(dir=os.path.dirname(archive))
                unpack_scene(archive, scene, job.digest)
                os.rename(scene, kept(place, job, "found"))
                os.remove(archive)
        return Outcome()
    except (OSError, ValueError) as fault:
        return Outcome(f"the scene cannot be stored: {fault}")


def prepare(place: Place, job: Job) -> Outcome:
    """Scene and photons: whether this worker can take pieces."""
    try:
        version = program_version()
        if version != job.version:
            return Outcome(f"it has {version}, and {job.version} is wanted")
        with ONE_AT_A_TIME:
            scene = find_scene(place, job)
            if scene is None:
                return Outcome(scene_missing=True)
            return cast_photons(place, job, scene)
    except (OSError, subprocess.SubprocessError) as fault:
        return Outcome(str(fault))


def photons_of(place: Place, job: Job) -> str:
    """They depend on the seed, and on whatever else the options say."""
    return kept(place, job,
                "photons-" + hashlib.sha256(repr(job.options).encode()).hexdigest()[:16])


def cast_photons(place: Place, job: Job, scene: str) -> Outcome:
    photons = photons_of(place, job)
    if not job.gathers or os.path.exists(photons):
        return Outcome()
    return run_program(place, job, [scene, *job.options, "--photons", photons])


def render_piece(place: Place, job: Job, strip: Strip, piece: Piece,
                 limit_s: Optional[float]) -> Outcome:
    """Renders the piece into the folder of pieces, or returns its bytes where that is not seen."""
    ready = prepare(place, job)
    if ready.fault or ready.scene_missing:
        return ready
    shared = is_shared(job)
    target = os.path.join(job.pieces if shared else place.folder, piece_name(piece))
    if shared and os.path.exists(target):
        return Outcome()
    own = f"{target}.{os.getpid()}.{threading.get_ident()}"  # another worker may be at it too
    report = kept(place, job, os.path.basename(own) + ".json")
    try:
        outcome = run_program(place, job, [*piece_arguments(place, job, strip, piece),
                                           "--partial", own, "--report", report], limit_s)
        if outcome.fault:
            return outcome
        read_times(report, outcome)
        if shared:
            os.replace(own, target)
        else:
            with open(own, "rb") as file:
                outcome.data = file.read()
        return outcome
    except OSError as fault:
        return Outcome(str(fault))
    finally:
        for leftover in (own, report):
            if os.path.exists(leftover):
                os.remove(leftover)


def piece_arguments(place: Place, job: Job, strip: Strip, piece: Piece) -> list[str]:
    arguments = [find_scene(place, job) or "", *job.options, "--region",
                 region_text(strip.region), "--frames", f"{piece.first}:{piece.end}"]
    if job.gathers:
        arguments += ["--use-photons", photons_of(place, job)]
    return arguments


def read_times(report: str, outcome: Outcome) -> None:
    with open(report, encoding="utf-8") as file:
        times = json.load(file)
    outcome.frames_s = times["phases_s"]["frames"]
    outcome.start_s = times["elapsed_s"] - outcome.frames_s


def run_program(place: Place, job: Job, arguments: list[str],
                limit_s: Optional[float] = None) -> Outcome:
    """Ends with the worker, at the limit, or when nobody wants the piece any more."""
    threads = job.threads or max(1, len(os.sched_getaffinity(0)) // place.slots)
    command = ["setpriv", "--pdeathsig", "KILL", find_program(), *arguments, "--confine",
               "--progress", "none", "--threads", str(threads)]
    started = time.monotonic()
    with tempfile.TemporaryFile() as complaints, subprocess.Popen(
            command, cwd=place.folder, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
            stderr=complaints) as process:
        fault = ""
        while process.poll() is None:
            if place.is_cancelled():
                fault = "not wanted any more"
            elif limit_s is not None and time.monotonic() - started > limit_s:
                fault = f"killed after {limit_s:.0f} s"
            if fault:
                process.kill()
            try:
                process.wait(POLL_S)
            except subprocess.TimeoutExpired:
                pass
        complaints.seek(0)
        text = complaints.read().decode(errors="replace").strip()
    status = process.returncode
    if status == 0:
        return Outcome()
    if status < 0 and not fault:
        fault = f"the program was ended by {signal.Signals(-status).name}"
    lines = "\n".join(line.removeprefix("moonhare: ")
                      for line in text.splitlines()[-TEXT_LINES:])
    return Outcome("; ".join(filter(None, (fault, lines))) or f"status {status}", status)
