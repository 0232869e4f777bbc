"""Pictures of image nodes: files for the scene, and texels for what has to be computed.
SPDX-License-Identifier: MIT"""
import os

import bpy
import numpy

READABLE = {".png", ".jpg", ".jpeg", ".tif", ".tiff", ".exr", ".bmp", ".tga"}
PLAIN_DEPTHS = (24, 32)  # bits of a pixel of bytes; palettes and 16 bits read differently
PNG_KIND, PNG_PALETTE = 25, 3  # byte of the kind, and the one that is not read as colours
LINEAR = {"Linear", "Linear Rec.709", "Non-Color", "Raw", "Generic Data"}


def srgb_to_linear(values):
    return numpy.where(values <= 0.04045, values / 12.92, ((values + 0.055) / 1.055) ** 2.4)


class Source:
    """A picture of Blender that can be read."""

    def __init__(self, image):
        self.image = image
        self.is_linear = image.is_float or image.colorspace_settings.name in LINEAR
        self._texels = None

    def all_texels(self):
        """Linear red, green, blue and alpha, the lowest row first."""
        if self._texels is None:
            width, height = self.image.size
            texels = numpy.empty(width * height * self.image.channels, numpy.float32)
            self.image.pixels.foreach_get(texels)
            texels = texels.reshape(height, width, -1)
            if texels.shape[2] < 3:
                texels = texels[..., :1].repeat(3, -1)
            if not self.is_linear:
                texels[..., :3] = srgb_to_linear(texels[..., :3])
            self._texels = texels
        return self._texels

    def texels(self):
        return self.all_texels()[..., :3]

    def alpha(self):
        texels = self.all_texels()
        if texels.shape[2] < 4:
            return numpy.ones((*texels.shape[:2], 3), numpy.float32)
        return texels[..., 3:].repeat(3, -1)

    def plain_file(self):
        """The path of a file that reads the same there as here, or None."""
        image = self.image
        path = bpy.path.abspath(image.filepath_from_user(), library=image.library)
        ending = os.path.splitext(path)[1].lower()
        if image.source != "FILE" or image.packed_file or image.is_dirty or ending not in READABLE:
            return None
        if not os.path.isfile(path) or not (image.is_float or image.depth in PLAIN_DEPTHS):
            return None
        if image.is_float and ending != ".exr":
            return None
        if ending == ".png":
            with open(path, "rb") as file:
                if file.read(PNG_KIND + 1)[PNG_KIND] == PNG_PALETTE:
                    return None
        return path


class Pictures:
    """The pictures of one scene, each written once."""

    def __init__(self, scene, report, link):
        self.scene, self.report, self.link = scene, report, link
        self._sources, self._files = {}, {}

    def source(self, image):
        """The picture, or None with a note where it cannot be read."""
        key = image.as_pointer()
        if key not in self._sources:
            readable = image.source in ("FILE", "GENERATED", "SEQUENCE", "MOVIE", "VIEWER")
            readable = readable and image.size[0] > 0
            self._sources[key] = Source(image) if readable else None
        return self._sources[key]

    def file(self, source):
        """Name of the picture's file in the scene, and whether it holds linear colours."""
        key = source.image.as_pointer()
        if key not in self._files:
            path = source.plain_file()
            if path:
                self._files[key] = (self.scene.picture_file(path, self.link), source.is_linear)
            elif source.image.is_float:
                self._files[key] = (self.texels(source.image.name, source.texels()), True)
            else:
                self._files[key] = (self._bytes(source), source.is_linear)
        return self._files[key]

    def _bytes(self, source):
        """A picture of bytes in its own colours."""
        image = source.image
        texels = numpy.empty(image.size[0] * image.size[1] * image.channels, numpy.float32)
        image.pixels.foreach_get(texels)
        texels = texels.reshape(image.size[1], image.size[0], -1)[::-1]
        texels = texels[..., :1] if texels.shape[2] < 3 else texels[..., :3]
        return self.scene.picture(image.name, as_bytes(texels))

    def texels(self, name, rows):
        """A picture of computed texels, the lowest row first."""
        return self.scene.picture(name, numpy.asarray(rows, numpy.float32)[::-1])

    def grey_bytes(self, name, rows):
        return self.scene.picture(name, as_bytes(rows[::-1, :, :1]))


def as_bytes(values):
    return (numpy.clip(values, 0, 1) * 255 + 0.5).astype(numpy.uint8)
