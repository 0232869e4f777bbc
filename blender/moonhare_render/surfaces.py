"""Shader nodes as parts of a surface: layers with the share of light that each takes. The formulas
of the layers are those of docs/materials.md.
SPDX-License-Identifier: MIT"""
from dataclasses import dataclass, field, replace

import numpy

from . import compat
from .values import Value, combined, constant, grey, product, reverse

WIDTH = 1.1  # of a lobe that returns all light, over roughness squared
MIRROR = 0.03  # a lobe of less roughness is a mirror
PERFECT = 1e6  # index that reflects all light
LEAST = 0.001  # a reflectance below which the index would replace it
USUAL_COSINE = 0.75  # of surfaces that face the viewer
SHEEN = 0.25  # light of a layer of sheen over that of the node
HAIR_UNIT = 30.0  # degrees of a roughness of 1
LOGISTIC = 1.702  # width of the Gaussian nearest to a logistic function of scale 1
PATH = 2.0  # of light across a fibre: two radii in Cycles, four here
HAIR_ROUGHNESS = (5.969, -0.215, 2.532, -10.73, 5.574, 0.245)  # [Chiang16], absorption of a colour


@dataclass
class Normal:
    """A map of tangents, or of heights in units of length."""
    value: Value
    strength: float
    is_height: bool = False


@dataclass
class Part:
    """A layer: slots by name, and the amount of light that it takes, a grey."""
    amount: Value
    slots: dict
    normal: Normal | None = None
    attenuation: numpy.ndarray | None = None  # transmittance of the medium behind it


@dataclass
class Surface:
    """All parts of a material, and what else its nodes say."""
    parts: list = field(default_factory=list)

    def values(self):
        for part in self.parts:
            yield part.amount
            yield from (v for v in part.slots.values() if isinstance(v, Value))
            if part.normal:
                yield part.normal.value


def index_of(reflectance):
    """Index with this reflectance straight on."""
    root = numpy.sqrt(numpy.clip(reflectance, 0.0, 0.98))
    return float((1 + root) / (1 - root))


def reflectance_of(index):
    return ((index - 1) / (index + 1)) ** 2


def usual_reflectance(index):
    straight = reflectance_of(index)
    return straight + (1 - straight) * (1 - USUAL_COSINE) ** 5


def lobe(color, roughness, distribution="GGX"):
    """Slots of a reflection. What follows light from facet to facet returns all of it."""
    roughness = grey(roughness)
    facets = {"microfacet": compat.MICROFACET} if distribution in compat.FACETS else {}
    if not roughness.is_constant:
        return {"glossy": color, "roughness_map": roughness, **facets}
    r = float(numpy.clip(roughness.color[0], 0.0, 1.0))
    if r < MIRROR:
        return {"specular": color}
    width = WIDTH if distribution == "MULTI_GGX" and not facets else 1.0
    color = color.scaled(compat.facets_gain(r, distribution))
    return {"glossy": color, "roughness": constant(min(1.0, width * r * r)), **facets}


class SurfaceReader:
    """Walks the shader nodes of a tree."""

    def __init__(self, reader):
        self.reader = reader
        self.parts = []

    def read(self, socket, amount):
        found = self.reader.source(socket)
        if found is None:
            return
        node, output = found
        if node.bl_idname == "ShaderNodeGroup":
            self.reader.in_group(node, output, lambda inside: self.read(inside, amount))
            return
        reader = SHADERS.get(node.bl_idname)
        if reader is None:
            self.reader.note(f'shader "{node.name}" ({node.bl_label}) is not understood and is '
                             "taken for a diffuse one")
            reader = SurfaceReader.diffuse
        reader(self, node, amount)

    def input(self, node, name, default=0.0):
        return self.reader.value(compat.socket(node, name), default)

    def number(self, node, name, default=0.0):
        return self.reader.number(compat.socket(node, name), default)

    def add(self, node, amount, slots):
        if not amount.is_black:
            self.parts.append(Part(amount, slots, self.normal(node)))

    def normal(self, node):
        found = self.reader.source(node.inputs.get("Normal"))
        if found is None:
            return None
        origin = found[0]
        if origin.bl_idname == "ShaderNodeNormalMap":
            if origin.space != "TANGENT":
                self.reader.note(f'normal map "{origin.name}" is taken for one in tangent space')
            strength = self.number(origin, "Strength", 1.0)
            return self.picture_normal(origin, Normal(self.input(origin, "Color"), strength))
        if origin.bl_idname == "ShaderNodeBump":
            strength = self.number(origin, "Strength", 1.0) * self.number(origin, "Distance", 1.0)
            height = grey(self.input(origin, "Height"))
            if self.reader.source(origin.inputs["Normal"]):
                self.reader.note(f'bump "{origin.name}" replaces the normals that it gets')
            return self.picture_normal(origin, Normal(
                height, -strength if origin.invert else strength, is_height=True))
        self.reader.note(f'normals of "{origin.name}" ({origin.bl_label}) are left out')
        return None

    def picture_normal(self, node, normal):
        if normal.value.is_constant:
            if not normal.is_height:
                self.reader.note(f'"{node.name}" has no picture and is left out')
            return None
        return normal

    def mix(self, node, amount):
        first, second = node.inputs[1], node.inputs[2]
        found = self.reader.source(node.inputs[0])
        if found and found[0].bl_idname in ("ShaderNodeFresnel", "ShaderNodeLayerWeight"):
            self.mix_by_fresnel(found, node, amount)
            return
        share = combined(lambda a: numpy.clip(a, 0, 1),
                         grey(self.reader.value(node.inputs[0], 0.5)))
        self.read(first, product(amount, reverse(share)))
        self.read(second, product(amount, share))

    def mix_by_fresnel(self, found, node, amount):
        """A diffuse and a reflecting shader by their angle are one layer with an index."""
        origin, output = found
        if origin.bl_idname == "ShaderNodeFresnel":
            index = self.number(origin, "IOR", 1.45)
        else:
            index = 1 / max(1 - self.number(origin, "Blend", 0.5), 1e-3)
        below, above = SurfaceReader(self.reader), SurfaceReader(self.reader)
        below.read(node.inputs[1], constant(1.0))
        above.read(node.inputs[2], constant(1.0))
        is_pair = len(below.parts) == 1 and len(above.parts) == 1 and output.name != "Facing"
        if is_pair and set(below.parts[0].slots) <= {"lambertian", "emissive"} and \
                above.parts[0].slots.get("ior") == PERFECT:
            slots = {**below.parts[0].slots, **above.parts[0].slots, "ior": max(index, 1.0)}
            self.parts.append(Part(amount, slots, below.parts[0].normal or above.parts[0].normal))
            return
        self.reader.note(f'"{node.name}" mixes by the reflectance straight on, not by the angle')
        share = constant(reflectance_of(index))
        self.read(node.inputs[1], product(amount, reverse(share)))
        self.read(node.inputs[2], product(amount, share))

    def sum(self, node, amount):
        self.read(node.inputs[0], amount)
        self.read(node.inputs[1], amount)

    def diffuse(self, node, amount):
        color = node.inputs.get("Color") or node.inputs.get("Base Color")
        slots = {"lambertian": self.reader.value(color, 0.8)}
        if node.bl_idname == "ShaderNodeBsdfDiffuse" and not self.input(node, "Roughness").is_black:
            roughness = constant(self.number(node, "Roughness"))
            slots.update(diffuse_model="oren_nayar", roughness=roughness)
        self.add(node, amount, slots)

    def translucent(self, node, amount):
        self.add(node, amount, {"transmissive": self.input(node, "Color")})

    def glossy(self, node, amount):
        roughness = constant(0) if node.distribution == "SHARP" else self.input(node, "Roughness")
        slots = lobe(self.input(node, "Color"), roughness, node.distribution)
        self.add(node, amount, {**slots, "ior": PERFECT})

    def glass(self, node, amount):
        roughness = constant(0) if node.distribution == "SHARP" else self.input(node, "Roughness")
        if node.bl_idname == "ShaderNodeBsdfRefraction":
            self.reader.note(f'"{node.name}" reflects what its index reflects')
        self.add(node, amount, self.glass_slots(self.input(node, "Color"), roughness,
                                                self.number(node, "IOR", 1.45), node.distribution))

    @staticmethod
    def glass_slots(color, roughness, index, distribution):
        if distribution in compat.FACETS:  # which lose little: most light goes through
            distribution = "GGX"
        return {"material": "solid", **lobe(color, roughness, distribution),
                "ior": max(index, 1.0001)}

    def transparent(self, node, amount):
        self.add(node, amount, {"material": "thin", "specular": self.input(node, "Color")})

    def emission(self, node, amount):
        light = product(self.input(node, "Color"), grey(self.input(node, "Strength", 1.0)))
        if not light.is_black:
            self.parts.append(Part(amount, {"emissive": light}))

    def holdout(self, node, amount):
        self.reader.note(f'"{node.name}" is black and hides what lies behind it')
        self.add(node, amount, {"lambertian": constant(0)})

    def hair(self, node, amount):
        """Widths and absorption of a colour by [Chiang16] eq. 7 to 9: the width along the fibre is
        the root of the variance, the one around it that of a Gaussian like the logistic
        function."""
        if node.bl_idname == "ShaderNodeBsdfHair":
            self.reader.note(f'"{node.name}" is taken for a fibre that scatters by a model')
            roughness, across = self.number(node, "RoughnessU", 0.3), 0.3
        else:
            roughness, across = self.number(node, "Roughness"), self.number(node,
                                                                            "Radial Roughness", 0.3)
        if getattr(node, "model", "CHIANG") != "CHIANG":
            self.reader.note(f'"{node.name}" is shown with the model of Chiang')
        powers = across ** numpy.arange(6)
        width = float(numpy.dot(HAIR_ROUGHNESS, powers))
        if getattr(node, "parametrization", "COLOR") == "ABSORPTION":
            absorption = self.input(node, "Absorption Coefficient").mean()
        elif getattr(node, "parametrization", "COLOR") == "MELANIN":
            absorption = self.melanin(node)
        else:
            color = numpy.clip(self.input(node, "Color").mean(), 1e-3, 0.999)
            absorption = (numpy.log(color) / width) ** 2
        wide = 0.726 * roughness + 0.812 * roughness ** 2 + 3.7 * roughness ** 20
        around = numpy.sqrt(numpy.pi / 8) * (0.265 * across + 1.194 * across ** 2
                                             + 5.372 * across ** 22)
        slots = {"glossy": constant(1),
                 "roughness": Value(numpy.array([numpy.degrees(wide) / HAIR_UNIT, 0.0, 0.0])),
                 "azimuthal_width": float(numpy.degrees(LOGISTIC * around)),
                 "cuticle_tilt": float(numpy.degrees(self.number(node, "Offset", 0.0))),
                 "ior": max(self.number(node, "IOR", 1.55), 1.0001)}
        self.parts.append(Part(amount, slots, attenuation=numpy.exp(-absorption / PATH)))

    def melanin(self, node):
        """Absorption of both pigments by the amount of all, with the coefficients of Cycles."""
        amount = -numpy.log(max(1 - self.number(node, "Melanin", 0.8), 1e-4))
        red = self.number(node, "Melanin Redness", 1.0)
        dark, light = numpy.array([0.506, 0.841, 1.653]), numpy.array([0.343, 0.733, 1.924])
        return amount * ((1 - red) * dark + red * light)

    def principled(self, node, amount):
        base = self.input(node, "Base Color", 0.8)
        metal, clear = grey(self.input(node, "Metallic")), grey(self.input(node,
                                                                           "Transmission Weight"))
        alpha, roughness = grey(self.input(node, "Alpha", 1.0)), self.input(node, "Roughness", 0.5)
        for name, lost in (("Subsurface Weight", "light below the surface"),
                           ("Anisotropic", "the stretch of its lobe")):
            if not self.input(node, name).is_black:
                self.reader.note(f"{lost} is left out")
        solid = product(amount, alpha)
        coat = self.number(node, "Coat Weight") * compat.COAT_SCALE
        if coat and self.number(node, "Coat Roughness") >= MIRROR:
            self.reader.note("its rough coat is shown smooth")
        rest = product(solid, reverse(metal))
        opaque, kind = product(rest, reverse(clear)), node.distribution
        self.dielectric(node, opaque, base, lobe(constant(1), roughness, kind), coat)
        self.sheen(node, opaque, base)
        self.metal(node, product(solid, metal), base, roughness, coat)
        self.add(node, product(rest, clear),
                 self.glass_slots(base, roughness, self.number(node, "IOR", 1.45), kind))
        self.add(node, product(amount, reverse(alpha)),
                 {"material": "thin", "specular": constant(1)})
        light = product(self.input(node, "Emission Color"),
                        grey(self.input(node, "Emission Strength")))
        if not light.is_black:
            self.parts.append(Part(solid, {"emissive": light}))

    def dielectric(self, node, amount, base, slots, coat):
        index = principled_index(self, node)
        slots["lambertian"] = base
        if compat.PRINCIPLED_ADDS:
            slots["diffuse_model"] = "burley"
        if index <= 1.0:
            del slots["glossy" if "glossy" in slots else "specular"]
            slots.pop("microfacet", None)
            coat = 0.0
        else:
            slots["ior"] = index
        if coat:
            mirror = slots["specular"].color if "specular" in slots else numpy.zeros(3)
            slots["specular"] = Value(mirror + coat)
        self.add(node, amount, slots)

    def sheen(self, node, amount, base):
        level = self.number(node, "Sheen Weight")
        if not level:
            return
        if not compat.PRINCIPLED_ADDS:
            self.reader.note("sheen is left out")
            return
        tint, color = self.number(node, "Sheen Tint"), base.mean()
        grey_level = float(numpy.dot((0.2126, 0.7152, 0.0722), color))
        hue = color / grey_level if grey_level > 0 else numpy.ones(3)
        self.add(node, amount, {"lambertian": Value(SHEEN * level * (1 - tint + tint * hue)),
                                "diffuse_model": "sheen"})

    def metal(self, node, amount, base, roughness, coat):
        slots = lobe(constant(1), roughness, node.distribution)
        if "microfacet" not in slots:
            self.add(node, amount, self.smooth_metal(base, roughness))
            return
        f0 = base if not base.is_constant else Value(numpy.clip(base.color, LEAST, 1))
        slots.update(f0=f0, ior=principled_index(self, node))
        if coat:
            slots["specular"] = constant(coat)
        self.add(node, amount, slots)

    @staticmethod
    def smooth_metal(base, roughness):
        """Without facets grazing light keeps the hue of the metal."""
        if not base.is_constant:
            return {**lobe(base, roughness, "MULTI_GGX"), "ior": PERFECT}
        color = numpy.clip(base.color, 0, 1)
        brightest = float(color.max())
        black = brightest < LEAST
        index = PERFECT if brightest > 0.999 else index_of(max(brightest, LEAST))
        hue = constant(1) if black else Value(color / brightest)
        return {**lobe(hue, roughness, "MULTI_GGX"), "ior": index}


def principled_index(reader, node):
    if compat.PRINCIPLED_ADDS:
        return index_of(0.08 * reader.number(node, "Specular", 0.5))
    level = reader.number(node, "Specular IOR Level", 0.5)
    return index_of(2 * level * reflectance_of(max(reader.number(node, "IOR", 1.5), 1.0)))


SHADERS = {
    "ShaderNodeBsdfDiffuse": SurfaceReader.diffuse, "ShaderNodeBsdfGlossy": SurfaceReader.glossy,
    "ShaderNodeBsdfAnisotropic": SurfaceReader.glossy, "ShaderNodeBsdfGlass": SurfaceReader.glass,
    "ShaderNodeBsdfRefraction": SurfaceReader.glass, "ShaderNodeEmission": SurfaceReader.emission,
    "ShaderNodeBsdfTransparent": SurfaceReader.transparent,
    "ShaderNodeMixShader": SurfaceReader.mix,
    "ShaderNodeBsdfTranslucent": SurfaceReader.translucent,
    "ShaderNodeAddShader": SurfaceReader.sum,
    "ShaderNodeBsdfPrincipled": SurfaceReader.principled,
    "ShaderNodeHoldout": SurfaceReader.holdout,
    "ShaderNodeBsdfHair": SurfaceReader.hair, "ShaderNodeBsdfHairPrincipled": SurfaceReader.hair,
}


def is_glow(part):
    return set(part.slots) == {"emissive"}


def merged(parts):
    """Emission joins a surface that is as large, and needs no layer of its own then."""
    result, glows = [], []
    for part in parts:
        (glows if is_glow(part) else result).append(part)
    for glow in glows:
        host = next((p for p in result if "lambertian" in p.slots and p.amount.is_constant
                     and glow.amount.is_constant and "emissive" not in p.slots), None)
        if host is None:
            result.append(glow)
            continue
        burley = host.slots.get("diffuse_model") == "burley"
        index = 1.0 if burley else host.slots.get("ior", 1.0)
        ratio = glow.amount.color / host.amount.color / (1 - usual_reflectance(index))
        light = product(glow.slots["emissive"], Value(ratio))
        result[result.index(host)] = replace(host, slots={**host.slots, "emissive": light})
    return result


def read_surface(reader, tree):
    """The parts of a material's tree; none where nothing is wired to its output."""
    output = tree.get_output_node("ALL") or tree.get_output_node("CYCLES") or \
        tree.get_output_node("EEVEE")
    if output is None:
        return Surface()
    walk = SurfaceReader(reader)
    walk.read(output.inputs["Surface"], constant(1.0))
    for name, lost in (("Displacement", "displacement by nodes"), ("Volume", "its volume")):
        if reader.source(output.inputs[name]):
            reader.note(f"{lost} is left out")
    return Surface(merged(walk.parts))
