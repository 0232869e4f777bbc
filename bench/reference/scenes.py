"""The scenes, one feature each. Each is small, lit everywhere and bright enough to be compared in
blocks of pixels.
SPDX-License-Identifier: MIT"""
import math

import numpy

import integrals
from model import (Bulb, Camera, Image, Layer, Material, Scene, Strand, Sun, rotation_between,
                   sky_direction, unit)
from shapes import UNIT_SQUARE, ball, block, ceiling_lamp, floor, placed, rectangle, turned

GREY = Material([Layer(lambertian=(0.6, 0.5, 0.4))])
LAMP = Material([Layer(emissive=(4.0, 4.0, 4.0))], one_sided=True)
DIFFUSE = {"grey": GREY, "red": Material([Layer(lambertian=(0.7, 0.2, 0.15))])}
LIT = {**DIFFUSE, "lamp": LAMP}
BOX = block("red", (0.7, 0.8, 0.601), (0.4, 0.5, 0.6))
STAGE = [floor(), BOX]


def gradient(u, v):
    """A smooth sky: brighter above, of another colour to each side."""
    d = sky_direction(u, v)
    up = 0.6 + 0.4 * d[..., 2]
    return numpy.stack([up + 0.3 * d[..., 0], up, up + 0.3 * d[..., 1]], axis=-1)


SMOOTH_SKY = {"sky": (1, 1, 1), "sky_image": Image(gradient, 512, 256)}


def sun_sky(direction, sigma_deg=0.6, ratio=3.0):
    """A grey sky with a round sun, whose irradiance facing it is `ratio` times that of the sky."""
    sigma = math.radians(sigma_deg)
    peak = ratio * 0.3 * math.pi / (2 * math.pi * sigma ** 2)

    def radiance(u, v):
        cosine = numpy.clip(sky_direction(u, v) @ unit(direction), -1, 1)
        return (0.3 + peak * numpy.exp(-0.5 * (numpy.arccos(cosine) / sigma) ** 2))[..., None] * (
            numpy.array([1.0, 0.95, 0.85]))
    return Image(radiance, 1024, 512)


def sunny(feature, direction):
    """The stage turned, so that every sun stands at the same height above the floor."""
    turn = rotation_between(unit((-0.5, -0.4, 1.0)), unit(direction))
    view = Camera()
    camera = Camera(*(tuple(turn @ numpy.array(x)) for x in (view.position, view.target, view.up)),
                    view.fov)
    return Scene(feature, [turned(mesh, turn) for mesh in STAGE], DIFFUSE, camera=camera,
                 sky=(1, 1, 1), sky_image=sun_sky(direction))


def waves(u, v):
    """Tangent normals of a wavy floor, as an image stores them."""
    n = numpy.stack([0.2 * numpy.sin(12 * math.pi * u), 0.2 * numpy.sin(8 * math.pi * v),
                     numpy.ones_like(u)], axis=-1)
    return 0.5 + 0.5 * n / numpy.linalg.norm(n, axis=-1, keepdims=True)


def hills(u, v):
    height = 0.15 * (1 + numpy.sin(6 * math.pi * u) * numpy.sin(4 * math.pi * v))
    return numpy.stack([0 * u, 0 * u, height], axis=-1)


def stripes(u, v):
    value = 1 + 0.9 * numpy.sin(4 * math.pi * u) * numpy.cos(2 * math.pi * v)
    return numpy.stack([value, 0.8 * value, 2 - value], axis=-1)


def room(half=1.0):
    """Closed, with a lamp under the ceiling and a block."""
    edge = 2 * half
    return [rectangle("grey", (-half, -half, 0), (edge, 0, 0), (0, edge, 0)),
            rectangle("grey", (-half, -half, edge), (0, edge, 0), (edge, 0, 0)),
            rectangle("grey", (-half, half, 0), (edge, 0, 0), (0, 0, edge)),
            rectangle("grey", (-half, -half, 0), (0, 0, edge), (edge, 0, 0)),
            rectangle("red", (-half, -half, 0), (0, edge, 0), (0, 0, edge)),
            rectangle("blue", (half, -half, 0), (0, 0, edge), (0, edge, 0)),
            block("grey", (0.4, 0.3, 0.301), (0.25, 0.25, 0.3)),
            ceiling_lamp(center=(0, 0, 1.96), half=0.35)]


ROOM = {**LIT, "blue": Material([Layer(lambertian=(0.2, 0.3, 0.6))])}
ROOM_CAMERA = Camera((0, -0.97, 1), (0, 0, 0.95), fov=75.0)


def glossy_lamp(roughness):
    """A lamp low enough to be seen in the floor, whose picture ends within the lobe."""
    glossy = Material([Layer(glossy=(1, 0.9, 0.8), ior=3.0, roughness=roughness)])
    return Scene(f"glossy floor under a lamp, roughness {roughness}",
                 [floor("glossy"), ceiling_lamp(center=(0, 2.5, 3), half=2.5)],
                 {"glossy": glossy, "lamp": LAMP}, integrals.glossy_floor, sky=(0.2, 0.2, 0.2),
                 levels=1)


def glossy_sky(roughness):
    glossy = Material([Layer(glossy=(1, 0.9, 0.8), ior=3.0, roughness=roughness)])
    return Scene(f"glossy floor under a sky image, roughness {roughness}", [floor("glossy")],
                 {"glossy": glossy}, integrals.glossy_floor, levels=1, **SMOOTH_SKY)


def frosted(feature, light_sample):
    """Into rough glass, within which a wall glows."""
    glass = Material([Layer(glossy=(1, 1, 1), ior=1.5, roughness=0.2, material="solid")])
    wall = Material([Layer(emissive=(1, 1, 1), emissive_image=Image(stripes))], one_sided=True)
    meshes = [floor("glossy", half=30), floor("wall", half=10, height=-1.5, uvs=UNIT_SQUARE)]
    return Scene(feature, meshes, {"glossy": glass, "wall": wall}, integrals.glossy_floor,
                 sky=(0.5, 0.5, 0.5), levels=1, light_sample=light_sample)


def pane(feature, light_sample):
    glass = Material([Layer(specular=(1, 1, 1), ior=1.5, material="thin")])
    sheet = rectangle("glass", (-1.5, -1, 1.6), (2, 0, 0), (0, 2, 0.3))
    return Scene(feature, [*STAGE, ceiling_lamp(half=1.5), sheet], {**LIT, "glass": glass},
                 light_sample=light_sample, gather=2048)


def clear_glass(feature, light_sample):
    glass = Material([Layer(specular=(1, 1, 1), ior=1.5, material="solid")])
    meshes = [floor(), block("glass", (0.2, 0.3, 0.8), (0.7, 0.6, 0.5)), ceiling_lamp(half=1.5)]
    return Scene(feature, meshes, {**LIT, "glass": glass}, light_sample=light_sample, gather=2048)


def scaled_lamp(feature, light_sample):
    """The lamp's face has a number that the stage does not have: a ray takes no face of the number
    of the one it left, in any object."""
    lamp = ceiling_lamp(center=(0, 0, 0), half=0.5, instances=[placed(2.0, 30, (-1, 0, 3))])
    lamp.points += [(0, 0, 0.01), (1e-3, 0, 0.01), (1e-3, 1e-3, 0.01), (0, 1e-3, 0.01)]
    lamp.faces[:0] = [(4, 5, 6, 7)] * 30
    return Scene(feature, [*STAGE, lamp], LIT, light_sample=light_sample, gather=4096)


def mapped(feature, **more):
    wavy = Material([Layer(lambertian=(0.6, 0.5, 0.4), normal_image=Image(waves, 128, 128))])
    return Scene(feature, [floor("wavy", half=3, uvs=UNIT_SQUARE, **more)], {"wavy": wavy},
                 integrals.mapped_floor, camera=Camera((0, -3.5, 5), (0, 0, 0), fov=30.0),
                 lights=[Sun((0.7, 0.3, -1), (1, 1, 1))], levels=1)


def scaled_block():
    half = block("red", (0, 0, 0.301), (0.2, 0.25, 0.3))
    half.instances = [placed(2.0, 20, (0.7, 0.8, 0))]
    return half


FIBRE, LOBES = {"lambertian": (0.9, 0.6, 0.3)}, {"glossy": (1, 1, 1)}


def hair(feature, looks, **light):
    """A fibre that fills the picture."""
    fibre = Material([Layer(roughness=0.3, ior=1.55, **looks)], absorption=(0.9, 0.8, 0.7))
    return Scene(feature, [], {"hair": fibre}, integrals.fibre, strand=Strand(0.3, "hair"),
                 camera=Camera((0.8, -3, 0.5), (0, 0, 0), fov=6.0), levels=1, **light)


SCENES = {
    "sky_constant": Scene("constant sky", STAGE, DIFFUSE, sky=(0.75, 0.75, 0.75)),
    "sky_smooth": Scene("smooth sky image", STAGE, DIFFUSE, **SMOOTH_SKY),
    "sun_middle": sunny("sun of a sky image at the middle of a cube face", (0, 1, 0)),
    "sun_edge": sunny("the same at an edge", (0, 1, 1)),
    "sun_corner": sunny("the same at a corner", (1, 1, 1)),
    "parallel": Scene("parallel light", STAGE, DIFFUSE, lights=[Sun((0.5, 0.4, -1), (1, 1, 1))]),
    "parallel_blur": Scene("parallel light, blur 10", STAGE, DIFFUSE,
                           lights=[Sun((0.5, 0.4, -1), (1, 1, 1), 10.0)]),
    "point": Scene("point light", STAGE, DIFFUSE, lights=[Bulb((-1, -1, 2.5), (5, 5, 5))]),
    "point_soft": Scene("point light of radius 0.4", STAGE, DIFFUSE,
                        lights=[Bulb((-1, -1, 2.5), (5, 5, 5), 0.4)]),
    "lamp_found": Scene("flat lamp, found", [*STAGE, ceiling_lamp()], LIT, light_sample=0,
                        gather=4096),
    "lamp_sampled": Scene("flat lamp, sampled", [*STAGE, ceiling_lamp()], LIT),
    "lamp_both": Scene("flat lamp of two sides, sampled", [
        *STAGE, rectangle("both", (-1.1, 1.2, 0.3), (1.2, 0.5, 0), (0, 0, 1.2))], {
            **DIFFUSE, "both": Material([Layer(emissive=(1.0, 0.8, 0.6))])}, frames=256),
    "lamp_image": Scene("flat lamp with an image", [*STAGE, ceiling_lamp(
        "lamp", (0, 0, 1.8), uvs=UNIT_SQUARE)], {**DIFFUSE, "lamp": Material(
            [Layer(emissive=(4, 4, 4), emissive_image=Image(stripes))], one_sided=True)}),
    "lamp_mesh": Scene("lamp of 528 triangles, sampled", [
        *STAGE, ball("lamp", (-0.6, 0.9, 2.4), 0.5)], LIT),
    "lamp_instanced": Scene("instanced lamps, sampled", [*STAGE, ceiling_lamp(
        center=(0, 0, 0), half=0.5, instances=[placed(1.0, 30, (-1, 0, 3)),
                                               placed(1.0, 0, (1.5, 0.5, 2.5))])], LIT),
    "lamp_scaled": scaled_lamp("lamp in an instance of factor 2, sampled", 512),
    "lamp_scaled_found": scaled_lamp("the same, found", 0),
    "block_scaled": Scene("block in an instance of factor 2", [
        floor(), scaled_block(), ceiling_lamp(half=1.5)], LIT),
    "glossy_05": glossy_lamp(0.05),
    "glossy_10": glossy_lamp(0.1),
    "glossy_30": glossy_lamp(0.3),
    "glossy_sky": glossy_sky(0.3),
    "mirror": Scene("mirror", [floor(), block("mirror", (0.7, 0.8, 0.601), (0.4, 0.5, 0.6)),
                               ceiling_lamp(half=1.5)], {**LIT, "mirror": Material(
                                   [Layer(specular=(0.9, 0.8, 0.7), ior=20.0)])}, gather=2048),
    "pane_found": pane("thin pane, lamp found", 0),
    "pane_sampled": pane("thin pane, lamp sampled", 512),
    "glass_found": clear_glass("clear solid glass, lamp found", 0),
    "glass_sampled": clear_glass("clear solid glass, lamp sampled", 512),
    "frosted_found": frosted("lamp behind frosted glass, found", 0),
    "frosted_sampled": frosted("the same, sampled", 512),
    "fog_found": Scene("fog, lamp found", room(), ROOM, camera=ROOM_CAMERA, light_sample=0,
                       transmittance=(0.6, 0.7, 0.8), gather=4096),
    "fog_sampled": Scene("fog, lamp sampled", room(), ROOM, camera=ROOM_CAMERA,
                         transmittance=(0.6, 0.7, 0.8)),
    "leaf": Scene("diffuse transmission", [*STAGE, ceiling_lamp(), rectangle(
        "leaf", (-1.2, -0.5, 0.8), (1.3, 0, 0), (0, 1.3, 0.5))], {**LIT, "leaf": Material(
            [Layer(lambertian=(0.2, 0.3, 0.1), transmissive=(0.3, 0.6, 0.1))])}),
    "layers": Scene("two layers, one of them coated", [floor("mixed"), BOX, ceiling_lamp()], {
        **LIT, "mixed": Material([Layer(lambertian=(0.8, 0.3, 0.2), weight=0.3), Layer(
            lambertian=(0.2, 0.3, 0.8), specular=(1, 1, 1), ior=2.0, weight=0.7)])}),
    "hair_sun": hair("all of a fibre under suns", {**FIBRE, **LOBES}, lights=[
        Sun((0.3, 1, -1), (1, 1, 1)), Sun((-0.2, -1, -0.3), (1, 1, 1))]),
    "hair_diffuse": hair("diffuse fibre under a sky image", FIBRE, **SMOOTH_SKY),
    "hair_lobes": hair("lobes of a fibre under a sky image", LOBES, **SMOOTH_SKY),
    "normal_map": mapped("normal map"),
    "normal_map_turned": mapped("normal map in an instance turned by 50 degrees",
                                instances=[placed(turn_deg=50)]),
    "displacement": Scene("displacement", [floor("hilly", half=2.5, uvs=UNIT_SQUARE)], {
        "hilly": Material([Layer(lambertian=(0.6, 0.5, 0.4))],
                          displacement=(Image(hills, 64, 64), 64))},
                          camera=Camera((0, -3.5, 5), (0, 0, 0), fov=36.0), sky=(0.3, 0.3, 0.3),
                          lights=[Sun((0.5, 0.4, -1), (1, 1, 1))]),
    "room_path": Scene("room, path tracing", room(), ROOM, camera=ROOM_CAMERA, levels=7),
    "room_gather": Scene("room, final gathering", room(), ROOM, camera=ROOM_CAMERA, levels=1,
                         reference_levels=16, photons=300000),
}
