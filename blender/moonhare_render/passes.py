"""Render layers: which images the program writes for each, and what becomes of them.
SPDX-License-Identifier: MIT"""
import os
from dataclasses import dataclass

import numpy

from .moonhare_scene import read_pfm

FAR = 1e10  # depth where nothing is hit
BEAUTY = "beauty.pfm"
# The picture without its background.
LIT_TYPES = ("lambertian", "transmissive", "glossy", "specular", "emissive")
MOST_LAMPS = 32
MOST_IMAGES = 64  # of lamps, which instances repeat


@dataclass
class Pass:
    """A pass of Blender's: the sum of images."""
    name: str
    channels: str
    files: list

    @property
    def kind(self):
        return "VALUE" if len(self.channels) == 1 else \
            "COLOR" if self.channels.startswith("RGB") else "VECTOR"


def camera_file(kind):
    return f"{kind}.pfm"


def camera_pass(name, channels, *types):
    return Pass(name, channels, list(map(camera_file, types)))


BUILT_IN = {
    "use_pass_z": camera_pass("Depth", "Z", "depth"),
    "use_pass_normal": camera_pass("Normal", "XYZ", "normal"),
    "use_pass_position": camera_pass("Position", "XYZ", "position"),
    "use_pass_uv": camera_pass("UV", "UVA", "uv"),
    "use_pass_emit": camera_pass("Emit", "RGB", "emissive"),
    "use_pass_diffuse_color": camera_pass("DiffCol", "RGB", "lambertian_color"),
    "use_pass_glossy_color": camera_pass("GlossCol", "RGB", "glossy_color", "specular_color"),
}
OWN = {
    "pass_diffuse": camera_pass("Diffuse", "RGB", "lambertian", "transmissive"),
    "pass_glossy": camera_pass("Glossy", "RGB", "glossy", "specular"),
    "pass_emission": camera_pass("Emission", "RGB", "emissive"),
    "pass_noise": camera_pass("Noise", "RGB", "noise"),
}


def own_passes(settings, lamps):
    """Passes that Blender does not know by itself."""
    found = [p for flag, p in OWN.items() if getattr(settings, flag)]
    if settings.pass_lights:
        found += [Pass(light_pass(name), "RGB", []) for name in lamps]  # files come with the lamps
    return found


def lamp_names(scene):
    """Lamps with a pass of their own, in a fixed order, and the world."""
    names = sorted(ob.name for ob in scene.objects if ob.type == "LIGHT" and not ob.hide_render)
    return [*names[:MOST_LAMPS], "World"]


def light_pass(name):
    return "Light " + name


def wanted_passes(view_layer, settings, lamps):
    built_in = [p for flag, p in BUILT_IN.items() if getattr(view_layer, flag, False)]
    return built_in + own_passes(settings, lamps)


def camera_aovs(passes, transparent):
    """Blocks of the images that the passes need."""
    types = [file[:-len(".pfm")] for p in passes for file in p.files]
    types += LIT_TYPES if transparent else ()
    return [{"image": camera_file(kind), "type": kind} for kind in dict.fromkeys(types)]


def lamp_aov(passes, name, report):
    """Block of a new image of a lamp's light, or None where no pass shows it."""
    wanted = next((p for p in passes if p.name == light_pass(name)), None)
    if wanted is None:
        return None
    count = sum(len(p.files) for p in passes if p.name.startswith(light_pass("")))
    if count == MOST_IMAGES:
        report.note(f"passes of lights show the first {MOST_IMAGES} instances of lamps")
        return None
    wanted.files.append(f"light_{count}.pfm")
    return {"image": wanted.files[-1], "type": "all_light"}


class Pictures:
    """Reads what a run has written, as rows of the view's size, the lowest one first."""

    def __init__(self, folder, view, transparent):
        self.folder, self.view, self.transparent = folder, view, transparent

    def read(self, file):
        rows = read_pfm(os.path.join(self.folder, file))
        x0, y0, x1, y1 = self.view.region
        return rows[y0:y1, x0:x1]

    def sum(self, files):
        found = [self.read(file) for file in files
                 if os.path.exists(os.path.join(self.folder, file))]
        if not found:
            x0, y0, x1, y1 = self.view.region
            return numpy.zeros((y1 - y0, x1 - x0, 3), numpy.float32)
        return sum(found)

    def combined(self):
        """Red, green, blue and coverage. Behind a transparent film stands a white backdrop, which
        is taken out again."""
        picture = self.read(BEAUTY)
        if not self.transparent:
            return self.finished(numpy.concatenate([picture, numpy.ones_like(picture[..., :1])],
                                                   -1))
        lit = self.sum([camera_file(kind) for kind in LIT_TYPES])
        coverage = 1 - numpy.clip((picture - lit).mean(-1, keepdims=True), 0, 1)
        return self.finished(numpy.concatenate([lit, coverage], -1))

    def rows_of(self, wanted):
        rows = self.sum(wanted.files)
        if wanted.name == "Depth":
            return self.finished(self.depth(rows))
        if wanted.name == "Normal":
            rows = numpy.where((rows != 0).any(-1, keepdims=True), 2 * rows - 1, 0)
        if wanted.name == "UV":
            rows = numpy.concatenate([rows[..., :2], (rows != 0).any(-1, keepdims=True)], -1)
        return self.finished(rows)

    def depth(self, rows):
        """Along the axis of view, as Blender has it."""
        distance = rows[..., 0]
        cosines = self.view.plane_cosines()
        along = distance if cosines is None else distance * cosines
        return numpy.where(distance > 0, along - self.view.back, FAR)[..., None]

    def finished(self, rows):
        """Rows of the frame's size: means of what each pixel covers, the lowest one first."""
        width, height = self.view.size
        rows = numpy.asarray(rows, numpy.float32)
        if rows.shape[1] != width:
            rows = numpy.einsum("xw,hwc->hxc", covering(rows.shape[1], width), rows)
        if rows.shape[0] != height:
            rows = numpy.einsum("yh,hwc->ywc", covering(rows.shape[0], height), rows)
        return rows[::-1]


def covering(before, after):
    """Weights by which `after` even pixels take the mean of `before` ones."""
    edges = numpy.arange(after + 1) * before / after
    starts = numpy.maximum(edges[:-1, None], numpy.arange(before)[None])
    ends = numpy.minimum(edges[1:, None], numpy.arange(before)[None] + 1)
    return numpy.maximum(ends - starts, 0) * after / before
