#!/usr/bin/env python3
"""Checks that a shared library exports the functions of a header and nothing else, under the symbol
version of its major version, and that the definitions beside the header have its parameters.

usage: check_exports.py LIBRARY HEADER
"""
import pathlib
import re
import subprocess
import sys

FUNCTIONS = 135  # none is added or lost by mistake

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
faults = {"declared, but not exported:": sorted(expected - exported),
          "exported, but not declared:": sorted(exported - expected),
          "defined nowhere with these parameters:": other}
if len(declared) != FUNCTIONS:
    print(f"{header} declares {len(declared)} functions; "
          f"FUNCTIONS of check_exports.py is {FUNCTIONS}")
for fault, names in faults.items():
    if names:
        print(fault, *names)
sys.exit(len(declared) != FUNCTIONS or any(faults.values()))
