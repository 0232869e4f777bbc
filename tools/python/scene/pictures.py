"""Pictures as arrays of rows, the top one first: PNG of bytes, portable float maps of floats.
SPDX-License-Identifier: MIT"""
import struct
import zlib

import numpy

PNG_KINDS = {1: 0, 3: 2, 4: 6}  # by channels


def png(texels):
    """Bytes of a PNG file of grey, RGB or RGBA bytes."""
    height, width, channels = texels.shape
    rows = numpy.zeros((height, 1 + width * channels), numpy.uint8)  # the first byte: no filter
    rows[:, 1:] = texels.reshape(height, -1)

    def chunk(kind, data):
        return struct.pack(">I", len(data)) + kind + data + struct.pack(">I",
                                                                        zlib.crc32(kind + data))

    head = struct.pack(">IIBBBBB", width, height, 8, PNG_KINDS[channels], 0, 0, 0)
    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", head) + chunk(b"IDAT", zlib.compress(rows, 1))
            + chunk(b"IEND", b""))


def pfm(texels):
    """Bytes of a portable float map of three channels, which starts with the lowest row."""
    height, width, channels = texels.shape
    colors = numpy.broadcast_to(texels[..., :3],
                                (height, width, 3)) if channels == 1 else texels[..., :3]
    return b"PF\n%d %d\n-1.0\n" % (width, height) + colors[::-1].astype("<f4").tobytes()


def read_pfm(path):
    """Rows of a portable float map, the top one first; ValueError where the file is cut."""
    with open(path, "rb") as file:
        channels = 3 if file.readline().strip() == b"PF" else 1
        width, height = map(int, file.readline().split())
        order = "<f4" if float(file.readline()) < 0 else ">f4"
        values = numpy.frombuffer(file.read(), order, width * height * channels)
    return values.reshape(height, width, channels)[::-1]
