"""Builds the wheel that pip installs: the Python module, the library, the program and its helpers.

Needs no other Python package, so that pip needs no network. CMake builds and installs into
build/wheel; MOONHARE_TREE names an installed tree to pack instead.
SPDX-License-Identifier: MIT"""
import base64
import hashlib
import os
import pathlib
import platform
import re
import subprocess
import sys
import zipfile

SOURCE = pathlib.Path(__file__).resolve().parents[3]
HEADER = (SOURCE / "src/frame/moonhare.h").read_text(encoding="utf-8")
VERSION = ".".join(re.search(rf"MOONHARE_VERSION_{part} (\d+)", HEADER)[1]
                   for part in ("MAJOR", "MINOR", "PATCH"))
TAG = f"py3-none-linux_{platform.machine()}"
INFO = f"moonhare-{VERSION}.dist-info"
METADATA = f"""Metadata-Version: 2.1
Name: moonhare
Version: {VERSION}
Summary: Offline, physically based ray tracer
License: MIT
Requires-Python: >=3.10
Provides-Extra: classes
Requires-Dist: numpy; extra == "classes"
"""
ABOUT = f"Wheel-Version: 1.0\nGenerator: moonhare\nRoot-Is-Purelib: false\nTag: {TAG}\n"
COMMAND = "[console_scripts]\nmoonhare = moonhare.program:main\n"


def run(*command):
    subprocess.run(list(map(str, command)), check=True, stdout=sys.stderr)


def installed_tree():
    if named := os.environ.get("MOONHARE_TREE"):
        return pathlib.Path(named)
    build = SOURCE / "build/wheel"
    run("cmake", "-S", SOURCE, "-B", build, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Release",
        "-DBUILD_TESTING=OFF", "-DCMAKE_INSTALL_LIBDIR=lib")
    run("cmake", "--build", build)
    run("cmake", "--install", build, "--prefix", build / "tree")
    return build / "tree"


def packed_files(tree):
    """Name in the wheel and file: the library finds its helpers as in any other tree."""
    package = tree / "lib/python3/dist-packages/moonhare"
    for file in sorted(package.rglob("*")):
        if file.is_file() and "__pycache__" not in file.parts:
            yield f"moonhare/{file.relative_to(package)}", file
    library = next((tree / "lib").glob("libmh.so.?"))
    yield f"moonhare/tree/lib/{library.name}", library.resolve()
    for folder in "bin", "libexec/moonhare":
        for file in sorted((tree / folder).iterdir()):
            yield f"moonhare/tree/{folder}/{file.name}", file


class Wheel:
    """A zip file with a list of what it holds."""

    def __init__(self, path):
        self.zip = zipfile.ZipFile(path, "w", zipfile.ZIP_DEFLATED)
        self.record = []

    def add(self, name, content, mode=0o644):
        digest = base64.urlsafe_b64encode(hashlib.sha256(content).digest()).rstrip(b"=").decode()
        self.record.append(f"{name},sha256={digest},{len(content)}\n")
        entry = zipfile.ZipInfo(name)
        entry.external_attr = (0o100000 | mode) << 16
        self.zip.writestr(entry, content, zipfile.ZIP_DEFLATED)

    def close(self):
        self.zip.writestr(f"{INFO}/RECORD", "".join(self.record) + f"{INFO}/RECORD,,\n")
        self.zip.close()


def build_wheel(wheel_directory, config_settings=None, metadata_directory=None):
    name = f"moonhare-{VERSION}-{TAG}.whl"
    wheel = Wheel(pathlib.Path(wheel_directory) / name)
    for inside, file in packed_files(installed_tree()):
        wheel.add(inside, file.read_bytes(), file.stat().st_mode & 0o777)
    for inside, text in ("METADATA", METADATA), ("WHEEL", ABOUT), ("entry_points.txt", COMMAND):
        wheel.add(f"{INFO}/{inside}", text.encode())
    wheel.add(f"{INFO}/LICENSE", (SOURCE / "LICENSE").read_bytes())
    wheel.close()
    return name


def build_sdist(sdist_directory, config_settings=None):
    raise NotImplementedError("moonhare is built from a clone; there is no source archive")
