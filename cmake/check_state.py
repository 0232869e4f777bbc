#!/usr/bin/env python3
"""Checks that variables of the library stand in the state.cpp of a folder, and nowhere else.

usage: check_state.py OBJECT...  (the object files of src)
Constants are named k...; `math` has no state of a scene, and its variables stand with their subject.
Prints the others, and exits with 1.
"""
import re
import subprocess
import sys

# Names of data that may be written: of namespaces of ours, or of a function in them.
VARIABLE = re.compile(r"^[0-9a-f]* [bBdD] (mh::.*?)(\[abi:\w+\])?$", re.M)
OURS = re.compile(r"/mh_(?!math)(\w+)\.dir/(?:\./)?(?!\./|state\.cpp)")


def main(objects):
    faults = []
    for file in filter(OURS.search, objects):
        listing = subprocess.run(["nm", "-C", file], capture_output=True, text=True, check=True)
        for name, _ in VARIABLE.findall(listing.stdout):
            if not re.match(r"k[A-Z]", name.rsplit("::")[-1]):
                faults.append(f"{file}: {name} belongs into state.h")
    print("\n".join(faults))
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
