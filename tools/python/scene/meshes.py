"""Arrays as mesh files and binary hair files. Little-endian, as every machine is that runs Blender.
SPDX-License-Identifier: MIT"""
import numpy

HAIR_SEGMENTS, HAIR_POINTS, HAIR_THICKNESS = 1, 2, 4  # flags of arrays
LONGEST_STRAND = 65535  # segments


def rows(name, values, width, kind, count=None):
    """Contiguous rows of `width` numbers, as many as `count` where that is given."""
    array = numpy.ascontiguousarray(values, kind)
    if array.size % width:
        raise ValueError(f"{name}: {array.size} numbers do not make rows of {width}")
    array = array.reshape(-1, width)
    if count is not None and len(array) != count:
        raise ValueError(f"{name}: {len(array)} rows for {count} vertices")
    return array


def mesh_parts(positions, triangles, normals=None, uvs=None):
    """The parts of a mesh file, in their order."""
    positions = rows("positions", positions, 3, "<f4")
    triangles = rows("triangles", triangles, 3, "<u4")
    count = len(positions)
    if len(triangles) and triangles.max() >= count:
        raise ValueError(f"triangles: vertex {triangles.max()} of {count}")
    parts = [positions]
    if normals is not None:
        parts.append(rows("normals", normals, 3, "<f4", count))
    if uvs is not None:
        parts.append(rows("uvs", uvs, 2, "<f4", count))
    head = numpy.array([count, len(triangles), normals is not None, uvs is not None], "<u4")
    return [b"MHMESH1\n", head, *parts, triangles]


def hair_parts(points, segments, radii):
    """The parts of a hair file: strands of `segments` segments have one point more. A last strand
    without length stands in for the segments that the end of a file loses."""
    points = rows("points", points, 3, "<f4")
    segments = numpy.asarray(segments, numpy.int64).ravel()
    if (segments + 1).sum() != len(points):
        raise ValueError(f"{len(points)} points for strands of {(segments + 1).sum()}")
    radii = numpy.broadcast_to(numpy.asarray(radii, "<f4").ravel(), len(points))
    if len(segments) and (segments.max() > LONGEST_STRAND or len(segments) >= LONGEST_STRAND):
        raise ValueError("a hair file takes strands of 65,535 segments, and 65,534 strands")
    spare = len(segments) + 1
    points = numpy.concatenate([points, numpy.repeat(points[-1:], spare + 1, 0)])
    radii = numpy.concatenate([radii, numpy.repeat(radii[-1:], spare + 1)])
    header = numpy.zeros(32, "<u4")
    flags = HAIR_SEGMENTS | HAIR_POINTS | HAIR_THICKNESS
    header[1:4] = len(segments) + 1, len(points), flags
    header[0] = int.from_bytes(b"HAIR", "little")
    return [header, numpy.append(segments, spare).astype("<u2"), points,
            (2 * radii).astype("<f4")]
