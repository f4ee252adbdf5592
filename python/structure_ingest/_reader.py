"""Readers that are kept, and what is read with one besides records."""

import atexit
import warnings

from . import _core

_WAYS = ("worker", "in-process")


def _is_in_process(ase):
    if ase not in _WAYS:
        raise ValueError(f"ase must be 'worker' or 'in-process', not {ase!r}")
    return ase == "in-process"


def use_ase(how):
    """Sets how the functions of this package have CIF and VASP files read; returns how until now.

    "worker", the default: ASE runs in a process of its own, in which it cannot write, and which is
    ended when it takes longer than 120 seconds for a file. "in-process": ``ase.io.read`` is called
    here, whatever it is at that moment. Readers are asked for the one or the other themselves.

    >>> use_ase("in-process")
    'worker'
    >>> use_ase("worker")
    'in-process'
    """
    before = _WAYS[_core.is_in_process_by_default()]
    _core.set_in_process_by_default(_is_in_process(how))
    return before


class Finding:
    """One observation on a structure and its file that a check made.

    ``code`` is one of those that docs/findings.md explains; ``severity`` is "error", "warning" or
    "note"; ``message`` is one sentence; ``atoms`` are places in the record, at most the first 20;
    ``source`` tells where it was found.
    """

    __slots__ = ("code", "severity", "message", "atoms", "source")

    def __init__(self, code, severity, message, atoms, source):
        self.code = code
        self.severity = severity
        self.message = message
        self.atoms = atoms
        self.source = source

    def __repr__(self):
        return f"<Finding {self.severity} {self.code}: {self.message}>"


class CheckedStructure:
    """A record and the findings on it, worst first."""

    __slots__ = ("record", "findings")

    def __init__(self, record, findings):
        self.record = record
        self.findings = findings

    def __repr__(self):
        return f"<CheckedStructure {self.record!r}, {len(self.findings)} findings>"


def _list_of(paths, name):
    """``paths``; warns of one path in the place of a list, whose letters would be the paths."""
    if isinstance(paths, (str, bytes)):
        warnings.warn(f"{name} is one path, not a list of paths: each of its letters is taken for "
                      f"a path; pass [{paths!r}]", RuntimeWarning, stacklevel=3)
    return paths


def _checked(reader, path):
    record, findings = _core.check(reader, path)
    return CheckedStructure(record, [Finding(**finding) for finding in findings])


class Reader:
    """Reads many files with one worker, which is started for the first CIF or VASP file.

    >>> with Reader() as reader:
    ...     [reader.parse_structure_file(name).formula
    ...      for name in ("examples/water.xyz", "examples/rock_salt.cif")]
    ['H2O', 'Cl4Na4']

    Its methods are the functions of this package. Threads may share a reader: they wait for each
    other. After a fork the child uses a worker of its own. A closed reader raises ValueError.
    """

    __slots__ = ("_core",)

    def __init__(self, ase="worker", cache=True):
        self._core = _core.Reader(_is_in_process(ase), cache)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def close(self):
        """Ends the worker."""
        self._core.close()

    def parse_structure_file(self, path):
        return _core.parse(self._core, path)

    def check_structure_file(self, path):
        return _checked(self._core, path)

    def parse_structure_files(self, paths, *, progress=None):
        return _parse_each(self._core, _list_of(paths, "paths"), progress)

    def ingest_structure_files(self, project_path, candidate_paths, *, limit=8,
                               discovery_by_path=None):
        return _core.ingest(self._core, project_path, _list_of(candidate_paths, "candidate_paths"),
                            limit, discovery_by_path)

    def hydrate_user_structures(self, state, *, extra_paths=None):
        return _core.hydrate(self._core, state, _list_of(extra_paths, "extra_paths"))


def reader(ase="worker", cache=True):
    """A Reader; ``ase`` is "worker" or "in-process", as in ``use_ase``.

    Unless ``cache``, a worker reads each file anew, and nothing is kept of it.
    """
    return Reader(ase, cache)


def check_structure_file(path):
    """Reads one file, and tells what in it would mislead a calculation.

    >>> checked = check_structure_file("examples/broken.xyz")
    >>> checked.record.ok, [finding.code for finding in checked.findings]
    (False, ['not_read'])
    """
    return _checked(None, path)


def parse_structure_files(paths, *, progress=None):
    """Reads files one after the other with one worker: an iterator of records, in their order.

    ``progress(done, total, path)`` is called before each file; ``total`` is None for paths whose
    number is not known. A file is read when its record is asked for.

    >>> [record.formula for record in parse_structure_files(["examples/water.xyz"])]
    ['H2O']
    """
    return _parse_each(None, _list_of(paths, "paths"), progress)


def _parse_each(kept, paths, progress):
    try:
        total = len(paths)
    except TypeError:
        total = None
    return _records(kept, iter(paths), total, progress)


def _records(kept, paths, total, progress):
    own = _core.Reader(_core.is_in_process_by_default(), True) if kept is None else kept
    try:
        for done, path in enumerate(paths):
            if progress is not None:
                progress(done, total, path)
            yield _core.parse(own, path)
    finally:
        if kept is None:
            own.close()


def parse_xyz_frames(path, *, first=1, last=None):
    """The frames of an XYZ file from number ``first`` to ``last``, both counted from 1, as a list.

    Without ``last``, to the end of the file. A frame that cannot be read is the last one, and its
    record is not ok. The file is read once.
    """
    return _core.frames(path, first, last)


atexit.register(_core.drop_kept_parser)
for _public in (Finding, CheckedStructure, Reader):
    _public.__module__ = __package__
