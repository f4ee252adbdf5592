"""What the program does with a project and its files, for a caller who holds the state.

A ``reader`` is one of ``structure_ingest.reader()`` to read with.
"""

from . import _core


def _several(values, name):
    if isinstance(values, (str, bytes)):
        raise TypeError(f"{name} is a list: pass [{values!r}]")
    return values


def _core_of(reader):
    return None if reader is None else reader._core


def hydrate(state, *, extra_paths=None, limit=8, refresh=False, dry_run=False, check=True,
            note_findings=False, reader=None):
    """``hydrate_user_structures`` with all options, and what became of each file.

    ``limit`` files are considered. With ``refresh`` a source that has changed since it was taken in
    is taken in anew, in the place of its old entries and of the notes on them. A path that was
    dropped as unrelated, or did not exist, is taken when it is among ``extra_paths`` again. With ``dry_run``
    nothing is written and the state stays as it is. The structures are checked, and what was found
    is kept in the project, unless ``check`` is false; ``note_findings`` adds a note for each error
    and warning.

    Returns a dict: "taken" has the new entries, the same objects as in the state; "dropped",
    "known", "replaced" and "skipped" have dicts on the other files, as the server gives them; and
    "problems" says why the manifest could not be written and ASE not be used. Raises what ended the
    hydration.
    """
    return _core.hydrate_in_full(_core_of(reader), state,
                                 _several(extra_paths, "extra_paths"), limit, refresh, dry_run,
                                 check, note_findings)


def forget_structures(state, names, *, delete_copies=False, dry_run=False):
    """Takes structures out of a state, and the notes on them.

    A structure is named by the path of its source or of its copy, or by the file name of either.
    Its copy stays, unless ``delete_copies`` is true, no other structure has it, and it is byte for
    byte what was written. With ``dry_run`` nothing is changed.

    Returns a dict: "forgotten" has the structures, as ``list_structures`` gives them;
    "notes_removed" the notes; "copies" what became of each copy that no structure has any more:
    "kept", "deleted", "none", "kept_as_changed" or "could_not_be_deleted". Raises ValueError, and
    changes nothing, for a name that fits no structure or several.
    """
    return _core.forget(state, _several(names, "names"), delete_copies, dry_run)


def extract_structure(path, output, *, frame=1, force=False, reader=None):
    """Writes one frame of a file as exact extended XYZ, and returns its record.

    ``frame`` is a number from 1 on, or "last". An ``output`` that exists is replaced if ``force``
    (FileExistsError), and never when it is the file itself or one of a project. Raises ValueError
    for a frame that cannot be read.
    """
    return _core.extract(_core_of(reader), path, output, frame, force)


def report_files(paths, output, *, title=None, force=False, reader=None):
    """Writes one HTML page with the structures of files in 3D, their numbers and findings.

    The name of ``output`` ends with .html. What is there is replaced if it is such a page, or if
    ``force`` (FileExistsError), and never when it is one of the files.

    >>> report_files(["examples/water.xyz"], page)
    >>> page.stat().st_size > 100000
    True
    """
    _core.report_on_files(_core_of(reader), _several(paths, "paths"), output, title, force)


def report_project(project_path, output, state=None, *, title=None, force=False):
    """Writes such a page on what a project holds, by its state as ``list_structures`` takes it."""
    _core.report_on_project(project_path, state, output, title, force)
