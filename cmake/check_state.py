#!/usr/bin/env python3
"""Checks that variables of the library stand in the state.cpp of a folder, and nowhere else.

usage: check_state.py OBJECT...  (the object files of src)
Constants are named k...; `math` has no state of a scene, and its variables stand with their
subject. Prints the others, and exits with 1.
"""
import re
import subprocess
import sys

WRITABLE = re.compile(r"^(.*):[0-9a-f]* [bBdD] (.*)$", re.M)  # data, as "nm -A" lists it
OF_OURS = re.compile(r"(mh::.*?)(\[abi:\w+\])?$")  # of namespaces of ours, or of a function in them
OUTSIDE = re.compile(r"/mh_(?!math)(\w+)\.dir/(?:\./)?(?!\./|state\.cpp)")


def main(objects):
    files = list(filter(OUTSIDE.search, objects))
    listing = subprocess.run(["nm", "-A", *files], capture_output=True, text=True,
                             check=True).stdout
    places = WRITABLE.findall(listing)
    names = subprocess.run(["c++filt"], input="\n".join(name for _, name in places), text=True,
                           capture_output=True, check=True).stdout.splitlines()
    faults = [f"{file}: {ours[1]} belongs into state.h"
              for (file, _), name in zip(places, names, strict=True)
              if (ours := OF_OURS.match(name))
              and not re.match(r"k[A-Z]", ours[1].rsplit("::")[-1])]
    print("\n".join(faults))
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
