"""python3 -m moonhare.farm: renders one picture on the workers of a Dask cluster.
SPDX-License-Identifier: MIT"""
from __future__ import annotations

import argparse
import contextlib
import dataclasses
import os
import re
import shutil
import signal
import subprocess
import sys
from typing import Callable, NoReturn, Optional

from . import pieces, picture_job
from .picture_job import Picture
from .pieces import Plan
from .worker import Job, piece_name, region_text

DONE, WRONG_USE, NOT_WRITTEN, INTERRUPTED = 0, 2, 3, 130  # as those of the program


NOT_OF_A_PIECE = frozenset((
    "--frames", "--partial", "--photons", "--use-photons", "--report",  # the farm sets them
    "--noise", "--checkpoint", "--resume", "--write-every", "--preview", "--time-limit", "--log"))


class Parser(argparse.ArgumentParser):
    """Complains in one line."""

    def error(self, message: str) -> NoReturn:
        self.exit(WRONG_USE, "moonhare farm: " + message.removeprefix("argument ") + "\n")


def whole_numbers(form: str, separator: str) -> Callable[[str], tuple[int, ...]]:
    def parse(text: str) -> tuple[int, ...]:
        parts = text.split(separator)
        if len(parts) != len(form.split(separator)) or \
                not all(re.fullmatch(r"-?\d+", part) for part in parts):
            raise argparse.ArgumentTypeError(f"{text} is not of the form {form}")
        return tuple(map(int, parts))

    return parse


def whole_number(least: int) -> Callable[[str], int]:
    def parse(text: str) -> int:
        if not re.fullmatch(r"\d+", text) or int(text) < least:
            wanted = f"whole number above {least - 1}" if least else "whole number"
            raise argparse.ArgumentTypeError(f"{text} is not a {wanted}")
        return int(text)

    return parse


def address(text: str) -> str:
    if not re.fullmatch(r"[a-z]+://.+:\d+", text):
        raise argparse.ArgumentTypeError(f"{text} is not of the form tcp://HOST:PORT")
    return text


def parse_arguments(arguments: list[str]) -> tuple[argparse.Namespace, list[str]]:
    positive = whole_number(1)
    parser = Parser(
        prog="python3 -m moonhare.farm", allow_abbrev=False,
        description="Renders a scene in pieces on the workers of a Dask cluster. Other options are "
                    "those of the program moonhare, and go to every piece, except those that a "
                    "piece cannot have.")
    parser.add_argument("scene", metavar="SCENE")
    where = parser.add_mutually_exclusive_group(required=True)
    where.add_argument("--scheduler", type=address, metavar="ADDRESS",
                       help="Dask's scheduler, as tcp://HOST:8786")
    where.add_argument("--local", type=positive, metavar="N",
                       help="N worker processes of this machine")
    parser.add_argument("--output-dir", default=".", metavar="DIR", help="where pictures go")
    parser.add_argument("--threads", type=positive, default=0, metavar="N",
                        help="threads of a piece; by default the worker's processors divided by "
                             "its slots")
    parser.add_argument("--no-shared-files", action="store_true",
                        help="send scene and pieces even where workers see the same folders")
    parser.add_argument("--keep-pieces", action="store_true", help="leave them for moonhare merge")
    parser.add_argument("--progress", choices=("bar", "plain", "none"))
    parser.add_argument("--seed", type=whole_number(0), metavar="N",
                        help="by default the scene's, or else 0")
    parser.add_argument("--sample", type=positive, metavar="N", help="frames")
    parser.add_argument("--resolution", type=whole_numbers("WxH", "x"), metavar="WxH")
    parser.add_argument("--region", type=whole_numbers("x0,y0,x1,y1", ","),
                        metavar="x0,y0,x1,y1")
    parser.add_argument("--mode", choices=("gather", "path"))
    parser.add_argument("--camera", type=whole_number(0), metavar="N", help="by default the first")
    given, others = parser.parse_known_args(arguments)
    for name in (other.partition("=")[0] for other in others):
        if name in NOT_OF_A_PIECE:
            parser.error(f"{name} does not go with the farm")
    return given, others


def program_options(given: argparse.Namespace, others: list[str], picture: Picture) -> list[str]:
    """What each piece gets; the region stands for itself where the picture is split by rows."""
    values = {"--seed": 0 if given.seed is None and not picture.has_seed else given.seed,
              "--sample": given.sample, "--mode": given.mode, "--camera": given.camera}
    if given.camera is None and picture.cameras > 1:
        values["--camera"] = 0
    if given.resolution:
        values["--resolution"] = "x".join(map(str, given.resolution))
    options = [part for name, value in values.items() if value is not None
               for part in (name, str(value))]
    return options + others


def render(given: argparse.Namespace, job: Job, picture: Picture,
           connect: Callable[[], object]) -> int:
    from . import engine, pictures, progress

    farm = engine.open_farm(connect)
    form = given.progress or ("bar" if sys.stderr.isatty() else "plain")
    shown = progress.Progress(form, picture.frames)
    shots = pictures.Pictures(job.pieces, os.path.abspath(given.output_dir),
                              ["--region", region_text(picture.region)] if given.region else [])
    plan: Optional[Plan] = None

    def on_progress(plan: Plan) -> None:
        pictures.better_pictures(shots, plan)
        progress.show(shown, plan, len(farm.members), engine.slots_of(farm))

    try:
        plan = picture_job.kept_plan(job.pieces) or timed_plan(farm, job, picture)
        engine.render_plan(farm, job, plan, on_progress)
        progress.show(shown, plan, len(farm.members), engine.slots_of(farm), is_last=True)
        status = DONE
    except engine.FarmFault as fault:
        engine.say(str(fault))
        status = NOT_WRITTEN
    except KeyboardInterrupt:
        status = INTERRUPTED
    finally:
        engine.close_farm(farm)
    if plan is None or not pieces.covers_picture(plan):
        return status
    merged = pictures.last_picture(shots, plan, status == DONE)
    if status == DONE and merged == DONE and not given.keep_pieces:
        shutil.rmtree(job.pieces)
    return status or merged


def timed_plan(farm, job: Job, picture: Picture) -> Plan:
    """By a frame of the middle of the picture; of a small picture it is a piece as well."""
    from . import engine

    probe = picture_job.probe_plan(picture)
    folder = os.path.join(job.pieces, "probe")
    os.makedirs(folder, exist_ok=True)
    with contextlib.suppress(FileNotFoundError):
        os.remove(os.path.join(folder, piece_name(pieces.Piece(0, 0, 1))))
    shutil.copy(os.path.join(job.pieces, "token"), folder)
    engine.render_plan(farm, dataclasses.replace(job, pieces=folder), probe, lambda plan: None)
    plan = picture_job.plan_by(picture, probe, engine.slots_of(farm))
    picture_job.keep_plan(job.pieces, plan)
    if plan.strips[0].region == probe.strips[0].region:
        first = pieces.Piece(0, 0, 1)
        os.replace(os.path.join(folder, piece_name(first)),
                   os.path.join(job.pieces, piece_name(first)))
        pieces.keep_done(plan, [first])
    shutil.rmtree(folder)
    return plan


def main() -> int:
    given, others = parse_arguments(sys.argv[1:])
    try:
        from . import clusters
    except ImportError as fault:
        print(f"moonhare farm: {fault}; on Debian, install python3-distributed", file=sys.stderr)
        return WRONG_USE
    try:
        scene = os.path.abspath(given.scene)
        picture = picture_job.with_options(
            picture_job.describe(scene, given.camera or 0), given.resolution, given.region,
            given.sample, given.mode)
        job = picture_job.make_job(
            scene, os.path.abspath(given.output_dir), program_options(given, others, picture),
            picture.gathers, given.threads or threads_beside(given.local),
            not given.no_shared_files)
    except (OSError, ValueError, subprocess.CalledProcessError) as fault:
        said = getattr(fault, "stderr", None) or f"moonhare farm: {fault}"
        print(said.strip(), file=sys.stderr)
        return WRONG_USE
    signal.signal(signal.SIGTERM, signal.default_int_handler)
    try:
        if given.scheduler:
            return render(given, job, picture, clusters.connect_to(given.scheduler))
        with clusters.local_workers(given.local) as connect:
            return render(given, job, picture, connect)
    except OSError as fault:
        print(f"moonhare farm: {fault}", file=sys.stderr)
        return NOT_WRITTEN


def threads_beside(workers: Optional[int]) -> int:
    """Of a piece, where so many workers share this machine; 0: each decides."""
    return max(1, len(os.sched_getaffinity(0)) // workers) if workers else 0


if __name__ == "__main__":
    sys.exit(main())
