"""What a scene is made of: shaders, geometry, lights and the camera, as plain values.

Nothing here calls the library: a scene hands it all over when it renders, so that values may be
changed between renders and shared between scenes.
SPDX-License-Identifier: MIT"""
from __future__ import annotations

import dataclasses
import operator
import os
import re
from typing import Any, Iterable, Mapping, Sequence

import numpy

from .. import functions as mh

SLOTS = ("lambertian", "transmissive", "glossy", "specular", "emissive", "roughness",
         "anisotropy", "angle", "ior", "weight")
PROJECTIONS = {"pinhole": mh.mhProjectionPinhole, "spherical": mh.mhProjectionSpherical}
# mhChannelLambertianColor is "lambertian_color". A mesh has no custom values here, and a camera no
# light of its own.
CHANNELS = {"_".join(re.findall("[A-Z][a-z]*", name)[1:]).lower(): value
            for name, value in vars(mh).items() if name.startswith("mhChannel")
            and name not in ("mhChannelCustom", "mhChannelAllLight")}
MOST_FRAMES = 65535
MOST_PIXELS = 2 ** 31 - 1  # along a side

Color = float | Sequence[float]
Vector = Sequence[float]


def choice(table: dict[str, int], name: str, what: str) -> int:
    if name not in table:
        raise ValueError(f"{what} is {name!r}; it has to be one of {', '.join(table)}")
    return table[name]


def are_counts(values: Any, how_many: int, most: int) -> bool:
    try:
        numbers = [operator.index(value) for value in values]
    except TypeError:
        return False
    return len(numbers) == how_many and all(1 <= number <= most for number in numbers)


def color_of(value: Color, name: str = "color") -> tuple[float, float, float]:
    """Three channels; one number is grey."""
    try:
        red, green, blue = (value,) * 3 if numpy.ndim(value) == 0 else value
        return float(red), float(green), float(blue)
    except (TypeError, ValueError):
        raise ValueError(f"{name} is {value!r}; it has to be one number or three") from None


def rows(values: Any, width: int, kind: type, name: str) -> numpy.ndarray:
    """An array with rows of that many values; not copied where it is one already."""
    array = numpy.ascontiguousarray(values, kind)
    if array.size == 0:
        return array.reshape(0, width)
    if array.shape[-1] != width:
        raise ValueError(f"{name} has rows of {array.shape[-1]} numbers, not of {width}")
    return array.reshape(-1, width)


@dataclasses.dataclass
class Image:
    """A picture file that multiplies the colour of a slot.

    gamma is the exponent of its values: 2.2 brings ordinary 8-bit pictures to linear light."""
    path: str | os.PathLike
    gamma: float = 1.0


Slot = Color | Image | tuple[Color, Image]


def as_color(slot: Slot) -> Slot:
    """The argument color of a ready-made shader, with a fault by that name."""
    parts_of(slot, "color")
    return slot


def parts_of(slot: Slot, name: str) -> tuple[tuple[float, float, float], Image | None]:
    """Colour and image; an image alone has the colour 1."""
    if isinstance(slot, Image):
        return (1.0, 1.0, 1.0), slot
    if isinstance(slot, tuple) and len(slot) == 2 and isinstance(slot[1], (Image, type(None))):
        return color_of(slot[0], name), slot[1]
    return color_of(slot, name), None


@dataclasses.dataclass
class Layer:
    """A layer of a shader: slots are a colour, an image, or both as (colour, image).

    material is "opaque", "solid" (a dielectric that refracts by ior) or "thin" (a sheet)."""
    lambertian: Slot = 0.0
    transmissive: Slot = 0.0
    glossy: Slot = 0.0
    specular: Slot = 0.0
    emissive: Slot = 0.0
    roughness: Slot = 0.0
    anisotropy: Slot = 0.0
    angle: Slot = 0.0
    ior: Slot = 1.0
    weight: Slot = 0.0
    normal: Image | None = None
    material: str = "opaque"
    side: str = "both"

    def __post_init__(self) -> None:
        for slot in SLOTS:
            parts_of(getattr(self, slot), slot)


@dataclasses.dataclass(eq=False)
class Shader:
    """What a surface does to light: its layers, of which each hit uses one by weight.

    smooth_angle in degrees: faces that meet at less share normals; 0 is flat, and below 0 keeps
    the normals of the mesh."""
    layers: list[Layer] = dataclasses.field(default_factory=list)
    smooth_angle: float = -1.0
    visibility: str = "all"  # "camera", "light" or "hidden"


class Diffuse(Shader):
    """Paint, paper, plaster: color is the albedo, 0 to 1."""

    def __init__(self, color: Slot = 0.5, smooth_angle: float = -1.0) -> None:
        super().__init__([Layer(lambertian=as_color(color))], smooth_angle)


class Emitter(Shader):
    """A lamp of that radiance; with side "face" it shines from its fronts alone."""

    def __init__(self, color: Slot = 1.0, side: str = "both") -> None:
        super().__init__([Layer(emissive=as_color(color), side=side)])


class Lacquer(Shader):
    """A diffuse colour under a coat that reflects by ior, roughness 0 to 1."""

    def __init__(self, color: Slot = 0.5, roughness: Slot = 0.1, ior: float = 1.5,
                 smooth_angle: float = -1.0) -> None:
        super().__init__([Layer(lambertian=as_color(color), glossy=1.0, roughness=roughness,
                                ior=ior)], smooth_angle)


class Metal(Shader):
    """Rough metal of that colour, or a mirror with roughness 0."""

    def __init__(self, color: Slot = 0.9, roughness: Slot = 0.1, ior: float = 50.0,
                 smooth_angle: float = -1.0) -> None:
        smooth = numpy.ndim(roughness) == 0 and roughness == 0
        layer = (Layer(specular=as_color(color), ior=ior) if smooth else
                 Layer(glossy=as_color(color), roughness=roughness, ior=ior))
        super().__init__([layer], smooth_angle)


class Glass(Shader):
    """Clear glass: a solid that refracts, or a thin pane."""

    def __init__(self, color: Slot = 1.0, ior: float = 1.5, thin: bool = False,
                 smooth_angle: float = -1.0) -> None:
        super().__init__([Layer(specular=as_color(color), ior=ior,
                                material="thin" if thin else "solid")], smooth_angle)


@dataclasses.dataclass(eq=False)
class Mesh:
    """Triangles, rectangles, or both; make one by from_arrays."""
    positions: numpy.ndarray
    triangles: numpy.ndarray
    quads: numpy.ndarray
    normals: numpy.ndarray
    uvs: numpy.ndarray
    shader: Shader

    @classmethod
    def from_arrays(cls, positions: Any, faces: Any, *, normals: Any = (), uvs: Any = (),
                    shader: Shader | None = None) -> Mesh:
        """A mesh of points (n x 3) and faces: three or four vertex numbers each, from 0.

        normals (n x 3) and uvs (n x 2) go with the points. Arrays of 32-bit floats and integers
        are not copied; a later change of them shows in the next render."""
        points = rows(positions, 3, numpy.float32, "positions")
        faces = numpy.ascontiguousarray(faces, numpy.int32)
        if faces.ndim != 2 or faces.shape[1] not in (3, 4):
            raise ValueError("faces need rows of 3 or 4 vertex numbers")
        if faces.size and not 0 <= faces.min() <= faces.max() < len(points):
            raise ValueError(f"faces name vertices beyond the {len(points)} positions")
        none = numpy.empty((0, 4), numpy.int32)
        mesh = cls(points, none[:, :3] if faces.shape[1] == 4 else faces,
                   faces if faces.shape[1] == 4 else none,
                   rows(normals, 3, numpy.float32, "normals"),
                   rows(uvs, 2, numpy.float32, "uvs"), shader or Diffuse())
        for name in "normals", "uvs":
            count = len(getattr(mesh, name))
            if count not in (0, len(points)):
                raise ValueError(f"{count} {name} for {len(points)} positions")
        return mesh


@dataclasses.dataclass(eq=False)
class Hair:
    """Strands: each an array of points, root first. radius is one number, or root and tip."""
    strands: Iterable[Any]
    radius: float | tuple[float, float] = 0.003
    shader: Shader = dataclasses.field(default_factory=Diffuse)

    def __post_init__(self) -> None:
        self.strands = list(self.strands)  # it is gone through more than once


@dataclasses.dataclass(eq=False)
class Particles:
    """Spheres around centers (n x 3); radius is one number or one for each."""
    centers: Any
    radius: Any = 0.01
    shader: Shader = dataclasses.field(default_factory=Diffuse)


@dataclasses.dataclass(eq=False)
class Instance:
    """Geometry placed by a matrix (4 x 4, by rows; the translation is the last column)."""
    of: Mesh | Hair | Particles
    matrix: Any = dataclasses.field(default_factory=lambda: numpy.eye(4))


@dataclasses.dataclass
class PointLight:
    """A lamp of that radiant intensity over pi, with a sphere's soft shadows if it has a radius.

    A cone of outer_angle degrees around direction; full light in all directions by default."""
    position: Vector = (0, 0, 0)
    color: Color = 1.0
    radius: float = 0.0
    direction: Vector = (0, 0, -1)
    inner_angle: float = 180.0
    outer_angle: float = 180.1
    offset: float = 0.0
    samples: int = 1
    photons: int = 1_000_000

    def __post_init__(self) -> None:
        color_of(self.color)


@dataclasses.dataclass
class ParallelLight:
    """Sunlight towards a direction; blur is half the angle of its cone, in degrees."""
    direction: Vector = (0, 0, -1)
    color: Color = 1.0
    blur: float = 0.0
    offset: float = 0.0
    samples: int = 1
    photons: int = 1_000_000

    def __post_init__(self) -> None:
        color_of(self.color)


@dataclasses.dataclass
class Sky:
    """The light around: a radiance, times a latitude-longitude image if there is one."""
    color: Color = 0.75
    image: str | os.PathLike | None = None
    backdrop: str | os.PathLike | None = None
    north: Vector = (0, 1, 0)
    zenith: Vector = (0, 0, 1)
    samples: int = 64
    photons: int = 1_000_000

    def __post_init__(self) -> None:
        color_of(self.color)


@dataclasses.dataclass
class GeometryLight:
    """All emissive surfaces: samples above 0 aim rays at those that are meshes."""
    samples: int = 0
    photons: int = 1_000_000


@dataclasses.dataclass
class Camera:
    """Where the picture is taken from, and what is in it.

    fov is horizontal, in degrees. end moves the camera during the run, up to another one. aovs
    names further images, such as "normal", "depth" or "lambertian_color"."""
    position: Vector = (0, -4, 1)
    target: Vector = (0, 0, 0)
    up: Vector = (0, 0, 1)
    fov: float = 45.0
    resolution: tuple[int, int] = (640, 400)
    aovs: Sequence[str] = ()
    projection: str = "pinhole"  # or "spherical"
    end: Camera | None = None

    def __post_init__(self) -> None:
        self.check()

    def check(self) -> None:
        if not are_counts(self.resolution, 2, MOST_PIXELS):
            raise ValueError(f"resolution is {self.resolution!r}; width and height have to be 1 "
                             "or more")
        choice(PROJECTIONS, self.projection, "projection")
        for name in self.aovs:
            choice(CHANNELS, name, "an AOV")


def check_render(camera: Camera, frames: int, files: Mapping[str, Any]) -> None:
    """Once more for the camera: it may have changed since it was made."""
    camera.check()
    if not are_counts([frames], 1, MOST_FRAMES):
        raise ValueError(f"frames is {frames!r}; it has to be 1 to {MOST_FRAMES}")
    for name in files:
        if name not in ("beauty", *camera.aovs):
            raise ValueError(f"files has {name!r}, which is neither 'beauty' nor one of the "
                             "camera's aovs")
