"""Values of sockets: constant colours, or colours of the texels of a picture.
SPDX-License-Identifier: MIT"""
from dataclasses import dataclass, field, replace

import numpy

LUMINANCE = numpy.array([0.2126, 0.7152, 0.0722])


@dataclass(frozen=True)
class Place:
    """Which coordinates a picture takes, what moves them, and what lies beyond 0..1."""
    uv_layer: str = ""  # the active one
    matrix: tuple = (1.0, 0.0, 0.0, 0.0, 1.0, 0.0, 0.0, 0.0, 1.0)
    wrap: str = "repeat"
    pixels: str = "bilinear"


@dataclass
class Value:
    """A colour, times the texels of a picture where there is one: `image` as its file has them, or
    `texels` that were computed, linear, the lowest row first."""
    color: numpy.ndarray = field(default_factory=lambda: numpy.ones(3))
    image: object = None  # pictures.Source
    texels: numpy.ndarray | None = None
    place: Place = Place()

    @property
    def is_constant(self):
        return self.image is None and self.texels is None

    def rows(self):
        """Texels with the colour applied, or the colour as the only texel."""
        if self.is_constant:
            return self.color.reshape(1, 1, 3)
        texels = self.image.texels() if self.texels is None else self.texels
        return texels * self.color

    def mean(self):
        return self.rows().mean((0, 1))

    def scaled(self, factor):
        return replace(self, color=self.color * factor)

    @property
    def is_black(self):
        return not numpy.any(self.color)


def constant(value):
    return Value(numpy.broadcast_to(numpy.asarray(value, float), 3).copy())


def fitted(rows, height, width):
    """Rows of another size, by the nearest texels."""
    if rows.shape[:2] in ((1, 1), (height, width)):
        return rows
    y = numpy.arange(height) * rows.shape[0] // height
    x = numpy.arange(width) * rows.shape[1] // width
    return rows[y][:, x]


def combined(function, *values):
    """The function of all colours: a constant of constants, else texels of the largest picture."""
    all_rows = [value.rows() for value in values]
    largest = max(all_rows, key=lambda rows: rows.size)
    result = function(*(fitted(rows, *largest.shape[:2]) for rows in all_rows))
    if all(value.is_constant for value in values):
        return Value(numpy.array(result[0, 0], float))
    place = next(value.place for value in values if not value.is_constant)
    return Value(texels=numpy.broadcast_to(result, (*largest.shape[:2], 3)), place=place)


def product(first, second):
    if first.is_constant:
        return second.scaled(first.color)
    if second.is_constant:
        return first.scaled(second.color)
    return combined(lambda a, b: a * b, first, second)


def reverse(value):
    return combined(lambda a: 1 - a, value)


def grey(value):
    """The number that Blender makes of a colour."""
    if value.is_constant and numpy.ptp(value.color) == 0:
        return value
    return combined(lambda a: (a @ LUMINANCE)[..., None].repeat(3, -1), value)
