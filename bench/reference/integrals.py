"""References by brute force for what Cycles has no model of: surfaces of Ward's facets, fibres.
Each integrates the documented formula over the first surface alone.
SPDX-License-Identifier: MIT"""
import math

import numpy

from model import sky_coordinates, unit
from pictures import BLOCK

RAYS = 1024  # of a pixel
STEPS = 256  # of the azimuth, for integrals over the sphere


def camera_rays(scene, x, y):
    """Unit directions through picture coordinates, y downwards."""
    view, size = scene.camera, scene.resolution
    forward = unit(numpy.subtract(view.target, view.position))
    right = unit(numpy.cross(forward, view.up))
    away = 0.5 * size / math.tan(math.radians(view.fov) / 2)
    up = numpy.cross(right, forward)
    ways = (x - size / 2)[..., None] * right + (size / 2 - y)[..., None] * up + away * forward
    return ways / numpy.linalg.norm(ways, axis=-1, keepdims=True)


def dot(a, b):
    return (a * b).sum(axis=-1)


def bilinear(table, x, y):
    """Lookup in rows y and columns x that repeat."""
    height, width = table.shape[:2]
    column, row = numpy.floor(x).astype(int), numpy.floor(y).astype(int)
    a, b = (x - column)[..., None], (y - row)[..., None]

    def at(i, j):
        return table[j % height, i % width]
    return ((at(column, row) * (1 - a) + at(column + 1, row) * a) * (1 - b)
            + (at(column, row + 1) * (1 - a) + at(column + 1, row + 1) * a) * b)


def sky_radiance(scene, ways):
    color = numpy.array(scene.sky, float)
    if not scene.sky_image:
        return numpy.broadcast_to(color, ways.shape)
    u, v = sky_coordinates(ways)
    return scene.sky_image.function(u, v) * color


def incoming(scene, origins, ways):
    """Light of the rectangles that glow, and of the sky beyond."""
    light, nearest = numpy.array(sky_radiance(scene, ways)), numpy.full(ways.shape[:-1], numpy.inf)
    for mesh in scene.meshes:
        layer = scene.materials[mesh.material].layers[0]
        if layer.material != "opaque" or layer.glossy != (0, 0, 0):
            continue
        corner, along, _, across = (numpy.array(p) for p in mesh.points)
        edge_u, edge_v = along - corner, across - corner
        normal = unit(numpy.cross(edge_u, edge_v))
        with numpy.errstate(divide="ignore", invalid="ignore"):
            distance = dot(corner - origins, normal) / dot(ways, normal)
        place = origins + distance[..., None] * ways - corner
        u, v = dot(place, edge_u) / dot(edge_u, edge_u), dot(place, edge_v) / dot(edge_v, edge_v)
        hit = (distance > 0) & (distance < nearest) & (abs(u - 0.5) <= 0.5) & (abs(v - 0.5) <= 0.5)
        glow = numpy.array(layer.emissive, float) * (
            layer.emissive_image.function(u, v) if layer.emissive_image else 1.0)
        shines = hit & (dot(ways, normal) < 0)
        light[hit] = 0.0
        light[shines] = numpy.broadcast_to(glow, light.shape)[shines]
        nearest[hit] = distance[hit]
    return light


def pixel_rays(scene, random, row):
    """Views of a row of pixels, RAYS each, and where they meet the plane z = 0."""
    columns = numpy.repeat(numpy.arange(scene.resolution)[:, None], RAYS, axis=1)
    views = camera_rays(scene, columns + random.random(columns.shape),
                        row + random.random(columns.shape))
    eye = numpy.array(scene.camera.position)
    return views, eye - (eye[2] / views[..., 2])[..., None] * views


def half_vectors(roughness, random, shape):
    """[Ward92]: density exp(-tan^2 / roughness^2) / (pi roughness^2 cos^3) about z."""
    phi = 2 * math.pi * random.random(shape)
    theta = numpy.arctan(roughness * numpy.sqrt(-numpy.log(1 - random.random(shape))))
    return numpy.stack([numpy.sin(theta) * numpy.cos(phi), numpy.sin(theta) * numpy.sin(phi),
                        numpy.cos(theta)], axis=-1)


def mean_beyond(scene, places, ways, side):
    """Mean light of each row of ways, those that stay on the wrong side of the floor left out."""
    counts = side * ways[..., 2] > 0
    light = incoming(scene, places, ways) * counts[..., None]
    return light.sum(axis=1) / counts.sum(axis=1)[:, None]


def mirrored(views, halves):
    return views - 2 * dot(views, halves)[..., None] * halves


def refracted(ior, views, halves):
    eta, e = 1 / ior, -dot(views, halves)
    return (eta * e - numpy.sqrt(1 - (1 - e * e) * eta ** 2))[..., None] * halves + eta * views


def glossy_floor(scene):
    """Picture of a rough floor at z = 0, seen from above. Facets send light as mirrors or windows
    do, as much as the even floor would by [Schlick94]."""
    layer = scene.materials["glossy"].layers[0]
    random, size = numpy.random.default_rng(1), scene.resolution
    r0 = ((layer.ior - 1) / (layer.ior + 1)) ** 2
    rows = []
    for row in range(size):
        views, places = pixel_rays(scene, random, row)
        halves = half_vectors(layer.roughness, random, views.shape[:2])
        f = (r0 + (1 - r0) * (1 + views[..., 2]) ** 5).mean(axis=1)[:, None]
        light = f * mean_beyond(scene, places, mirrored(views, halves), 1)
        if layer.material == "solid":
            light += (1 - f) * mean_beyond(scene, places, refracted(layer.ior, views, halves), -1)
        rows.append(light)
    return numpy.array(rows) * layer.glossy


def mapped_floor(scene):
    """Picture of a square at z = 0 with tangent normals, under a sun. It stands for itself or is
    turned by an instance; the axes of its texture are its own x and y."""
    mesh, sun = scene.meshes[0], scene.lights[0]
    layer, random = scene.materials[mesh.material].layers[0], numpy.random.default_rng(1)
    turn = mesh.instances[0][:3, :3] if mesh.instances else numpy.eye(3)
    half, to_sun, rows = mesh.points[2][0], -unit(sun.direction), []
    for row in range(scene.resolution):
        places = pixel_rays(scene, random, row)[1] @ turn
        uv = places[..., :2] / (2 * half) + 0.5
        normals = layer.normal_image.function(uv[..., 0], uv[..., 1]) - 0.5
        cosine = (normals @ turn.T) @ to_sun / numpy.linalg.norm(normals, axis=-1)
        on_floor = (abs(uv - 0.5) <= 0.5).all(axis=-1)
        rows.append((numpy.maximum(cosine, 0) * on_floor).mean(axis=1))
    return numpy.array(rows)[..., None] * layer.lambertian * numpy.array(sun.color)


def sphere_grid():
    """Directions and their solid angles."""
    v, u = numpy.meshgrid((numpy.arange(STEPS // 2) + 0.5) / (STEPS // 2),
                          (numpy.arange(STEPS) + 0.5) / STEPS, indexing="ij")
    z, phi = 1 - 2 * v, 2 * math.pi * u
    ring = numpy.sqrt(1 - z * z)
    ways = numpy.stack([ring * numpy.cos(phi), ring * numpy.sin(phi), z], axis=-1).reshape(-1, 3)
    return ways, 4 * math.pi / len(ways)


def across(ways):
    """The part across the fibre, which lies along x, and its length."""
    part = ways * (0, 1, 1)
    length = numpy.linalg.norm(part, axis=-1)
    return part / length[..., None], length


def diffuse_fibre(material, view, ways):
    """|(pi - x) cos x + sin x| cos theta / (4 pi), x between the directions across the fibre."""
    part, cosine = across(ways)
    x = numpy.arccos(numpy.clip(part @ across(view)[0], -1, 1))
    value = abs((math.pi - x) * numpy.cos(x) + numpy.sin(x)) * cosine / (4 * math.pi)
    return value[:, None] * numpy.array(material.layers[0].lambertian)


def periodic_gauss(x, width):
    return sum(numpy.exp(-(x - 2 * math.pi * m) ** 2 / (2 * width ** 2)) for m in range(-2, 3)) / (
        width * math.sqrt(2 * math.pi))


def azimuthal_lobes(material, widths, cos_d, phi):
    """[dEon11]: R without its Fresnel factor, TT and TRT, mean over the offset h."""
    ior, absorption = material.layers[0].ior, -numpy.log(numpy.array(material.absorption))
    f0 = ((ior - 1) / (ior + 1)) ** 2
    lobes = numpy.zeros((3, len(phi), 3))
    for h in (numpy.arange(-64, 64) + 0.5) / 64:
        s = h * cos_d / numpy.sqrt(ior ** 2 - 1 + cos_d ** 2)
        outer, inner = math.asin(h), numpy.arcsin(s)
        f = (f0 + (1 - f0) * (1 - math.cos(outer) * cos_d) ** 5)[:, None]
        way = 2 * (1 + numpy.cos(2 * inner)) / numpy.sqrt(1 - s * s)
        a = numpy.exp(-absorption * way[:, None])
        lobes[0] += periodic_gauss(2 * outer + phi, widths[0])[:, None]
        lobes[1] += periodic_gauss(2 * (outer - inner) + phi - math.pi, widths[1])[:, None] * (
            a * (1 - f) ** 2)
        lobes[2] += periodic_gauss(2 * (outer - math.pi) + phi - 4 * inner, widths[2])[:, None] * (
            f * a ** 2 * (1 - f) ** 2)
    return lobes / 128


def longitudinal(variance, sin_i, cos_i, sin_o, cos_o):
    return (numpy.exp(-sin_i * sin_o / variance) * numpy.i0(cos_i * cos_o / variance)
            / (2 * variance * math.sinh(1 / variance)))


def fibre_lobes(material, view, ways):
    layer = material.layers[0]
    widths = [k * math.radians(30) * 3 * layer.roughness for k in (1, 2, 3)]
    (part_i, cos_i), (part_o, cos_o) = across(ways), across(view)
    sin_i, sin_o = ways[:, 0], view[0]
    phi = numpy.arccos(numpy.clip(part_i @ part_o, -1, 1))
    cos_d = numpy.cos(0.5 * (numpy.arctan2(sin_i, cos_i) - math.atan2(sin_o, cos_o)))
    lobes = azimuthal_lobes(material, widths, cos_d, phi)
    f0 = ((layer.ior - 1) / (layer.ior + 1)) ** 2
    half = numpy.cos(0.5 * numpy.arccos(numpy.clip(ways @ view, -1, 1)))
    lobes[0] *= (f0 + (1 - f0) * (1 - half) ** 5)[:, None]
    return sum(longitudinal(w ** 2, sin_i, cos_i, sin_o, cos_o)[:, None] * lobe
               for w, lobe in zip(widths, lobes)) * numpy.array(layer.glossy)


def fibre(scene):
    """Picture that a fibre fills; it changes little within a block."""
    material = scene.materials[scene.strand.material]
    ways, solid_angle = sphere_grid()
    light = sky_radiance(scene, ways) * solid_angle
    if scene.lights:  # suns; their irradiance is pi times the colour
        ways = -numpy.array([unit(sun.direction) for sun in scene.lights])
        light = math.pi * numpy.array([sun.color for sun in scene.lights])
    middles = numpy.arange(BLOCK / 2, scene.resolution, BLOCK)
    views = -camera_rays(scene, *numpy.meshgrid(middles, middles))
    layer = material.layers[0]
    blocks = numpy.zeros(views.shape)
    for place in numpy.ndindex(views.shape[:2]):
        for color, lobe in ((layer.lambertian, diffuse_fibre), (layer.glossy, fibre_lobes)):
            if any(color):
                blocks[place] += (lobe(material, views[place], ways) * light).sum(axis=0)
    return blocks.repeat(BLOCK, axis=0).repeat(BLOCK, axis=1)
