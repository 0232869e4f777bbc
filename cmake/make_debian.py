#!/usr/bin/env python3
"""Makes the Debian packages of a build: the components that it installs, and what Debian adds to
them.

usage: make_debian.py BUILD_DIRECTORY OUTPUT_DIRECTORY
Files carry the time of SOURCE_DATE_EPOCH, or that of the last commit. Needs dpkg-dev.
"""
import gzip
import hashlib
import os
import pathlib
import re
import shutil
import subprocess
import sys
import time

SOURCE = pathlib.Path(__file__).resolve().parents[1]
CONTACT = "The moonhare developers <moonhare@example.org>"
ABOUT = """ moonhare is an offline ray tracer. It reads directories of plain text, or is
 driven by calls from C, C++ and Python, and writes HDR and ordinary images."""

# Component of the install rules: fields of its package, and what its description adds.
PACKAGES = {
    "libmh0": ({"Section": "libs"}, "the library",
               "This package holds the library and its helper for image files."),
    "libmh-dev": ({"Section": "libdevel", "Depends": "libmh0 (= {version})"},
                  "header and build files",
                  "This package holds what programs need to be built against the library."),
    "moonhare": ({"Section": "graphics", "Depends": "libmh0 (= {version})",
                  "Recommends": "moonhare-pictures (= {version}), moonhare-preview (= {version})",
                  "Suggests": "moonhare-doc, blender"},
                 "the program", "This package holds the program and its importer."),
    "moonhare-preview": ({"Section": "graphics", "Depends": "libmh0 (= {version})",
                          "Enhances": "moonhare"}, "the preview window",
                         "This package holds the window that shows pictures while they grow."),
    "moonhare-pictures": ({"Section": "graphics", "Depends": "moonhare (= {version})"},
                          "the reader of pictures",
                          "This package holds the reader by which moonhare compares and converts\n"
                          " pictures of other programs."),
    "python3-moonhare": ({"Section": "python", "Architecture": "all",
                          "Depends": "libmh0 (>= {version}), python3:any",
                          "Recommends": "python3-numpy, moonhare",
                          "Suggests": "python3-distributed, slurm-wlm"}, "the Python module",
                         "This package holds the module moonhare and renders on clusters."),
    "moonhare-doc": ({"Section": "doc", "Architecture": "all", "Multi-Arch": "foreign"},
                     "pages and examples", "This package holds the manual and example scenes."),
}

# Before the removal: what Python has compiled since. dpkg sets the variable where it works for
# another root.
PYTHON_PRERM = """#!/bin/sh
set -e
find "$DPKG_ROOT/usr/lib/python3/dist-packages/moonhare" -name __pycache__ -prune -exec rm -rf {} +
"""

COPYRIGHT = """Format: https://www.debian.org/doc/packaging-manuals/copyright-format/1.0/
Upstream-Name: moonhare
Upstream-Contact: {contact}

Files: *
Copyright: {holder}
License: Expat

License: Expat
{text}
"""


def output_of(*command, **options):
    return subprocess.run(list(map(str, command)), check=True, text=True, stdout=subprocess.PIPE,
                          **options).stdout


def version_of(header):
    text = header.read_text(encoding="utf-8")
    return ".".join(re.search(rf"MOONHARE_VERSION_{part} (\d+)", text)[1]
                    for part in ("MAJOR", "MINOR", "PATCH"))


def packaging_time():
    if given := os.environ.get("SOURCE_DATE_EPOCH"):
        return int(given)
    try:
        return int(output_of("git", "-C", SOURCE, "log", "-1", "--format=%ct"))
    except (OSError, subprocess.CalledProcessError, ValueError):
        return int(time.time())


def copyright_text():
    licence = (SOURCE / "LICENSE").read_text(encoding="utf-8")
    paragraphs = licence.split("\n\n", 2)[2].strip()
    holder = re.search(r"Copyright \(c\) (.*)", licence)[1]
    text = "\n".join(f" {line}" if line else " ." for line in paragraphs.splitlines())
    return COPYRIGHT.format(contact=CONTACT, holder=holder, text=text)


def changelog_text(version, when):
    date = time.strftime("%a, %d %b %Y %H:%M:%S +0000", time.gmtime(when))
    return f"moonhare ({version}) unstable; urgency=medium\n\n  * {version}: CHANGELOG.md of" \
           f" moonhare-doc lists the changes.\n\n -- {CONTACT}  {date}\n"


def compress(path):
    """By gzip, without a name or a time in it."""
    with open(path.with_name(path.name + ".gz"), "wb") as file:
        file.write(gzip.compress(path.read_bytes(), mtime=0))
    path.unlink()


def add_documents(root, package, version, when):
    folder = root / "usr/share/doc" / package
    folder.mkdir(parents=True, exist_ok=True)
    (folder / "copyright").write_text(copyright_text(), encoding="utf-8")
    (folder / "changelog").write_text(changelog_text(version, when), encoding="utf-8")
    compress(folder / "changelog")
    for page in root.glob("usr/share/man/man*/*"):
        compress(page)


def move_pkg_config(root):
    """To the folder of the architecture, where compilers for others do not find it."""
    old = root / "usr/lib/pkgconfig"
    if not old.exists():
        return
    triplet = output_of("dpkg-architecture", "-qDEB_HOST_MULTIARCH").strip()
    folder = root / "usr/lib" / triplet / "pkgconfig"
    folder.mkdir(parents=True)
    for file in old.iterdir():
        text = file.read_text().replace("${pcfiledir}/../..", "${pcfiledir}/../../..", 1)
        (folder / file.name).write_text(text)
    shutil.rmtree(old)


def is_elf(path):
    with open(path, "rb") as file:
        return file.read(4) == b"\x7fELF"


def set_modes(root, when):
    for path in [root, *root.rglob("*")]:
        if not path.is_symlink():
            program = path.is_file() and path.parent.name in ("bin", "moonhare") \
                and is_elf(path) and ".so" not in path.name
            program |= path.name == "prerm"
            path.chmod(0o755 if path.is_dir() or program else 0o644)
        os.utime(path, (when, when), follow_symlinks=False)


def shared_libraries(root, work):
    """What the package's programs depend on."""
    files = [p for p in root.rglob("*") if p.is_file() and not p.is_symlink() and is_elf(p)]
    if not files:
        return []
    (work / "debian").mkdir(exist_ok=True)
    (work / "debian/control").write_text("Source: moonhare\n\nPackage: x\nArchitecture: any\n")
    found = output_of("dpkg-shlibdeps", "-O", "--ignore-missing-info",
                      *[f"-e{file}" for file in files], cwd=work, stderr=subprocess.DEVNULL)
    return [found.strip().removeprefix("shlibs:Depends=")]


def control_text(root, package, version, dependencies):
    fields, title, purpose = PACKAGES[package]
    fields = {name: value.format(version=version) for name, value in fields.items()}
    architecture = fields.pop("Architecture", "") or output_of("dpkg",
                                                               "--print-architecture").strip()
    depends = ", ".join([*dependencies, *filter(None, [fields.pop("Depends", "")])])
    size = sum(p.lstat().st_size for p in root.rglob("*") if p.is_file()) // 1024 + 1
    lines = {"Package": package, "Source": "moonhare", "Version": version,
             "Architecture": architecture, "Maintainer": CONTACT, "Installed-Size": str(size),
             "Depends": depends, "Priority": "optional", **fields}
    if package == "moonhare":
        del lines["Source"]
    text = "".join(f"{name}: {value}\n" for name, value in lines.items() if value)
    return f"{text}Description: physically based ray tracer - {title}\n{ABOUT}\n .\n {purpose}\n"


def add_control(root, package, version, dependencies):
    folder = root / "DEBIAN"
    sums = [f"{hashlib.md5(path.read_bytes()).hexdigest()}  {path.relative_to(root)}\n"
            for path in sorted(root.rglob("*")) if path.is_file() and not path.is_symlink()]
    control = control_text(root, package, version, dependencies)
    folder.mkdir()
    (folder / "control").write_text(control, encoding="utf-8")
    (folder / "md5sums").write_text("".join(sums), encoding="utf-8")
    if package == "libmh0":
        major = version.split(".")[0]
        (folder / "shlibs").write_text(f"libmh {major} libmh0 (>= {version})\n")
        (folder / "triggers").write_text("activate-noawait ldconfig\n")
    if package == "python3-moonhare":
        (folder / "prerm").write_text(PYTHON_PRERM)


def make(build, output, package, version, when):
    work = output / "work" / package
    root = work / "root"
    root.mkdir(parents=True)
    subprocess.run(["cmake", "--install", build, "--component", package, "--strip", "--prefix",
                    root / "usr"], check=True, stdout=subprocess.DEVNULL)
    move_pkg_config(root)
    add_documents(root, package, version, when)
    dependencies = shared_libraries(root, work)
    add_control(root, package, version, dependencies)
    set_modes(root, when)
    subprocess.run(["dpkg-deb", "--root-owner-group", "--build", root, output], check=True,
                   stdout=subprocess.DEVNULL,
                   env=dict(os.environ, SOURCE_DATE_EPOCH=str(when)))


def main(build, output):
    version, when = version_of(SOURCE / "src/frame/moonhare.h"), packaging_time()
    shutil.rmtree(output / "work", ignore_errors=True)
    for package in PACKAGES:
        make(build, output, package, version, when)
    shutil.rmtree(output / "work")


if __name__ == "__main__":
    main(*(pathlib.Path(a).resolve() for a in sys.argv[1:]))
