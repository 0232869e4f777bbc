#!/usr/bin/env python3
"""Checks that a shared library exports the functions of a header and nothing else, under the symbol
version of its major version, and that the definitions beside the header have its parameters.

usage: check_exports.py LIBRARY HEADER
"""
import pathlib
import re
import subprocess
import sys

library, header = sys.argv[1:]
listing = subprocess.run(["nm", "--dynamic", "--defined-only", library], check=True, text=True,
                         stdout=subprocess.PIPE).stdout
text = pathlib.Path(header).read_text()
major = re.search(r"MOONHARE_VERSION_MAJOR (\d+)", text)[1]
exported = {line.split()[-1] for line in listing.splitlines() if line.split()[1] != "A"}


def parameters(source, end):
    found = re.findall(r"^MH_API [^(;]*?(\w+)\(([^;{]*?)\)\s*" + end, source, re.M)
    return {name: listed.replace("[[maybe_unused]]", "").split() for name, listed in found}


declared, defined = parameters(text, ";"), {}
for source in pathlib.Path(header).parent.glob("*.cpp"):
    defined |= parameters(source.read_text(), r"(?:try )?\{")
expected = {f"{name}@@MOONHARE_{major}" for name in declared}
other = [name for name in declared if declared[name] != defined.get(name)]
if len(declared) != 135 or exported != expected or other:
    print(f"{len(declared)} functions declared")
    print("not exported:", *sorted(expected - exported))
    print("not declared:", *sorted(exported - expected))
    print("defined with other parameters:", *other)
    sys.exit(1)
