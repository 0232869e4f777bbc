"""Scene text from Python values: numbers, texts and nested blocks.
SPDX-License-Identifier: MIT"""
import numbers

import numpy

INDENT = "    "
WORDS = {("object", "name"), ("instance", "object"), ("instance", "shader")}  # without quotes
# Of a layer; all others are slots.
TEXT_KEYS = ("material", "sideness", "virtual_light", "window", "azimuthal_width",
             "cuticle_tilt", "microfacet", "diffuse_model")


def number_text(value):
    if isinstance(value, (bool, numpy.bool_, numbers.Integral)):
        return str(int(value))
    if not numpy.isfinite(value):
        raise ValueError(f"{value} is not a finite number")
    return f"{value:.9g}"


def quoted(text):
    """Scene text has no escapes."""
    if any(c == '"' or c < " " for c in text):
        raise ValueError(f"a text cannot hold quotes or control characters: {text!r}")
    return f'"{text}"'


def value_text(block, key, value):
    if isinstance(value, str):
        return value if (block, key) in WORDS else quoted(value)
    return " ".join(number_text(x) for x in numpy.ravel(value).tolist())


def block_lines(kind, keys, indent=""):
    """The lines of a block. A dictionary is a block, a list of them is a block each, None is left
    out."""
    lines = [indent + kind]
    inner = indent + INDENT
    for key, value in keys.items():
        if value is None:
            continue
        blocks = value if isinstance(value, list) else [value]
        if blocks and all(isinstance(block, dict) for block in blocks):
            for block in blocks:
                lines += block_lines(key, block, inner)
        elif not isinstance(value, list) or value:
            lines.append(f"{inner}{key} {value_text(kind, key, value)}")
    return lines + [indent + "end"]


def layer(**slots):
    """A surface_shader. A number is a grey, three are a colour; {"color": ..., "image": ...} is a
    slot with more than a colour."""
    keys = {}
    for key, value in slots.items():
        if key in TEXT_KEYS or value is None or isinstance(value, dict):
            keys[key] = value
        else:
            keys[key] = {"color": numpy.broadcast_to(numpy.asarray(value, float), 3)}
    return keys
