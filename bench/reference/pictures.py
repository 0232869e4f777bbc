"""Float pictures: portable float maps, and how two of them differ.
SPDX-License-Identifier: MIT"""
import os
import sys

import numpy

sys.path.append(os.path.join(os.path.dirname(os.path.abspath(__file__)), "../../tools/python"))
import scene  # noqa: E402

BLOCK = 8  # pixels


def write_pfm(path, rows, bottom_up=True):
    """Rows of (red, green, blue); the file holds the lowest row of the picture first."""
    rows = numpy.asarray(rows, numpy.float32)
    with open(path, "wb") as file:
        file.write(b"PF\n%d %d\n-1.0\n" % (rows.shape[1], rows.shape[0]))
        file.write((rows if bottom_up else rows[::-1]).astype("<f4").tobytes())


def read_pfm(path):
    """The picture, its top row first."""
    return scene.read_pfm(path).astype(float)


def block_means(picture, block=BLOCK):
    """Of whole blocks; what is left over at the ends of rows and columns does not count."""
    height, width = (length // block for length in picture.shape[:2])
    cut = picture[:height * block, :width * block]
    return cut.reshape(height, block, width, block, -1).mean((1, 3))


def compare(picture, reference):
    """Ratio of the means, and root of the mean squared relative difference of block means. What is
    darker than a hundredth of the mean is compared with that hundredth."""
    ours, theirs = block_means(picture), block_means(reference)
    floor = numpy.maximum(theirs, 0.01 * theirs.mean())
    return (picture.mean() / reference.mean(),
            float(numpy.sqrt((((ours - theirs) / floor) ** 2).mean())))
