"""What a worker does: reads the files of a chunk, and writes their rows as one part.

A worker process may be ended by what it reads: no reader is proof against all files. An ``Attempt``
remembers in a file which structure file is being read, for whoever has to do the same again.
"""

from __future__ import annotations

import hashlib
import os
import pickle
import stat
import struct
from dataclasses import dataclass
from pathlib import Path
from typing import List, Optional, Tuple

from .index import Key, Known, key_of
from .parts import Part, PartWriter, read_part
from .rows import Settings, row_of, row_of_ended


#: A file is given up when this many processes ended while they read it: one may be a coincidence.
MOST_ENDS = 3

_POSITION = struct.Struct("<q")
_NOWHERE = -1


class Attempt:
    """One attempt at ``count`` files; in the file stand the position of the one that is being read,
    and for each file how many attempts ended on it."""

    def __init__(self, path: Path, count: int) -> None:
        self._path = path
        self._descriptor = os.open(path, os.O_RDWR | os.O_CREAT, 0o666)
        text = os.pread(self._descriptor, _POSITION.size + count, 0)
        self._ends = bytearray(count)
        if len(text) == _POSITION.size + count:
            (position,) = _POSITION.unpack_from(text)
            self._ends[:] = text[_POSITION.size:]
            if 0 <= position < count:
                self._ends[position] = min(self._ends[position] + 1, MOST_ENDS)
        os.pwrite(self._descriptor, _POSITION.pack(_NOWHERE) + self._ends, 0)

    def __enter__(self) -> "Attempt":
        return self

    def begin(self, position: int) -> bool:
        """Says that the file at a position is read now; False when it is given up."""
        given_up = self._ends[position] >= MOST_ENDS
        place = _NOWHERE if given_up else position
        os.pwrite(self._descriptor, _POSITION.pack(place), 0)
        return not given_up

    def end(self) -> None:
        """Says that nothing is read any more."""
        os.pwrite(self._descriptor, _POSITION.pack(_NOWHERE), 0)

    def __exit__(self, error_type: object, error: object, traceback: object) -> None:
        self.end()
        os.close(self._descriptor)
        if error_type is None:
            self._path.unlink(missing_ok=True)


@dataclass(frozen=True)
class Chunk:
    """Files to be read, each with what is known of it; None for one to be read in any case."""

    out: Path
    part: Part
    files: Tuple[Tuple[str, Optional[Known]], ...]
    settings: Settings
    verify: bool = False  # compare fingerprints, not sizes and times


@dataclass(frozen=True)
class Done:
    """What became of a chunk."""

    part: Part
    keys: List[Key]  # of the rows, in their order
    unchanged: int


def do_chunk(chunk: Chunk) -> Done:
    """Reads what is not known yet, or has changed. Raises OSError when the part cannot be written.

    A part that is there already is what an earlier worker made of the chunk before it was lost.
    """
    if (chunk.out / chunk.part.name).exists():
        keys = [key_of(row) for row in read_part(chunk.out, chunk.part)]
        return Done(chunk.part, keys, len(chunk.files) - len(keys))
    keys = []
    with Attempt(chunk.out / chunk.part.attempt_name, len(chunk.files)) as attempt:
        with PartWriter(chunk.out, chunk.part) as writer:
            for position, (path, known) in enumerate(chunk.files):
                if known is not None and _is_as_known(path, known, chunk.verify):
                    continue
                if attempt.begin(position):
                    row = row_of(path, chunk.settings, not keys)
                else:
                    row = row_of_ended(path, chunk.settings)
                writer.add(row)
                keys.append(key_of(row))
            attempt.end()
    return Done(chunk.part, keys, len(chunk.files) - len(keys))


def read_files(paths: Tuple[str, ...], settings: Settings) -> bytes:
    """The list of the rows of some files, pickled: Dask sends each element of a list by itself."""
    rows = [row_of(path, settings, position == 0) for position, path in enumerate(paths)]
    return pickle.dumps(rows, pickle.HIGHEST_PROTOCOL)


def _is_as_known(path: str, known: Known, verify: bool) -> bool:
    try:
        status = os.stat(path)
        if not verify:
            return (status.st_size, status.st_mtime_ns) == (known.size, known.mtime_ns)
        # Opening what is no file may wait for ever.
        return (status.st_size == known.size and stat.S_ISREG(status.st_mode)
                and _fingerprint_of(path) == known.sha256)
    except OSError:
        return known.size is None  # there was no file then either


def _fingerprint_of(path: str) -> str:
    digest = hashlib.sha256()
    with open(path, "rb") as stream:
        while block := stream.read(1 << 20):
            digest.update(block)
    return digest.hexdigest()[:16]
