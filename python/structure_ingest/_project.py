"""What a project holds, and whether it is still true."""

from . import _core


def list_structures(project_path, state=None, *, check=False):
    """What a project holds by its state: a list of dicts, newest first.

    Without a state, by its manifest and then by its copies. Each dict has "path" (what the state
    calls the structure), "copy" (the absolute path of its canonical copy, or None), "source_file",
    "discovery", "formula", "natoms", "has_cell", "ok", "sha256", "copied_at" (UTC, as in
    "2026-01-31T12:00:00Z", or None), "warnings" and "findings": the program's ``list --json`` and the
    server give the same. Findings are dicts with "code", "severity", "message", "atoms" and "source";
    without ``check`` None stands for them, since nothing was looked for. Nothing is written. Raises
    ValueError for a state whose sources are no list.
    """
    return _core.listed(project_path, state, check)


def verify_project(project_path, state=None):
    """Reads each source of a project again, and compares it with what was taken in.

    A list of dicts with "path", "source_file", "as_it_was" and "findings": dicts of a "code" such as
    "source_changed", whether it is a "problem", and a "text", as ``verify --json`` gives them.
    Nothing is written.
    """
    return _core.verified(project_path, state)
