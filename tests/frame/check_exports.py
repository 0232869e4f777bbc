#!/usr/bin/env python3
"""Checks that a shared library exports the functions of a header and nothing else.

usage: check_exports.py LIBRARY HEADER
"""
import re
import subprocess
import sys

library, header = sys.argv[1:]
listing = subprocess.run(["nm", "--dynamic", "--defined-only", library], check=True, text=True,
                         stdout=subprocess.PIPE).stdout
exported = {line.split()[-1] for line in listing.splitlines()}
declared = set(re.findall(r"^MH_API[^(]*?(\w+)\(", open(header).read(), re.M))
if len(declared) != 124 or exported != declared:
    print(f"{len(declared)} functions declared")
    print("not exported:", *sorted(declared - exported))
    print("not declared:", *sorted(exported - declared))
    sys.exit(1)
