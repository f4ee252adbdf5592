"""What a project holds, and whether it is still true."""

from . import _core
from ._reader import Finding


def list_structures(project_path, state=None, *, check=False):
    """What a project holds by its state: a list of dicts, newest first.

    Without a state, by its manifest and then by its copies. Each dict has "path", "copy",
    "source_file", "discovery", "formula", "natoms", "has_cell", "ok", "sha256", "warnings",
    "copied_at" (seconds since 1970, or None) and "findings", which are there with ``check``.
    Nothing is written. Raises ValueError for a state whose sources are no list.
    """
    structures = _core.listed(project_path, state, check)
    for structure in structures:
        structure["findings"] = [Finding(*finding) for finding in structure["findings"]]
    return structures


def verify_project(project_path, state=None):
    """Reads each source of a project again, and compares it with what was taken in.

    The same dicts, with "is_as_it_was" and "changes" in the place of "findings": tuples of a code
    ("source_changed"), whether it is a problem, and a sentence. Nothing is written.
    """
    return _core.verified(project_path, state)
