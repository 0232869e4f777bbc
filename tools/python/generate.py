#!/usr/bin/env python3
"""Writes the flat functions of the Python module over the shared library from the C header.

usage: generate.py HEADER SONAME OUTPUT
Every function of the header becomes a function of the same name with its comment as docstring. An
array takes the place of a count and a pointer; a new pair has to be listed in WIDTHS.
"""
import re
import sys

# Values per counted item, or the name of the parameter that gives them.
WIDTHS = {
    "mhAddPositions": 3, "mhAddNormals": 3, "mhAddTangents": 3, "mhAddUVs": 2, "mhAddRadii": 1,
    "mhAddTriangles": 3, "mhAddTetragons": 4, "mhAddCylinders": 1, "mhAddParticles": 1,
    "mhAddVertexData": "components", "mhRenderPixels": 3,
}

# C type: type for ctypes, type hint, expression that converts an argument.
TYPES = {
    "int": ("c_int", "int", "{}"),
    "float": ("c_float", "float", "{}"),
    "bool": ("c_bool", "bool", "{}"),
    "uint8_t": ("c_uint8", "int", "{}"),
    "uint32_t": ("c_uint32", "int", "{}"),
    "const char*": ("c_char_p", "str", "_os.fsencode({})"),
    "const float*": ("c_void_p", "Iterable", "_input({}, 'f')"),
    "const int*": ("c_void_p", "Iterable", "_input({}, 'i')"),
    "float*": ("c_void_p", "Any", "_output({})"),
    "char*": ("c_char_p", "Any", "{}"),
    "rows of 4": ("c_void_p", "Iterable | None", "_matrix({}, 16)"),
    "rows of 3": ("c_void_p", "Iterable | None", "_matrix({}, 9)"),
}

RESULTS = {"void": "None", "int": "_ctypes.c_int", "const float*": "_ctypes.c_void_p"}

PREAMBLE = '''"""Rendering with moonhare: the functions of moonhare.h under their own names.

Arrays are NumPy arrays, or anything else that holds numbers, nested or flat. Arrays of 32-bit
floats (of 32-bit integers for indices) are handed over without a copy. Generated from the C header.
"""
from __future__ import annotations

import array as _array
import ctypes as _ctypes
import os as _os
from typing import Any, Iterable

_SONAME = "@SONAME@"


def _load():
    """The library of the same installation or build, or the one that the system finds."""
    here = _os.path.dirname(_os.path.abspath(__file__))
    beside = [_os.path.join(here, way, _SONAME) for way in ("tree/lib", "../../..", "../../src")]
    return _ctypes.CDLL(next(filter(_os.path.exists, beside), _SONAME))


_library = _load()


def _flat(values):
    for value in values:
        if hasattr(value, "__iter__"):
            yield from _flat(value)
        else:
            yield value


def _view(values, code):
    """The values as a contiguous buffer of the type, without a copy where they are one."""
    try:
        view = memoryview(values)
        if view.format == code and view.c_contiguous:
            return view
    except TypeError:
        pass
    if hasattr(values, "astype"):
        return memoryview(values.astype(code, order="C"))
    return memoryview(_array.array(code, _flat(values)))


def _input(values, code):
    """Address and number of the values, and what has to live as long as they are read."""
    view = _view(values, code)
    if view.nbytes == 0:
        return None, 0, view
    if view.readonly:
        view = memoryview(_array.array(code, view.tobytes()))
    return _ctypes.addressof(_ctypes.c_char.from_buffer(view)), view.nbytes // view.itemsize, view


def _output(values):
    view = memoryview(values)
    if view.format != "f" or not view.c_contiguous or view.readonly:
        raise TypeError("a writable array of 32-bit floats is needed")
    return _input(values, "f")


def _matrix(values, size):
    if values is None:
        return None, 0, None
    result = _input(values, "f")
    if result[1] != size:
        raise ValueError(f"a matrix of {size} numbers is needed")
    return result
'''


def comment_text(comment):
    lines = [line.strip().lstrip("*").strip() for line in comment.splitlines()]
    return "\n    ".join(line for line in lines if line)


def constants(header):
    for body in re.findall(r"^enum \{(.*?)\};", header, re.M | re.S):
        yield from re.findall(r"(mh\w+) = (\d+)", body)


def parameters(text, typedefs):
    """(C type, name) of each; matrices by their rows."""
    if text == "void":
        return []
    result = []
    for part in re.split(r",\s*", text):
        rows = re.fullmatch(r"(?:const )?float \(\*(\w+)\)\[(\d)\]", part)
        if rows:
            result.append((f"rows of {rows[2]}", rows[1]))
            continue
        kind, name = re.fullmatch(r"(.*?)\s*(\w+)", part).groups()
        result.append((typedefs.get(kind, kind), name))
    return result


def is_array(kind):
    return kind.endswith(("float*", "int*"))


def call_value(kind, name, arguments, width):
    """What is passed on for one parameter of the C function."""
    if width and name == "count":
        array = next(other for other_kind, other in arguments if is_array(other_kind))
        return f"{array}_[1] // " + (str(width) if isinstance(width, int) else f"max({width}, 1)")
    return f"{name}_[0]" if TYPES[kind][0] == "c_void_p" else TYPES[kind][2].format(name)


def function(result, name, arguments, comment):
    width = WIDTHS.get(name)
    if any(is_array(kind) for kind, _ in arguments) != (width is not None):
        sys.exit(f"{name}: its array is not listed in WIDTHS")
    unknown = {kind for kind, _ in arguments} - TYPES.keys() | {result} - RESULTS.keys()
    if unknown:
        sys.exit(f"{name}: TYPES or RESULTS does not list {', '.join(sorted(unknown))}")
    hints = ", ".join(f"{argument}: {TYPES[kind][1]}" for kind, argument in arguments
                      if not (width and argument == "count"))
    types = ", ".join(f"_ctypes.{TYPES[kind][0]}" for kind, _ in arguments)
    lines = [f"_library.{name}.argtypes = [{types}]",
             f"_library.{name}.restype = {RESULTS[result]}",
             "", "", f"def {name}({hints}) -> {'None' if result == 'void' else 'int'}:",
             f'    """{comment}"""']
    lines += [f"    {argument}_ = {TYPES[kind][2].format(argument)}"
              for kind, argument in arguments if TYPES[kind][0] == "c_void_p"]
    values = [call_value(kind, argument, arguments, width) for kind, argument in arguments]
    lines.append(f"    return _library.{name}({', '.join(values)})")
    return "\n".join(lines) + "\n"


def main(header_path, soname, output):
    header = open(header_path, encoding="utf-8").read()
    typedefs = {alias: kind for kind, alias in re.findall(r"^typedef (\w+) (\w+);", header, re.M)}
    text = [PREAMBLE.replace("@SONAME@", soname)]
    text.append("".join(f"{name} = {value}\n" for name, value in constants(header)))
    declaration = re.compile(
        r"/\*((?:(?!\*/).)*?)\*/\s*MH_API ((?:const )?\w+\*?) (\w+)\(([^;]*)\);", re.S)
    found = declaration.findall(header)
    if len(found) != header.count("\nMH_API "):
        sys.exit("a function of the header has no comment")
    for comment, result, name, arguments in found:
        arguments = parameters(re.sub(r"\s+", " ", arguments), typedefs)
        text.append(function(result, name, arguments, comment_text(comment)))
    with open(output, "w", encoding="utf-8") as module:
        module.write("\n\n".join(text))


if __name__ == "__main__":
    main(*sys.argv[1:])
