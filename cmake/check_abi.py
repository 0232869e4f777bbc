#!/usr/bin/env python3
"""Compares the interface of a header with that of the last release, by abidiff.

usage: check_abi.py HEADER RELEASE.abi WORK_DIRECTORY [--renew]
What the header declares is compiled to a library of empty functions: the real one takes abidw many
minutes, and the test exported_symbols holds it to the header. Additions pass, any other difference
is printed, and the status is abidiff's. --renew writes RELEASE.abi instead, which a release does.
"""
import pathlib
import re
import subprocess
import sys

FOUND = ["--load-all-types", "--no-corpus-path", "--no-comp-dir-path", "--no-show-locs"]


def empty_functions(header):
    """Of C: each declaration of the header with a body."""
    functions = re.findall(r"^MH_API ([^;(]*?)(\w+)(\([^;]*?\));", header.read_text(), re.M)
    bodies = [f"{kind}{name}{parameters} {{ {'' if kind == 'void ' else 'return 0;'} }}"
              for kind, name, parameters in functions]
    return "\n".join([f'#include "{header.resolve()}"', *bodies, ""])


def main(header, release, folder, renew):
    folder.mkdir(parents=True, exist_ok=True)
    library = folder / "libinterface.so"
    (folder / "interface.c").write_text(empty_functions(header))
    subprocess.run(["cc", "-g", "-shared", "-fPIC", "-fno-eliminate-unused-debug-types", "-o",
                    library.name, "interface.c"], cwd=folder, check=True)
    current = release if renew else folder / "interface.abi"
    subprocess.run(["abidw", *FOUND, "--out-file", current, library], check=True)
    if renew:
        return 0
    status = subprocess.run(["abidiff", "--no-added-syms", "--non-reachable-types", release,
                             current]).returncode
    if status != 0:
        print(f"{header.name}: a function, type or value of the last release was changed, renamed "
              "or removed; programs built against it break")
    return status


if __name__ == "__main__":
    sys.exit(main(*map(pathlib.Path, sys.argv[1:4]), "--renew" in sys.argv))
