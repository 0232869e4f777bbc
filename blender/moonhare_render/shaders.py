"""Materials as shaders of the scene: parts of surfaces become weighted layers, values become slots.
SPDX-License-Identifier: MIT"""
from dataclasses import dataclass, field

import numpy

from .moonhare_scene import layer
from .nodes import Reader
from .surfaces import MIRROR, Surface, constant, is_glow, read_surface
from .surfaces import Part
from .values import Value, grey

GLOW = 0.1  # share of a layer that only glows
UNSCALED = ("roughness", "roughness_map", "f0")  # not shares of light
DEFAULT_GREY = 0.8  # of objects without a material


@dataclass
class Material:
    """A material that objects of this scene use."""
    label: str
    surface: Surface
    uv_layer: str | None = None  # None: no picture, "": the active one
    names: dict = field(default_factory=dict)  # of its shaders, by whether cameras see them
    uv_length: float = 0.0  # length of one unit of texture coordinates on a surface

    @property
    def glows(self):
        return any("emissive" in part.slots for part in self.surface.parts)

    @property
    def needs_uv_length(self):
        return any(part.normal and part.normal.is_height for part in self.surface.parts)


class Materials:
    """All materials of a scene; their text is written last, when the size of their pictures is
    known."""

    def __init__(self, scene, pictures, report):
        self.scene, self.pictures, self.report = scene, pictures, report
        self._known = {}

    def look(self, material):
        key = material.as_pointer() if material else 0
        if key not in self._known:
            self._known[key] = self._read(material)
        return self._known[key]

    @property
    def glow(self):
        return any(m.glows for m in self._known.values() if m.names)

    def _read(self, material):
        if material is None:
            return Material("default", plain(DEFAULT_GREY))
        label = f'material "{material.name}"'
        if not material.use_nodes or material.node_tree is None:
            return Material(material.name, plain(tuple(material.diffuse_color)[:3]))
        surface = read_surface(Reader(self.pictures, self.report, label), material.node_tree)
        if not surface.parts:
            surface = plain(0.0)
        layers = {value.place.uv_layer for value in surface.values() if not value.is_constant}
        if len(layers) > 1:
            self.report.note(f"{label}: all pictures use the uv layer {min(layers) or 'active'}")
        return Material(material.name, surface, min(layers) if layers else None)

    def shader(self, material, camera_sees=True):
        """The name of the material's shader."""
        known = self.look(material)
        if camera_sees not in known.names:
            known.names[camera_sees] = self.scene.shader_name(known.label)
        return known.names[camera_sees]

    def write(self):
        for material in self._known.values():
            layers = None
            for camera_sees, name in material.names.items():
                layers = layers or Layers(material, self.pictures).written()
                self.scene.add("shader", name=name, surface_shader=layers,
                               volume_shader=medium(material.surface),
                               geometry_shader=None if camera_sees else {"camera_primary": 0})


def plain(color):
    return Surface([Part(constant(1), {"lambertian": constant(color)})])


def medium(surface):
    for part in surface.parts:
        if part.attenuation is not None:
            return {"transmittance": part.attenuation}
    return None


def shares(parts):
    """How often each layer is chosen, and what makes up for that in its colours."""
    amounts = [part.amount.mean()[0] for part in parts]
    wanted = [0.0 if is_glow(part) else amount for part, amount in zip(parts, amounts)]
    total = sum(wanted)
    if abs(total - 1) > 1e-3 and not any(is_glow(part) for part in parts):  # of an Add Shader
        wanted = [amount * max(brightness(part), 0.05) for part, amount in zip(parts, amounts)]
        total = sum(wanted)
    glows = sum(is_glow(part) for part in parts)
    rest = GLOW * (total or 1.0)
    wanted = [rest / glows if is_glow(part) else share for part, share in zip(parts, wanted)]
    total = sum(wanted) or 1.0
    return [(share / total, amount * total / share if share else 0.0)
            for share, amount in zip(wanted, amounts)]


def brightness(part):
    return max(value.mean().max() for key, value in part.slots.items()
               if isinstance(value, Value) and key not in UNSCALED)


class Layers:
    """The layers of one material."""

    def __init__(self, material, pictures):
        self.material, self.pictures = material, pictures

    def written(self):
        parts = self.material.surface.parts
        if len(parts) == 1 and abs(parts[0].amount.mean()[0] - 1) < 1e-3:
            return [self.layer(parts[0], None, 1.0)]
        return [self.layer(part, share, gain) for part, (share, gain) in zip(parts, shares(parts))]

    def layer(self, part, share, gain):
        slots = {}
        for key, value in part.slots.items():
            if key == "roughness_map":
                slots["roughness"] = self.roughness(value)
            elif isinstance(value, Value):
                slots[key] = self.slot(value if key in UNSCALED else value.scaled(gain))
            else:
                slots[key] = value
        if "emissive" in slots:
            slots["virtual_light"] = 1
        if share is not None:
            slots["weight"] = self.weight(part.amount, share)
        if part.normal:
            slots["normal"] = self.normal(part.normal)
        return layer(**slots)

    def slot(self, value):
        if value.is_constant:
            return numpy.maximum(value.color, 0)
        if value.image is None:
            file, is_linear = self.pictures.texels(self.material.label, value.texels), True
        else:
            file, is_linear = self.pictures.file(value.image)
        return picture_slot(value, file, value.color, transfer=None if is_linear else "srgb")

    def weight(self, amount, share):
        if amount.is_constant:
            return share
        rows = amount.rows()
        file = self.pictures.grey_bytes(self.material.label + "_weight", rows)
        return picture_slot(amount, file, 1.0)

    def roughness(self, value):
        """Texels are squared when they are read."""
        rows = numpy.clip(grey(value).rows(), MIRROR, 1.0)
        file = self.pictures.grey_bytes(self.material.label + "_roughness", rows)
        return picture_slot(value, file, 1.0, gamma=2.0)

    def normal(self, normal):
        strength = normal.strength
        if not normal.is_height:
            slot = self.slot(normal.value)
            slot["color"] = numpy.array([strength, strength, 1.0])
            return slot
        rows = normals_of_heights(normal.value.rows()[..., 0] * strength, normal.value.place,
                                  self.material.uv_length)
        file = self.pictures.texels(self.material.label + "_normals", rows)
        return picture_slot(normal.value, file, 1.0)


def picture_slot(value, file, color, **sampler):
    place = value.place
    sampler.update(texels="middle",
                   pixel_sampler=None if place.pixels == "bilinear" else place.pixels)
    if place.wrap != "repeat":
        sampler.update(wrap_u=place.wrap, wrap_v=place.wrap)
    if place.matrix != type(place)().matrix:
        sampler["uv_matrix"] = place.matrix
    return {"color": numpy.broadcast_to(color, 3), "image": file, "sampler": sampler}


def normals_of_heights(heights, place, uv_length):
    """A map of normals from heights in units of length, by central differences; rows go up. One
    unit of texture coordinates is `uv_length` long, and the picture spans 1 / scale of them."""
    matrix = numpy.reshape(place.matrix, (3, 3))
    length = max(uv_length, 1e-6) / max(abs(numpy.linalg.det(matrix[:2, :2])) ** 0.5, 1e-6)
    texel = length / numpy.array([heights.shape[1], heights.shape[0]])
    du = (numpy.roll(heights, -1, 1) - numpy.roll(heights, 1, 1)) / (2 * texel[0])
    dv = (numpy.roll(heights, -1, 0) - numpy.roll(heights, 1, 0)) / (2 * texel[1])
    normals = numpy.stack([-du, -dv, numpy.ones_like(du)], -1)
    normals /= numpy.linalg.norm(normals, axis=-1, keepdims=True)
    return 0.5 * normals + 0.5
