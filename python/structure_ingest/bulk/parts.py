"""Parts: files of rows, of which each is there whole or not at all, and never changes."""

from __future__ import annotations

import contextlib
import gzip
import json
import os
import re
import socket
import threading
import zlib
from dataclasses import dataclass
from pathlib import Path
from typing import IO, Iterator, List, Optional, cast

from .errors import BulkError
from .rows import Row


@dataclass(frozen=True, order=True)
class Part:
    """The place of a part. Of two rows of one file the one in the greater part is the newer."""

    run: int
    number: int

    @property
    def name(self) -> str:
        return f"rows-{self.run:04d}-{self.number:06d}.jsonl.gz"

    @property
    def attempt_name(self) -> str:
        """The file of an ``Attempt``."""
        return f".attempt-{self.run:04d}-{self.number:06d}"


_PART = re.compile(r"rows-(\d{4,})-(\d{6,})\.jsonl\.gz")
_LEFT_OVER = re.compile(r"\.(rows|attempt)-.*")

#: gzip's own 6 takes twice the time for a tenth less.
_LEVEL = 4


def parts_in(out: Path) -> List[Part]:
    """All parts of an output folder, the oldest first."""
    found = (_PART.fullmatch(name) for name in os.listdir(out))
    return sorted(Part(int(match[1]), int(match[2])) for match in found if match)


def remove_left_over(out: Path) -> None:
    """Removes what workers that were lost left of unfinished parts, in this run or another."""
    for name in os.listdir(out):
        if _LEFT_OVER.fullmatch(name):
            (out / name).unlink(missing_ok=True)


class PartWriter:
    """Writes a part: it appears with its name when the ``with`` statement ends without an error."""

    def __init__(self, out: Path, part: Part) -> None:
        self._out = out
        self._final = out / part.name
        # Dask may have two workers do the same, when it took the first for lost.
        writer = f"{socket.gethostname()}-{os.getpid()}-{threading.get_ident()}"
        self._temporary = out / f".{part.name}.{writer}"
        self._file: Optional[IO[bytes]] = None
        self._stream: Optional[gzip.GzipFile] = None

    def __enter__(self) -> "PartWriter":
        return self

    def add(self, row: Row) -> None:
        if self._stream is None:
            self._file = open(self._temporary, "wb")
            # Neither time nor name in the head: equal rows make an equal file.
            self._stream = gzip.GzipFile("", "wb", _LEVEL, self._file, mtime=0)
        text = json.dumps(row, allow_nan=False, separators=(",", ":"))
        self._stream.write(text.encode("ascii") + b"\n")

    def __exit__(self, error_type: object, error: object, traceback: object) -> None:
        if self._stream is None or self._file is None:
            return
        try:
            with self._file:
                self._stream.close()
                self._file.flush()
                os.fsync(self._file.fileno())
            if error_type is None:
                _give_name(self._temporary, self._final)
                _sync_folder(self._out)
        finally:
            self._temporary.unlink(missing_ok=True)


def _give_name(temporary: Path, final: Path) -> None:
    """Names a file unless the name is taken: a part never changes."""
    try:
        os.link(temporary, final)
    except FileExistsError:
        pass
    except OSError:  # a file system without links
        if not final.exists():
            os.rename(temporary, final)


def _sync_folder(folder: Path) -> None:
    descriptor = os.open(folder, os.O_RDONLY)
    try:
        with contextlib.suppress(OSError):  # not every file system can
            os.fsync(descriptor)
    finally:
        os.close(descriptor)


def read_part(out: Path, part: Part) -> Iterator[Row]:
    """The rows of a part. Raises BulkError when it is damaged."""
    path = out / part.name
    try:
        with gzip.open(path, "rb") as stream:
            for line in stream:
                yield cast(Row, json.loads(line))
    except (EOFError, gzip.BadGzipFile, zlib.error, ValueError) as error:
        raise BulkError(f"{path} is damaged ({error}); without it its files are read again"
                        ) from error
