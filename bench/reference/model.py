"""The neutral form of a scene, which both writers read. Lengths, angles and light are in the units
of moonhare's scene files: degrees, linear colours, a factor pi in the units of suns and bulbs.
SPDX-License-Identifier: MIT"""
import dataclasses
import hashlib
import math
import typing

import numpy

Color = typing.Tuple[float, float, float]
BLACK = (0.0, 0.0, 0.0)
WHITE = (1.0, 1.0, 1.0)


@dataclasses.dataclass(repr=False)
class Image:
    """Values of a function of arrays (u, v), red, green and blue in the last axis."""
    function: typing.Callable
    width: int = 64
    height: int = 64

    def texels(self, offset):
        """Rows of increasing v. A texel holds the function at (column + offset) / width."""
        u = (numpy.arange(self.width) + offset) / self.width
        v = (numpy.arange(self.height) + offset) / self.height
        return self.function(*numpy.meshgrid(u, v)).astype(numpy.float32)

    def __repr__(self):
        return hashlib.sha256(self.texels(0.5).tobytes()).hexdigest()


@dataclasses.dataclass
class Layer:
    lambertian: Color = BLACK
    transmissive: Color = BLACK
    glossy: Color = BLACK
    specular: Color = BLACK
    emissive: Color = BLACK
    emissive_image: typing.Optional[Image] = None
    normal_image: typing.Optional[Image] = None
    ior: float = 1.0
    roughness: float = 0.0
    weight: float = 1.0
    material: str = "opaque"  # or "thin", "solid"


@dataclasses.dataclass
class Material:
    layers: typing.List[Layer]
    one_sided: bool = False  # black on the back
    # Height field over a square of normals (0, 0, 1): image and subdivisions along an edge.
    displacement: typing.Optional[typing.Tuple[Image, int]] = None
    absorption: typing.Optional[Color] = None  # transmittance of a fibre


@dataclasses.dataclass
class Mesh:
    points: typing.List[typing.Tuple[float, float, float]]
    faces: typing.List[typing.Tuple[int, ...]]
    material: str
    uvs: typing.Optional[typing.List[typing.Tuple[float, float]]] = None
    instances: typing.Optional[typing.List[numpy.ndarray]] = None  # 4 x 4; none: placed as it is


@dataclasses.dataclass
class Sun:
    direction: typing.Tuple[float, float, float]  # of the light's travel
    color: Color
    blur: float = 0.0


@dataclasses.dataclass
class Bulb:
    position: typing.Tuple[float, float, float]
    color: Color
    radius: float = 0.0


@dataclasses.dataclass
class Camera:
    position: typing.Tuple[float, float, float] = (0.0, -5.0, 5.0)
    target: typing.Tuple[float, float, float] = (0.0, 0.3, 0.0)
    up: typing.Tuple[float, float, float] = (0.0, 0.0, 1.0)
    fov: float = 40.0


@dataclasses.dataclass
class Strand:
    """A straight fibre of one segment, along x from -0.5 to 0.5, of one radius."""
    radius: float
    material: str


@dataclasses.dataclass
class Scene:
    """Diffuse and glossy vertices of a path beyond `levels` are left out on both sides."""
    feature: str
    meshes: typing.List[Mesh]
    materials: typing.Dict[str, Material]
    # Cycles, or a function of the scene that returns the picture.
    reference: typing.Any = dataclasses.field(default="Cycles", repr=False)
    camera: Camera = dataclasses.field(default_factory=Camera)
    strand: typing.Optional[Strand] = None
    sky: Color = BLACK
    sky_image: typing.Optional[Image] = None
    lights: list = dataclasses.field(default_factory=list)
    transmittance: Color = WHITE  # of the medium that fills all space
    levels: int = 3
    reference_levels: typing.Optional[int] = None  # where they differ
    frames: int = 128
    gather: int = 512  # bounce rays of the first hit over the run
    light_sample: int = 512  # light samples of the first hit over the run; 0: found by bounces
    photons: int = 0  # above 0: final gathering
    reference_samples: int = 1024
    resolution: int = 96


def unit(vector):
    vector = numpy.asarray(vector, dtype=float)
    return vector / numpy.linalg.norm(vector)


def rotation_between(a, b):
    """The rotation that takes the unit vector a to b by the shortest way."""
    axis, cosine = numpy.cross(a, b), float(numpy.dot(a, b))
    x, y, z = axis
    skew = numpy.array([[0, -z, y], [z, 0, -x], [-y, x, 0]])
    return numpy.eye(3) + skew + skew @ skew / (1 + cosine)


def sky_coordinates(direction):
    """(u, v) of the latitude-longitude map, v from the zenith down."""
    x, y, z = numpy.moveaxis(numpy.asarray(direction), -1, 0)
    return 0.5 - numpy.arctan2(y, x) / (2 * math.pi), numpy.arccos(numpy.clip(z, -1, 1)) / math.pi


def sky_direction(u, v):
    longitude, colatitude = (0.5 - u) * 2 * math.pi, v * math.pi
    ring = numpy.sin(colatitude)
    return numpy.stack([ring * numpy.cos(longitude), ring * numpy.sin(longitude),
                        numpy.cos(colatitude)], axis=-1)
