"""A scene directory: blocks in the folder of their kind, and the files that they name.
SPDX-License-Identifier: MIT"""
import hashlib
import os
import shutil

import numpy

from . import meshes, pictures
from .names import Names
from .text import block_lines

FOLDERS = {
    "shader": "shader", "render": "render", "point_light": "light", "parallel_light": "light",
    "sky_light": "light", "geometry_light": "light", "camera": "camera", "object": "geometry",
}


class Scene:
    """A scene directory. Folders and files that are there already stay, but for those that this
    object wrote and that a later write() does without. Errors of the file system are raised as
    OSError."""

    def __init__(self, path):
        self.path = str(path)
        self.reused = 0  # files of the last write() that were there already
        self._digests = {}  # of the files that this object wrote, by path below the directory
        for folder in ("image", *FOLDERS.values()):
            os.makedirs(os.path.join(self.path, folder), exist_ok=True)
        self.restart()

    def restart(self):
        """Begins the next frame: no blocks, all names free. Meshes and pictures that are added
        again with the same content are not written again."""
        self.reused = 0
        self._used = set()
        self._blocks = {folder: [] for folder in FOLDERS.values()}
        self._shaders, self._objects = Names("undefined"), Names()
        self._meshes, self._images = Names(), Names()

    def add(self, kind, **keys):
        """A block of any kind but shader and object."""
        self._blocks[FOLDERS[kind]] += block_lines(kind, keys)

    def shader_name(self, wanted):
        """A name for a shader that is defined later, by add("shader", name=...)."""
        return self._shaders.unique(wanted, "shader")

    def shader(self, wanted, **keys):
        """A shader; returns the name under which objects find it, which is `wanted` made safe."""
        name = self.shader_name(wanted)
        self.add("shader", name=name, **keys)
        return name

    def object(self, wanted, **keys):
        """An object; returns the name that instances call it."""
        name = self._objects.unique(wanted, "object")
        self.add("object", name=name, **keys)
        return name

    def mesh(self, wanted, positions, triangles, normals=None, uvs=None):
        """A mesh file of arrays, rows of 3, 3, 3 and 2; returns its name for the key "mesh"."""
        name = self._meshes.unique(wanted, "mesh", ".mesh")
        self._write("geometry/" + name, meshes.mesh_parts(positions, triangles, normals, uvs))
        return name

    def hair(self, wanted, points, segments, radii):
        """A hair file; returns its name for the key "hair". Strand i has segments[i] + 1 points;
        radii are one of all points or one of each. Segments look smooth when about one unit
        long."""
        name = self._meshes.unique(wanted, "hair", ".hair")
        self._write("geometry/" + name, meshes.hair_parts(points, segments, radii))
        return name

    def picture(self, wanted, texels):
        """A picture of rows, columns and channels, the top row first: bytes as PNG, floats as a
        float map. Returns its name for the key "image"."""
        texels = numpy.asarray(texels)
        texels = texels.reshape(*texels.shape[:2], -1)
        is_bytes = texels.dtype == numpy.uint8
        name = self._images.unique(wanted, "image", ".png" if is_bytes else ".pfm")
        self._write("image/" + name, [(pictures.png if is_bytes else pictures.pfm)(texels)])
        return name

    def picture_file(self, path, link=False):
        """A picture that is a file already, as a copy or as a symbolic link."""
        stem, ending = os.path.splitext(os.path.basename(path))
        name = self._images.unique(stem, "image", ending.lower())
        status = os.stat(path)
        origin = repr((os.path.abspath(path), status.st_size, status.st_mtime_ns, link)).encode()
        source = os.path.abspath(path)
        self._keep("image/" + name, hashlib.blake2b(origin).digest(), lambda target: (
            os.symlink if link else shutil.copyfile)(source, target))
        return name

    def picture_bytes(self, wanted, ending, content):
        """A picture as the bytes of its file."""
        name = self._images.unique(wanted, "image", ending)
        self._write("image/" + name, [content])
        return name

    def write(self):
        """Writes the blocks and removes what an earlier write() of this object left."""
        for folder, lines in self._blocks.items():
            text = "\n".join(lines) + "\n" if lines else "# Nothing.\n"
            self._write(f"{folder}/all.mh", [text.encode("ascii")])
        for name in set(self._digests) - self._used:
            del self._digests[name]
            if os.path.lexists(self._full(name)):
                os.remove(self._full(name))

    def _full(self, name):
        return os.path.join(self.path, *name.split("/"))

    def _write(self, name, parts):
        digest = hashlib.blake2b()
        for part in parts:
            digest.update(part)

        def fill(target):
            with open(target, "wb") as file:
                for part in parts:
                    file.write(part)

        self._keep(name, digest.digest(), fill)

    def _keep(self, name, digest, fill):
        """Has `fill` make the file aside, unless it is there with this digest."""
        target = self._full(name)
        self._used.add(name)
        if self._digests.get(name) == digest and os.path.exists(target):
            self.reused += 1
            return
        self._digests.pop(name, None)
        aside = target + ".new"
        try:
            if os.path.lexists(aside):
                os.remove(aside)
            fill(aside)
            os.replace(aside, target)
        except OSError:
            if os.path.lexists(aside):
                os.remove(aside)
            raise
        self._digests[name] = digest
