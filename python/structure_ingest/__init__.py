"""Takes the atomic-structure files that a user supplies into a project.

Read one file, whatever its format (XYZ, extended XYZ, CIF, VASP); a bad file is a record with
warnings, never an exception:

>>> record = parse_structure_file("examples/water.xyz")
>>> record.formula, record.natoms, record.ok
('H2O', 3, True)

Take the files that an agent state names into its project:

>>> state = {"project_path": project}
>>> entries = hydrate_user_structures(state, extra_paths=[water])
>>> entries[0] is state["structure_sources"][0]
True

Lengths are in ångström. A path is a str or an os.PathLike. With the package qelda_agent installed
its modules are called, otherwise our own.
"""

from . import _core
from ._project import (extract_structure, forget_structures, hydrate, report_files,
                       report_project)
from ._reader import (CheckedStructure, Finding, Reader, _list_of, check_structure_file,
                      parse_structure_files, parse_xyz_frames, reader, use_ase)
from ._record import IngestedStructure

try:
    import qelda_agent as _agent
except ModuleNotFoundError as _error:
    if _error.name != "qelda_agent":
        raise
    _agent = None

if _agent is None:
    KNOWN_ELEMENT_SYMBOLS = _core.known_element_symbols()

    def atomic_write_json(path, value):
        """Writes a JSON-like value to a file, so that no reader sees a part of it.

        Creates the parent folder. Raises OSError when the file cannot be written, TypeError for a
        value that JSON has not.
        """
        _core.atomic_write_json(path, value)
else:
    from qelda_agent.atomic_io import atomic_write_json
    from qelda_agent.material_reference_data import KNOWN_ELEMENT_SYMBOLS

__all__ = [
    "IngestedStructure",
    "STRUCTURE_SUFFIXES",
    "is_structure_file",
    "parse_structure_file",
    "structure_source_entry",
    "ingest_structure_files",
    "hydrate_user_structures",
]
__version__ = "0.1.0"

STRUCTURE_SUFFIXES = (".xyz", ".extxyz", ".cif", ".vasp", ".poscar")
STRUCTURE_BASENAMES = ("poscar", "contcar")
DISCOVERY_ATTACHMENT = "attachment"
DISCOVERY_PROJECT_FOLDER = "project_folder"
DISCOVERY_WORKSPACE_SCAN = "workspace_scan"
DISCOVERY_ORDER = (DISCOVERY_ATTACHMENT, DISCOVERY_PROJECT_FOLDER, DISCOVERY_WORKSPACE_SCAN)
INGESTED_DIRNAME = "project_root/structures"
INGEST_MANIFEST_REL = ".diagnostics/ingested_structures.json"


def is_structure_file(path):
    """Whether a path has the name of a structure file. The file is not looked at.

    >>> is_structure_file("Si.CIF"), is_structure_file("x/POSCAR_relaxed"), is_structure_file("a.pdb")
    (True, True, False)
    """
    return _core.is_structure_file(path)


def parse_structure_file(path):
    """Reads one structure file into an IngestedStructure. Problems are warnings in the record.

    >>> parse_structure_file("missing.xyz").warnings
    ['File does not exist.']
    """
    return _core.parse(None, path)


def structure_source_entry(record, discovery=""):
    """The dict of 19 keys that describes a record to the agent.

    ``discovery`` tells how the file was found; empty stands for "attachment". The entry's lists are
    copies, but for the cell, which is the record's own.
    """
    return _core.source_entry(record, discovery)


def ingest_structure_files(project_path, candidate_paths, *, limit=8, discovery_by_path=None):
    """Takes files into a project, and returns a source entry of each that is taken.

    Considers the first ``limit`` candidates. Skips names of no structure file, repeats, the
    project's own copies and, unless it is attached, a file of another project; parses,
    fingerprints and copies the others, and writes the manifest. ``discovery_by_path`` gives the
    discovery kind for the text of a resolved path in case-folded form. A relative candidate lies in
    the project.

    A file that cannot be read is an entry whose "ok" is false. Raises what the writer of the
    manifest raises that is no OSError.
    """
    return _core.ingest(None, project_path, _list_of(candidate_paths, "candidate_paths"), limit,
                        discovery_by_path)


def hydrate_user_structures(state, *, extra_paths=None):
    """Takes the structure files that an agent state names into its project and the state.

    Gathers the extra paths, the attachments, the attached workspace's inventory and what a scan of
    the workspace finds, ingests the first eight, drops those unrelated to the request, and puts the
    new entries at the head of ``state["structure_sources"]``, with notes in
    ``state["structure_notes"]``. The state is changed in place and nowhere else; the entries that
    were there stay the same objects.

    Returns the new entries, the same objects as in the state. Raises nothing but interruptions: an
    error that no step expects is reported to the agent's diagnostics, and the result is empty.
    """
    return _core.hydrate(None, state, _list_of(extra_paths, "extra_paths"))


def owning_project_root(path, *, stop_at=None):
    """The folder of the project that a path lies in as a pathlib.Path, or None.

    The nearest marked folder above the path; ``stop_at`` and what is above it are not looked at.
    """
    return _core.owner(path, stop_at)


def belongs_to_another_project(path, project_path):
    """Whether a path lies in a project other than the one at ``project_path``."""
    return _core.belongs(path, project_path)


def list_structures(project_path, state=None, *, check=False):
    """What a project holds by its state: a list of dicts, newest first.

    Without a state, by its manifest and then by its copies. Each dict has "path" (what the state
    calls the structure), "copy" (the absolute path of its canonical copy, or None), "source_file",
    "discovery", "formula", "natoms", "has_cell", "ok", "sha256", "copied_at" (UTC, as in
    "2026-01-31T12:00:00Z", or None), "warnings" and "findings": the program's ``list --json`` and
    the server give the same. Findings are dicts with "code", "severity", "message", "atoms" and "source";
    without ``check`` None stands for them, since nothing was looked for. Nothing is written. Raises
    ValueError for a state whose sources are no list.
    """
    return _core.listed(project_path, state, check)


def verify_project(project_path, state=None, *, deep=False):
    """Compares each source of a project with what was taken in, and with its copy.

    A list of dicts with "path", "source_file", "as_it_was" and "findings": dicts of a "code" such as
    "source_changed", whether it is a "problem", and a "text", as ``verify --json`` gives them.
    A CIF or VASP file with the same bytes is read again only if ``deep``. Nothing is written.
    """
    return _core.verified(project_path, state, deep)


# Names that are internal, and that programs which grew up with them use.

_MAX_ATOMS = 20000
_BOHR_TO_ANGSTROM = 0.529177210903
_PROJECT_MARKERS = (".strataquill_state.json", ".strataquill_workspace.json")
_PROJECT_MARKER_DIRS = (".strataquill",)
_PATTERNS = {
    "_LATTICE_RE": (r'Lattice="([^"]+)"', "IGNORECASE"),
    "_NUMBER_RE": (r"[-+]?(?:\d+(?:\.\d*)?|\.\d+)(?:[eE][-+]?\d+)?", "NOFLAG"),
}


def __getattr__(name):
    # The patterns of the readers, which have them in another form: re takes long to import.
    if name not in _PATTERNS:
        raise AttributeError(f"module {__name__!r} has no attribute {name!r}")
    import re

    pattern, flag = _PATTERNS[name]
    globals()[name] = re.compile(pattern, getattr(re, flag, 0))
    return globals()[name]


def _canonical_symbol(token):
    return _core.canonical_symbol(token)


def _formula_from_symbols(symbols):
    return _core.formula(symbols)


def _parse_xyz(path):
    return _core.parse_xyz(path)


def _companion_vorendal_cell(path):
    return _core.companion(path)


def _parse_with_ase(path, fmt):
    return _core.parse_with_ase(path, fmt)


def _write_canonical_xyz(project_path, record):
    return _core.write_copy(project_path, record)


def _drop_unrelated_structures(entries, state):
    return _core.drop_unrelated(entries, state)


_core.bind(globals(), _agent is not None, IngestedStructure)
