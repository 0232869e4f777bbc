"""From a scene and options to what the farm works on: size and frames of the picture, the folder
that keeps the pieces, and a plan, by a first timed piece or as an interrupted run has left it.
SPDX-License-Identifier: MIT"""
from __future__ import annotations

import dataclasses
import hashlib
import json
import os
import re
import secrets
import subprocess
from dataclasses import dataclass
from typing import Optional

from . import pieces
from .pieces import Piece, Plan, Region, Strip
from .scene_pack import scene_digest
from .worker import Job, find_program, program_version

PROBE_PIXELS = 1 << 18  # of the first timed piece, a frame from the middle of the picture
CAMERA = re.compile(r"^camera (\d+).*: (\d+)x(\d+), (\d+) frames?, \d+ poses?"
                    r"(?:, region (-?\d+),(-?\d+),(-?\d+),(-?\d+))?$", re.MULTILINE)
PIECE = re.compile(r"(\d+)-(\d+)-(\d+)\.partial")


@dataclass(frozen=True)
class Picture:
    cameras: int  # of the scene; one of them is rendered
    width: int
    height: int
    frames: int
    region: Region
    gathers: bool
    has_seed: bool


def describe(scene: str, camera: int) -> Picture:
    """What the program says about the scene."""
    text = subprocess.run([find_program(), "info", scene], check=True, capture_output=True,
                          text=True).stdout
    cameras = {int(match[1]): match for match in CAMERA.finditer(text)}
    if camera not in cameras:
        raise ValueError(f"{scene} has no camera {camera}")
    found = cameras[camera]
    width, height, frames = (int(found[i]) for i in (2, 3, 4))
    region = tuple(int(found[i]) for i in (5, 6, 7, 8)) if found[5] else (0, 0, width, height)
    return Picture(len(cameras), width, height, frames, region, "\nmode: gather" in text,
                   re.search(r"^seed: \d", text, re.MULTILINE) is not None)


def with_options(picture: Picture, resolution: Optional[tuple[int, int]], region: Optional[Region],
                 sample: Optional[int], mode: Optional[str]) -> Picture:
    """The picture that the program makes with these options."""
    width, height = resolution or (picture.width, picture.height)
    whole = picture.region == (0, 0, picture.width, picture.height)
    x0, y0, x1, y1 = region or ((0, 0, width, height) if whole else picture.region)
    inside = (max(x0, 0), max(y0, 0), min(x1, width), min(y1, height))
    if inside[0] >= inside[2] or inside[1] >= inside[3]:
        raise ValueError("the region contains no pixels of the picture")
    return dataclasses.replace(picture, width=width, height=height, region=inside,
                               frames=sample or picture.frames,
                               gathers=mode == "gather" if mode else picture.gathers)


def make_job(scene: str, output_dir: str, options: list[str], gathers: bool, threads: int,
             shares_files: bool) -> Job:
    """With a folder for its pieces that another run of the same picture finds again."""
    digest, version = scene_digest(scene), program_version()
    name = hashlib.sha256(json.dumps([digest, options, version]).encode()).hexdigest()[:16]
    folder = os.path.join(output_dir, "pieces-" + name)
    os.makedirs(folder, exist_ok=True)
    token = secrets.token_hex(16)
    with open(os.path.join(folder, "token"), "w", encoding="utf-8") as file:
        file.write(token)
    return Job(scene, digest, tuple(options), version, gathers, folder,
               token if shares_files else "", threads)


def probe_plan(picture: Picture) -> Plan:
    x0, y0, x1, y1 = picture.region
    rows = max(1, min(y1 - y0, PROBE_PIXELS // (x1 - x0)))
    above = y0 + (y1 - y0 - rows) // 2
    return pieces.make_plan([Strip(1, (x0, above, x1, above + rows))])


def plan_by(picture: Picture, probe: Plan, slots: int) -> Plan:
    seconds_a_pixel = pieces.seconds_a_frame(probe, 0) / probe.strips[0].pixels
    strips = pieces.split_picture(picture.frames, picture.region, slots, seconds_a_pixel)
    return pieces.make_plan(strips, seconds_a_pixel, probe.start_s)


def keep_plan(folder: str, plan: Plan) -> None:
    path = os.path.join(folder, "plan.json")
    with open(path + ".new", "w", encoding="utf-8") as file:
        json.dump({"strips": [dataclasses.asdict(strip) for strip in plan.strips],
                   "seconds_a_pixel": plan.seconds_a_pixel, "start_s": plan.start_s}, file)
    os.replace(path + ".new", path)


def kept_plan(folder: str) -> Optional[Plan]:
    """What an interrupted run has left, with the pieces that are there."""
    try:
        with open(os.path.join(folder, "plan.json"), encoding="utf-8") as file:
            kept = json.load(file)
    except FileNotFoundError:
        return None
    strips = [Strip(strip["frames"], tuple(strip["region"])) for strip in kept["strips"]]
    plan = pieces.make_plan(strips, kept["seconds_a_pixel"], kept["start_s"])
    names = (PIECE.fullmatch(name) for name in os.listdir(folder))
    pieces.keep_done(plan, [Piece(*map(int, name.groups())) for name in names if name])
    return plan
