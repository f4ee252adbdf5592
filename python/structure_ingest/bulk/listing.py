"""Lists structure files lazily and in an order that does not change from run to run."""

from __future__ import annotations

import os
from pathlib import Path
from typing import Callable, Iterable, Iterator, List, Union

from structure_ingest._core import is_structure_file  # type: ignore[import]

from .errors import UsageError

#: Takes a folder that cannot be listed, and why.
OnError = Callable[[OSError], None]

PathLike = Union[str, "os.PathLike[str]"]
#: A folder, or the paths of files.
Source = Union[PathLike, Iterable[PathLike]]


def files_of(source: Source, on_error: OnError) -> Iterator[str]:
    """The absolute paths of the structure files under a folder, or the given paths themselves.

    Raises ValueError for a path that no file can have, and TypeError for what is no path.
    """
    if isinstance(source, (str, os.PathLike)):
        return files_under(os.path.abspath(checked(source)), on_error)
    return (os.path.abspath(checked(path)) for path in source)


def files_under(folder: str, on_error: OnError) -> Iterator[str]:
    """The structure files of a folder by name, then those of each of its folders in turn.

    Links to folders are not followed. Holds the names of one folder at a time, and those of the
    folders that wait. A folder that cannot be listed is told to ``on_error`` and passed over.
    """
    waiting = [folder]
    while waiting:
        folder = waiting.pop()
        files: List[str] = []
        folders: List[str] = []
        try:
            with os.scandir(folder) as entries:
                for entry in entries:
                    if entry.is_dir(follow_symlinks=False):
                        folders.append(entry.name)
                    elif is_structure_file(entry.name):
                        files.append(entry.name)
        except OSError as error:
            on_error(error)
        files.sort()
        for name in files:
            yield os.path.join(folder, name)
        folders.sort(reverse=True)
        waiting += [os.path.join(folder, name) for name in folders]


def checked(path: PathLike) -> str:
    """The text of a path, which a file can have."""
    text = os.fspath(path)
    if not isinstance(text, str):
        raise TypeError(f"a path must be a str or an os.PathLike of str, not {text!r}")
    if not text or "\0" in text:
        raise UsageError(f"not a path: {text!r}")
    try:
        os.fsencode(text)
    except UnicodeEncodeError as error:
        raise UsageError(f"not a path: {text!r}") from error
    return text


def paths_in(list_file: Path, separator: bytes) -> Iterator[str]:
    """The paths in a list, each ended by ``separator``; empty ones are left out."""
    rest = b""
    with open(list_file, "rb") as stream:
        while block := stream.read(1 << 16):
            *paths, rest = (rest + block).split(separator)
            yield from (os.fsdecode(path) for path in paths if path)
    if rest:
        yield os.fsdecode(rest)
