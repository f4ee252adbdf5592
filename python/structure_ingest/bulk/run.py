"""Writes the rows of many files into a folder, where the next run goes on."""

from __future__ import annotations

import contextlib
import fcntl
import functools
import gzip
import itertools
import json
import os
from dataclasses import asdict, dataclass, field, replace
from pathlib import Path
from typing import Callable, Dict, Iterable, Iterator, List, Optional, Tuple

from structure_ingest._core import atomic_write_json  # type: ignore[import]

from .chunks import Chunk, Done, do_chunk
from .index import Index, Known, index_of
from .errors import BulkError, UsageError
from .listing import PathLike, Source, files_of
from .many import DEFAULT_CHUNK
from .parts import Part, parts_in, remove_left_over
from .rows import Settings
from .window import Client, Window

DUPLICATES_NAME = "duplicates.jsonl.gz"
_SETTINGS_NAME = "settings.json"
_LOCK_NAME = ".lock"

#: So often a chunk that ends workers is handed out again without getting further.
_MOST_RESCUES = 3


@dataclass
class Progress:
    """How far a run is."""

    listed: int = 0  # files that were found so far
    read: int = 0
    unchanged: int = 0  # since an earlier run read them
    failures: Dict[str, int] = field(default_factory=dict)  # of this run, by reason
    folders_failed: List[str] = field(default_factory=list)  # that cannot be listed, and why
    most_in_flight: int = 0  # tasks that Dask had at a time, at most


@dataclass(frozen=True)
class Summary:
    """What is in the output folder after a run, earlier runs included."""

    rows: int  # files
    ok: int
    failures: Dict[str, int]  # files that were not read, by reason, the most frequent first
    duplicated_structures: int  # that several files have
    duplicates: int  # files beyond the first of each of these structures
    parts: int
    run: Progress  # what this run did


def write_rows(paths_or_folder: Source, out: PathLike, *, client: Optional[Client] = None,
               chunk: int = DEFAULT_CHUNK, atoms: bool = False, symmetry: bool = True,
               retry_failed: bool = False, verify: bool = False,
               on_progress: Callable[[Progress], None] = lambda progress: None) -> Summary:
    """Writes the row of each file into the folder ``out``, in parts of at most ``chunk`` rows.

    Files, options and ``client`` are as for ``parse_many``; workers must see ``out``, too. A file
    whose row is there is passed over unless its size or time has changed, with ``verify`` unless
    its fingerprint has; with ``retry_failed`` one that was not read is read again. Each part is a
    gzipped file of JSON Lines, which is there whole or not at all. At the end the duplicates are
    listed in ``duplicates.jsonl.gz``.

    A run that is interrupted loses the chunks that were being read, no more. A folder that cannot
    be listed is passed over and told in the summary. Raises ValueError for an output folder that is
    none or was made with other settings, BulkError when another run writes to it, a part is
    damaged, or the cluster is lost, and OSError when something cannot be written.
    """
    if chunk < 1:
        raise UsageError(f"chunk must be at least 1, not {chunk}")
    settings = Settings(atoms, symmetry)
    folder = Path(os.path.abspath(out))
    _claim(folder, settings)
    with _locked(folder), contextlib.closing(index_of(folder)) as index:
        remove_left_over(folder)
        progress = Progress()
        files = _files_to_read(paths_or_folder, index, progress, retry_failed)
        run = 1 + max((part.run for part in parts_in(folder)), default=0)
        chunks = _chunks(files, chunk, Chunk(folder, Part(run, 0), (), settings, verify))
        on_progress(progress)
        for done in _results(client, chunks, progress, lambda: on_progress(progress)):
            _record(done, index, progress)
            on_progress(progress)
        remove_left_over(folder)
        return _summary(folder, index, progress)


def _claim(out: Path, settings: Settings) -> None:
    """Makes an output folder, or sees whether it is one with the same settings."""
    path = out / _SETTINGS_NAME
    if not out.exists():
        out.mkdir(parents=True)
    if not path.exists():
        if not out.is_dir() or any(out.iterdir()):
            raise UsageError(f"{out} has other things than rows in it: name a new folder")
        atomic_write_json(path, {"version": 1, **asdict(settings)})
        return
    try:
        found = json.loads(path.read_text("utf-8"))
        made_with = Settings(found["atoms"], found["symmetry"])
        version = found["version"]
    except (ValueError, TypeError, KeyError) as error:
        raise UsageError(f"{path} is not what a run has written") from error
    if version != 1:
        raise UsageError(f"{out} was written by another version of structure_ingest")
    if made_with != settings:
        raise UsageError(f"the rows in {out} were made {_in_words(made_with)}, and not "
                         f"{_in_words(settings)}: name a new folder, or the same options")


def _in_words(settings: Settings) -> str:
    return " and ".join(("with atoms" if settings.atoms else "without atoms",
                         "with symmetry" if settings.symmetry else "without symmetry"))


@contextlib.contextmanager
def _locked(out: Path) -> Iterator[None]:
    """Keeps other runs from the folder. The lock ends with the process."""
    with open(out / _LOCK_NAME, "ab") as lock:
        try:
            fcntl.lockf(lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
        except (BlockingIOError, PermissionError) as error:
            raise BulkError(f"another run writes to {out}") from error
        yield


FilesToRead = Iterator[Tuple[str, Optional[Known]]]


def _files_to_read(source: Source, index: Index, progress: Progress,
                   retry_failed: bool) -> FilesToRead:
    """The files that were found, each with what is known of it unless it is to be read anyway."""
    def record(error: OSError) -> None:
        progress.folders_failed.append(f"{error.filename}: {error.strerror}")

    may_repeat = not isinstance(source, (str, os.PathLike))
    for path in files_of(source, record):
        if may_repeat and index.is_repeat(path):
            continue
        progress.listed += 1
        known = index.find(path)
        yield path, None if known is not None and retry_failed and not known.ok else known


def _chunks(files: FilesToRead, size: int, first: Chunk) -> Iterator[Chunk]:
    """Chunks of new files, and others of known ones: of those most will give no row, and the parts
    of the others are to be full."""
    numbers = itertools.count()

    def chunk_of(batch: List[Tuple[str, Optional[Known]]]) -> Chunk:
        return replace(first, part=Part(first.part.run, next(numbers)), files=tuple(batch))

    batches: Dict[bool, List[Tuple[str, Optional[Known]]]] = {False: [], True: []}
    for path, known in files:
        batch = batches[known is not None]
        batch.append((path, known))
        if len(batch) == size:
            yield chunk_of(batch)
            batch.clear()
    for batch in batches.values():
        if batch:
            yield chunk_of(batch)


def _results(client: Optional[Client], chunks: Iterable[Chunk], progress: Progress,
             idle: Callable[[], None]) -> Iterator[Done]:
    if client is None:
        yield from map(do_chunk, chunks)
        return
    window = Window(client)
    for done in window.run(do_chunk, chunks, functools.partial(_rescued, client), idle):
        progress.most_in_flight = window.most
        yield done


def _rescued(client: Client, chunk: Chunk) -> Done:
    """Hands out a chunk that ended workers again, as long as it gets further."""
    from distributed import KilledWorker

    attempt = chunk.out / chunk.part.attempt_name
    before = None
    rescues = 0
    while rescues < _MOST_RESCUES:
        state = attempt.read_bytes() if attempt.exists() else None
        rescues = rescues + 1 if state == before else 0
        before = state
        try:
            done: Done = client.submit(do_chunk, chunk, pure=False).result()
            return done
        except KilledWorker as error:
            killed = error
    raise BulkError(f"workers end before they read anything: {killed}")


def _record(done: Done, index: Index, progress: Progress) -> None:
    progress.read += len(done.keys)
    progress.unchanged += done.unchanged
    for key in done.keys:
        if key.reason is not None:
            progress.failures[key.reason] = progress.failures.get(key.reason, 0) + 1
    if done.keys:
        index.add(done.part, done.keys)


def _summary(out: Path, index: Index, progress: Progress) -> Summary:
    structures, duplicates = _write_duplicates(out, index)
    failures = index.failures()
    rows = index.count()
    return Summary(rows, rows - sum(failures.values()), failures, structures, duplicates,
                   len(parts_in(out)), progress)


def _write_duplicates(out: Path, index: Index) -> Tuple[int, int]:
    """Writes a line for each structure that several files have, with their paths; returns how many
    such structures there are, and how many files beyond the first of each."""
    temporary = out / f".{DUPLICATES_NAME}"
    structures = 0
    duplicates = 0
    try:
        with open(temporary, "wb") as file:
            with gzip.GzipFile("", "wb", 4, file, mtime=0) as stream:
                for digest, group in itertools.groupby(index.by_structure(), lambda each: each[0]):
                    paths = (path for _, path in group)
                    count = _write_group(stream, digest, paths)
                    structures += count > 1
                    duplicates += count - 1
            file.flush()
            os.fsync(file.fileno())
        os.replace(temporary, out / DUPLICATES_NAME)
    finally:
        temporary.unlink(missing_ok=True)
    return structures, duplicates


def _write_group(stream: gzip.GzipFile, digest: str, paths: Iterator[str]) -> int:
    """Writes the line of a structure unless it has one path only; holds one path at a time."""
    first = next(paths)
    count = 1
    for path in paths:
        if count == 1:
            beginning = f'{{"canonical_sha256":"{digest}","paths":[{json.dumps(first)}'
            stream.write(beginning.encode("ascii"))
        stream.write(f",{json.dumps(path)}".encode("ascii"))
        count += 1
    if count > 1:
        stream.write(b"]}\n")
    return count
