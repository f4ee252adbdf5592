"""What is said of one file: a row, which is a dict of JSON values."""

from __future__ import annotations

import os
import re
import threading
from dataclasses import dataclass
from typing import Any, Dict, List, Optional, Tuple, TypedDict, cast

from structure_ingest._core import Reader, bulk_row  # type: ignore[import]


class Finding(TypedDict):
    """What would mislead whoever computes with a structure; ``docs/findings.md`` has the codes."""

    code: str
    severity: str  # "error", "warning" or "note"
    message: str
    atoms: List[int]  # counted from 0, the first 20
    source: str


class _Always(TypedDict):
    path: str  # absolute
    size: Optional[int]  # in bytes, as it was before the file was read; None: there is no file
    mtime_ns: Optional[int]  # in nanoseconds since 1970
    sha256: str  # the first 16 digits of the digest of the file; "" when it cannot be read
    ok: bool
    format: str  # "xyz", "cif", "vasp" or "unknown"
    formula: str
    natoms: int
    species: List[str]
    cell_ang: Optional[List[List[Optional[float]]]]
    cell_provenance: str
    volume_ang3: Optional[float]
    density_g_cm3: Optional[float]
    space_group: Optional[str]  # "Fm-3m"
    space_group_number: Optional[int]
    findings: List[Finding]
    warnings: List[str]
    canonical_sha256: Optional[str]  # of the canonical text; None unless ok


class Row(_Always, total=False):
    """One file. The atoms are there when they were asked for; a number that is infinite or not a
    number is None."""

    symbols: List[str]
    positions_ang: List[List[Optional[float]]]


@dataclass(frozen=True)
class Settings:
    """What rows hold."""

    atoms: bool = False  # symbols and positions
    symmetry: bool = True  # the space group, of structures of up to 400 atoms


#: The warning of a file that nobody could read to tell more.
ENDED = "Reading this file ends the process that reads it."

_own = threading.local()


def own_reader() -> Any:
    """The reader of this thread. It keeps the process that runs ASE, and no answers: a run reads
    each file once, and so many small files are a burden for the file system of a cluster."""
    if not hasattr(_own, "reader"):
        _own.reader = Reader(False, False)
    return _own.reader


def row_of(path: str, settings: Settings, begins_batch: bool = True) -> Row:
    """Reads one file. With ``begins_batch`` a companion beside it is read anew."""
    # The size and time before it is read: a change in the meantime then shows the next time.
    size, mtime_ns = size_and_time(path)
    read = bulk_row(own_reader(), path, begins_batch, settings.symmetry, settings.atoms)
    return cast(Row, {"path": path, "size": size, "mtime_ns": mtime_ns, **read})


def row_of_ended(path: str, settings: Settings) -> Row:
    """The row of a file that ended each process that read it."""
    size, mtime_ns = size_and_time(path)
    row: Dict[str, Any] = {
        "path": path, "size": size, "mtime_ns": mtime_ns, "sha256": "", "ok": False,
        "format": "unknown", "formula": "", "natoms": 0, "species": [], "cell_ang": None,
        "cell_provenance": "", "volume_ang3": None, "density_g_cm3": None, "space_group": None,
        "space_group_number": None, "findings": [], "warnings": [ENDED], "canonical_sha256": None}
    if settings.atoms:
        row.update(symbols=[], positions_ang=[])
    return cast(Row, row)


def size_and_time(path: str) -> Tuple[Optional[int], Optional[int]]:
    """The size in bytes and the time of the last change in nanoseconds; None without a file."""
    try:
        status = os.stat(path)
    except OSError:
        return None, None
    return status.st_size, status.st_mtime_ns


def reason_of(row: Row) -> str:
    """Why a file was not read, without what is particular to it."""
    text = row["warnings"][0] if row["warnings"] else "No reason was given."
    return re.sub(r"\d+", "…", text.split(": ", 1)[0])
