"""The rows of many files for a program, which takes one after the other."""

from __future__ import annotations

import functools
import itertools
import pickle
from typing import Iterator, List, Optional, Tuple, cast

from .chunks import read_files
from .errors import UsageError
from .listing import Source, files_of
from .rows import Row, Settings, row_of, row_of_ended
from .window import Client, Window

#: So many files take a worker 0.1 s (small XYZ) to 20 s (CIF): long beside what Dask takes for a
#: task, short beside what is lost with a worker.
DEFAULT_CHUNK = 500


def parse_many(paths_or_folder: Source, *, client: Optional[Client] = None,
               chunk: int = DEFAULT_CHUNK, atoms: bool = False,
               symmetry: bool = True) -> Iterator[Row]:
    """The row of each structure file under a folder, or of each of the paths, in their order.

    A folder gives the files with the name of a structure file, by name, then those of its folders;
    paths are read whatever their name. With ``client``, a ``distributed.Client``, the workers of
    its cluster read, which must see the files under the same paths, ``chunk`` files a task; without
    one this process does. ``atoms`` adds symbols and positions to the rows, ``symmetry=False``
    leaves the search for the space group out.

    It is lazy: whatever their number, paths are taken only as rows are. A few chunks for each
    thread of the workers are read ahead. A file that cannot be read is a row whose "ok" is false;
    so is one that ends the workers that read it. Raises OSError for a folder that cannot be
    listed, and ValueError or TypeError for what is no path.

    >>> from structure_ingest.bulk import parse_many
    >>> [row["warnings"] for row in parse_many(["missing.xyz"])]
    [['File does not exist.']]
    """
    if chunk < 1:
        raise UsageError(f"chunk must be at least 1, not {chunk}")
    settings = Settings(atoms, symmetry)
    paths = files_of(paths_or_folder, _fail)
    if client is None:
        return (row_of(path, settings) for path in paths)
    return _from_workers(client, paths, chunk, settings)


def _fail(error: OSError) -> None:
    raise error


def _from_workers(client: Client, paths: Iterator[str], chunk: int,
                  settings: Settings) -> Iterator[Row]:
    chunks = iter(lambda: tuple(itertools.islice(paths, chunk)), ())  # () is behind the last one

    def one_by_one(files: Tuple[str, ...]) -> bytes:
        return pickle.dumps([_row_alone(client, path, settings) for path in files])

    read = functools.partial(read_files, settings=settings)
    for rows in Window(client).run(read, chunks, one_by_one, ordered=True):
        yield from pickle.loads(rows)


def _row_alone(client: Client, path: str, settings: Settings) -> Row:
    """The row of a file that may end the worker."""
    from distributed import KilledWorker

    future = client.submit(read_files, (path,), settings, pure=False)
    try:
        (row,) = cast(List[Row], pickle.loads(future.result()))
    except KilledWorker:
        return row_of_ended(path, settings)
    return row
