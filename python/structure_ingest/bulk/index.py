"""An index of the rows of an output folder, in SQLite: memory stays bounded, whatever their number.

It holds nothing that the parts do not: it is made again when it is missing or damaged.
"""

from __future__ import annotations

import contextlib
import os
import sqlite3
from dataclasses import dataclass
from pathlib import Path
from typing import Dict, Iterable, Iterator, List, NamedTuple, Optional, Tuple

from .listing import PathLike
from .parts import Part, parts_in, read_part
from .rows import Row, reason_of

_VERSION = 1
_TABLES = """
CREATE TABLE parts (part INTEGER PRIMARY KEY);
CREATE TABLE files (path BLOB PRIMARY KEY, size INTEGER, mtime_ns INTEGER, sha256 TEXT NOT NULL,
                    reason TEXT, canonical BLOB, part INTEGER NOT NULL) WITHOUT ROWID;
"""
_UPSERT = """
INSERT INTO files VALUES (?, ?, ?, ?, ?, ?, ?) ON CONFLICT (path) DO UPDATE SET
  size = excluded.size, mtime_ns = excluded.mtime_ns, sha256 = excluded.sha256,
  reason = excluded.reason, canonical = excluded.canonical, part = excluded.part
WHERE excluded.part >= part
"""


class Key(NamedTuple):
    """What the index holds of a row."""

    path: str
    size: Optional[int]
    mtime_ns: Optional[int]
    sha256: str
    reason: Optional[str]  # why it was not read; None when it was
    canonical_sha256: Optional[str]


def key_of(row: Row) -> Key:
    return Key(row["path"], row["size"], row["mtime_ns"], row["sha256"],
               None if row["ok"] else reason_of(row), row["canonical_sha256"])


@dataclass(frozen=True)
class Known:
    """What is known of a file from its newest row."""

    size: Optional[int]
    mtime_ns: Optional[int]
    sha256: str
    ok: bool
    part: Part


class Index:
    """The newest row of each file, by its path. Use it in one thread."""

    def __init__(self, path: str) -> None:
        """Opens or makes the index at a path; one of its own, which ends with it, for ""."""
        self._database = sqlite3.connect(path, isolation_level=None)
        with contextlib.ExitStack() as on_error:
            on_error.callback(self.close)
            self._prepare()
            on_error.pop_all()

    def _prepare(self) -> None:
        # One process at a time: without shared memory, which network file systems have not.
        self._database.execute("PRAGMA locking_mode = EXCLUSIVE")
        self._database.execute("PRAGMA journal_mode = WAL")
        self._database.execute("PRAGMA synchronous = NORMAL")
        (version,) = self._database.execute("PRAGMA user_version").fetchone()
        if version != _VERSION:
            if self._database.execute("SELECT 1 FROM sqlite_master").fetchone():
                raise sqlite3.DatabaseError(f"an index of version {version}")
            self._database.executescript(_TABLES)
            self._database.execute(f"PRAGMA user_version = {_VERSION}")
        self._database.execute("CREATE TEMP TABLE listed (path BLOB PRIMARY KEY) WITHOUT ROWID")

    def close(self) -> None:
        self._database.close()

    def parts(self) -> List[Part]:
        numbers = self._database.execute("SELECT part FROM parts ORDER BY part")
        return [_part_of(number) for (number,) in numbers]

    def add(self, part: Part, keys: Iterable[Key]) -> None:
        """Takes in the rows of a part, all or none; rows of later parts stay."""
        number = _number_of(part)
        rows = ((os.fsencode(key.path), key.size, key.mtime_ns, key.sha256, key.reason,
                 None if key.canonical_sha256 is None else bytes.fromhex(key.canonical_sha256),
                 number) for key in keys)
        self._database.execute("BEGIN")
        try:
            self._database.executemany(_UPSERT, rows)
            self._database.execute("INSERT OR IGNORE INTO parts VALUES (?)", (number,))
        except BaseException:
            self._database.execute("ROLLBACK")
            raise
        self._database.execute("COMMIT")

    def find(self, path: str) -> Optional[Known]:
        row = self._database.execute(
            "SELECT size, mtime_ns, sha256, reason IS NULL, part FROM files WHERE path = ?",
            (os.fsencode(path),)).fetchone()
        if row is None:
            return None
        size, mtime_ns, sha256, ok, part = row
        return Known(size, mtime_ns, sha256, bool(ok), _part_of(part))

    def is_repeat(self, path: str) -> bool:
        """Whether this was asked of the path before, since the index was opened."""
        return self._database.execute("INSERT OR IGNORE INTO listed VALUES (?)",
                                      (os.fsencode(path),)).rowcount == 0

    def count(self) -> int:
        (count,) = self._database.execute("SELECT count(*) FROM files").fetchone()
        return int(count)

    def failures(self) -> Dict[str, int]:
        """How many files were not read, by reason, the most frequent first."""
        return dict(self._database.execute(
            "SELECT reason, count(*) FROM files WHERE reason IS NOT NULL GROUP BY reason "
            "ORDER BY count(*) DESC, reason"))

    def by_structure(self) -> Iterator[Tuple[str, str]]:
        """The digest of the canonical text and the path of each good file, in this order."""
        rows = self._database.execute("SELECT canonical, path FROM files "
                                      "WHERE canonical IS NOT NULL ORDER BY canonical, path")
        return ((digest.hex(), os.fsdecode(path)) for digest, path in rows)


def _number_of(part: Part) -> int:
    return part.run << 32 | part.number


def _part_of(number: int) -> Part:
    return Part(number >> 32, number & 0xFFFFFFFF)


def index_of(out: Path) -> Index:
    """The index of an output folder, brought up to date with its parts."""
    path = out / "index.sqlite"
    there = parts_in(out)
    try:
        index = Index(str(path))
        if not set(index.parts()) <= set(there):
            index.close()  # a part was removed: nobody knows which row was the one before
            raise sqlite3.DatabaseError("rows of a part that is gone")
    except sqlite3.OperationalError:
        raise  # no space, no permission
    except sqlite3.DatabaseError:
        for suffix in ("", "-wal", "-shm", "-journal"):
            Path(f"{path}{suffix}").unlink(missing_ok=True)
        index = Index(str(path))
    with contextlib.ExitStack() as on_error:
        on_error.callback(index.close)
        indexed = set(index.parts())
        for part in there:
            if part not in indexed:
                index.add(part, (key_of(row) for row in read_part(out, part)))
        on_error.pop_all()
    return index


def read_rows(out: PathLike) -> Iterator[Row]:
    """The rows of an output folder: the newest of each file, in the order of the parts.

    Memory does not grow with the number of rows. Raises BulkError for a damaged part, and OSError.
    """
    folder = Path(out)
    parts = parts_in(folder)
    # Only rows of later runs can stand for older ones.
    later = [part for part in parts if part.run > parts[0].run]
    with contextlib.closing(Index("")) as newer:
        for part in later:
            newer.add(part, (key_of(row) for row in read_part(folder, part)))
        for part in parts:
            for row in read_part(folder, part):
                known = newer.find(row["path"])
                if known is None or known.part == part:
                    yield row
