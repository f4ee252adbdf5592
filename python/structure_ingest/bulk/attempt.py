"""Remembers in a file which structure file is being read, for whoever has to do the same again.

A worker process may be ended by what it reads: no reader is proof against all files. The next one
that gets the chunk learns here on which file the one before ended.
"""

from __future__ import annotations

import os
import struct
from pathlib import Path

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
