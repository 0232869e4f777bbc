"""A scene on its way to machines that don't see its folder: a digest of its files, and an archive
that is sent in chunks. Nothing but plain files below the folder is packed or unpacked.
SPDX-License-Identifier: MIT"""
from __future__ import annotations

import hashlib
import os
import zipfile
from typing import Iterator

CHUNK_BYTES = 900_000  # of an archive, in one message; Dask complains above a million
BLOCK_BYTES = 1 << 20


def files_of(scene: str) -> Iterator[str]:
    """Plain files below the folder, by their relative names in a fixed order."""
    for folder, folders, names in os.walk(scene):
        folders.sort()
        for name in sorted(names):
            path = os.path.join(folder, name)
            if os.path.isfile(path):
                yield os.path.relpath(path, scene)


def scene_digest(scene: str) -> str:
    """Of names, sizes and bytes of all files."""
    digest = hashlib.sha256()
    for name in files_of(scene):
        path = os.path.join(scene, name)
        digest.update(f"{name}\0{os.path.getsize(path)}\0".encode(errors="surrogateescape"))
        with open(path, "rb") as file:
            while block := file.read(BLOCK_BYTES):
                digest.update(block)
    return digest.hexdigest()


def pack_scene(scene: str, archive: str) -> None:
    with zipfile.ZipFile(archive + ".new", "w", zipfile.ZIP_DEFLATED, compresslevel=1,
                         strict_timestamps=False) as pack:
        for name in files_of(scene):
            pack.write(os.path.join(scene, name), name)
    os.replace(archive + ".new", archive)


def chunks_of(archive: str) -> Iterator[bytes]:
    with open(archive, "rb") as file:
        while chunk := file.read(CHUNK_BYTES):
            yield chunk


def unpack_scene(archive: str, scene: str, digest: str) -> None:
    """Fails when what was unpacked is not the scene of that digest."""
    with zipfile.ZipFile(archive) as pack:
        pack.extractall(scene)  # keeps names inside of the folder, and makes no links
    if scene_digest(scene) != digest:
        raise ValueError("the scene that was sent arrived damaged")
