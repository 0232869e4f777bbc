"""Pictures that the library has handed over, as arrays over its memory.
SPDX-License-Identifier: MIT"""
from __future__ import annotations

import numpy

from .. import functions as mh

Pictures = dict[str, numpy.ndarray]


class Picture:
    """Owns a picture of the library; arrays made of it keep it alive."""

    def __init__(self, number: int) -> None:
        self.number = number
        shape = mh.mhGetPictureHeight(number), mh.mhGetPictureWidth(number), 3
        self.__array_interface__ = {"version": 3, "shape": shape, "typestr": "<f4",
                                    "data": (mh.mhGetPicturePixels(number), False)}

    def __del__(self) -> None:
        mh.mhFreePicture(self.number)


def take_picture(camera: int, aov: int) -> numpy.ndarray:
    return numpy.asarray(Picture(mh.mhTakeCameraAOV(camera, aov)))
