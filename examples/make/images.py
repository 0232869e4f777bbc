# SPDX-License-Identifier: MIT
"""Image files, made of a function of the pixel: PNG with 8 bits and Radiance HDR."""
import math
import struct
import zlib


def save_png(path, width, height, pixel):
    """pixel(x, y) gives three values in 0..1, or four with opacity; y = 0 is the top row."""
    def chunk(kind, data):
        return (struct.pack(">I", len(data)) + kind + data
                + struct.pack(">I", zlib.crc32(kind + data)))
    rows = bytearray()
    for y in range(height):
        rows.append(0)
        for x in range(width):
            rows += bytes(min(255, max(0, round(255 * c))) for c in pixel(x, y))
    colour_type = 6 if len(pixel(0, 0)) == 4 else 2
    with open(path, "wb") as file:
        file.write(b"\x89PNG\r\n\x1a\n"
                   + chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, colour_type, 0, 0, 0))
                   + chunk(b"IDAT", zlib.compress(bytes(rows), 9)) + chunk(b"IEND", b""))


def save_hdr(path, width, height, pixel):
    """pixel(x, y) gives a linear colour; y = 0 is the top row. Uncompressed scanlines: width < 8 or
    the pixels' first bytes keep readers from taking them for run lengths."""
    with open(path, "wb") as file:
        file.write(b"#?RADIANCE\nFORMAT=32-bit_rle_rgbe\n\n"
                   + f"-Y {height} +X {width}\n".encode())
        for y in range(height):
            for x in range(width):
                file.write(rgbe(pixel(x, y)))


def rgbe(colour):
    largest = max(colour)
    if largest < 1e-32:
        return b"\0\0\0\0"
    exponent = math.frexp(largest)[1]
    scale = math.ldexp(256.0, -exponent)
    return bytes(min(255, int(c * scale)) for c in colour) + bytes([exponent + 128])


def value_noise(u, v, cells_u, cells_v, seed=0):
    """Smooth noise in 0..1 that repeats with u and v = 1; cubic between lattice values."""
    def lattice(i, j):
        h = (i % cells_u) * 374761393 + (j % cells_v) * 668265263 + seed * 2246822519
        h = ((h ^ (h >> 13)) * 1274126177) & 0xFFFFFFFF
        return ((h ^ (h >> 16)) & 0xFFFF) / 65535.0
    x, y = u * cells_u, v * cells_v
    i, j = math.floor(x), math.floor(y)
    fx, fy = ((t * t * (3 - 2 * t)) for t in (x - i, y - j))
    low = lattice(i, j) * (1 - fx) + lattice(i + 1, j) * fx
    high = lattice(i, j + 1) * (1 - fx) + lattice(i + 1, j + 1) * fx
    return low * (1 - fy) + high * fy
