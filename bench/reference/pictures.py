"""Float pictures: portable float maps, and how two of them differ.
SPDX-License-Identifier: MIT"""
import numpy

BLOCK = 8  # pixels


def write_pfm(path, rows, bottom_up=True):
    """Rows of (red, green, blue); the file holds the lowest row of the picture first."""
    rows = numpy.asarray(rows, numpy.float32)
    with open(path, "wb") as file:
        file.write(b"PF\n%d %d\n-1.0\n" % (rows.shape[1], rows.shape[0]))
        file.write((rows if bottom_up else rows[::-1]).astype("<f4").tobytes())


def read_pfm(path):
    """The picture, its top row first."""
    with open(path, "rb") as file:
        kind = file.readline().strip()
        width, height = map(int, file.readline().split())
        order = "<f4" if float(file.readline()) < 0 else ">f4"
        channels = 3 if kind == b"PF" else 1
        values = numpy.frombuffer(file.read(), order, width * height * channels)
    return values.reshape(height, width, channels)[::-1].astype(float)


def block_means(picture):
    height, width, channels = picture.shape
    return picture.reshape(height // BLOCK, BLOCK, width // BLOCK, BLOCK, channels).mean((1, 3))


def compare(picture, reference):
    """Ratio of the means, and root of the mean squared relative difference of block means. What is
    darker than a hundredth of the mean is compared with that hundredth."""
    ours, theirs = block_means(picture), block_means(reference)
    floor = numpy.maximum(theirs, 0.01 * theirs.mean())
    return (picture.mean() / reference.mean(),
            float(numpy.sqrt((((ours - theirs) / floor) ** 2).mean())))
