import os
import re
from pathlib import Path
from typing import (Any, Callable, ClassVar, Collection, Dict, Iterable, Iterator, List, Mapping,
                    MutableMapping, Optional, Sequence, Tuple, Union)

import ase  # type: ignore[import]
import numpy
from numpy.typing import NDArray
from typing_extensions import Literal

_Path = Union[str, "os.PathLike[str]"]
_Entry = Dict[str, Any]
_Ase = Literal["worker", "in-process"]
_Progress = Callable[[int, Optional[int], _Path], object]

__all__ = [
    "IngestedStructure",
    "STRUCTURE_SUFFIXES",
    "is_structure_file",
    "parse_structure_file",
    "structure_source_entry",
    "ingest_structure_files",
    "hydrate_user_structures",
]
__version__: str

STRUCTURE_SUFFIXES: Tuple[str, ...]
STRUCTURE_BASENAMES: Tuple[str, ...]
DISCOVERY_ATTACHMENT: str
DISCOVERY_PROJECT_FOLDER: str
DISCOVERY_WORKSPACE_SCAN: str
DISCOVERY_ORDER: Tuple[str, str, str]
INGESTED_DIRNAME: str
INGEST_MANIFEST_REL: str
KNOWN_ELEMENT_SYMBOLS: Collection[str]

class IngestedStructure:
    source_path: str
    format: str
    natoms: int
    species: List[str]
    symbols: List[str]
    positions_ang: List[List[float]]
    cell_ang: Optional[List[List[float]]]
    fractional: bool
    formula: str
    sha256: str
    canonical_xyz_rel: str
    cell_provenance: str
    warnings: List[str]
    ok: bool
    __hash__: ClassVar[None]  # type: ignore[assignment]

    def __init__(
        self,
        source_path: str,
        format: str,
        natoms: int = ...,
        species: Optional[List[str]] = ...,
        symbols: Optional[List[str]] = ...,
        positions_ang: Optional[List[List[float]]] = ...,
        cell_ang: Optional[List[List[float]]] = ...,
        fractional: bool = ...,
        formula: str = ...,
        sha256: str = ...,
        canonical_xyz_rel: str = ...,
        cell_provenance: str = ...,
        warnings: Optional[List[str]] = ...,
        ok: bool = ...,
    ) -> None: ...
    def as_dict(self) -> Dict[str, Any]: ...
    @property
    def positions(self) -> NDArray[numpy.float64]: ...
    @property
    def cell(self) -> Optional[NDArray[numpy.float64]]: ...
    def to_ase(self) -> ase.Atoms: ...

class Finding:
    code: str
    severity: Literal["error", "warning", "note"]
    message: str
    atoms: List[int]
    source: str

class CheckedStructure:
    record: IngestedStructure
    findings: List[Finding]

class Reader:
    def __init__(self, ase: _Ase = ..., cache: bool = ...) -> None: ...
    def __enter__(self) -> Reader: ...
    def __exit__(self, *_: object) -> None: ...
    def close(self) -> None: ...
    def parse_structure_file(self, path: _Path) -> IngestedStructure: ...
    def check_structure_file(self, path: _Path) -> CheckedStructure: ...
    def parse_structure_files(
        self, paths: Iterable[_Path], *, progress: Optional[_Progress] = ...
    ) -> Iterator[IngestedStructure]: ...
    def ingest_structure_files(
        self,
        project_path: _Path,
        candidate_paths: Iterable[_Path],
        *,
        limit: int = ...,
        discovery_by_path: Optional[Mapping[str, str]] = ...,
    ) -> List[_Entry]: ...
    def hydrate_user_structures(
        self, state: MutableMapping[str, Any], *, extra_paths: Optional[Iterable[_Path]] = ...
    ) -> List[_Entry]: ...

def atomic_write_json(path: _Path, value: Any) -> None: ...
def is_structure_file(path: _Path) -> bool: ...
def parse_structure_file(path: _Path) -> IngestedStructure: ...
def structure_source_entry(record: IngestedStructure, discovery: str = ...) -> _Entry: ...
def ingest_structure_files(
    project_path: _Path,
    candidate_paths: Iterable[_Path],
    *,
    limit: int = ...,
    discovery_by_path: Optional[Mapping[str, str]] = ...,
) -> List[_Entry]: ...
def hydrate_user_structures(
    state: MutableMapping[str, Any], *, extra_paths: Optional[Iterable[_Path]] = ...
) -> List[_Entry]: ...
def owning_project_root(path: _Path, *, stop_at: Optional[_Path] = ...) -> Optional[Path]: ...
def belongs_to_another_project(path: _Path, project_path: _Path) -> bool: ...
def use_ase(how: _Ase) -> _Ase: ...
def reader(ase: _Ase = ..., cache: bool = ...) -> Reader: ...
def check_structure_file(path: _Path) -> CheckedStructure: ...
def parse_structure_files(
    paths: Iterable[_Path], *, progress: Optional[_Progress] = ...
) -> Iterator[IngestedStructure]: ...
def list_structures(
    project_path: _Path, state: Optional[Mapping[str, Any]] = ..., *, check: bool = ...
) -> List[Dict[str, Any]]: ...
def verify_project(
    project_path: _Path, state: Optional[Mapping[str, Any]] = ..., *, deep: bool = ...
) -> List[Dict[str, Any]]: ...
def hydrate(
    state: MutableMapping[str, Any],
    *,
    extra_paths: Optional[Iterable[_Path]] = ...,
    limit: int = ...,
    refresh: bool = ...,
    dry_run: bool = ...,
    check: bool = ...,
    note_findings: bool = ...,
    reader: Optional[Reader] = ...,
) -> Dict[str, Any]: ...
def forget_structures(
    state: MutableMapping[str, Any],
    names: Iterable[_Path],
    *,
    delete_copies: bool = ...,
    dry_run: bool = ...,
) -> Dict[str, Any]: ...
def extract_structure(
    path: _Path,
    output: _Path,
    *,
    frame: Union[int, Literal["last"]] = ...,
    force: bool = ...,
    reader: Optional[Reader] = ...,
) -> IngestedStructure: ...
def report_files(
    paths: Iterable[_Path],
    output: _Path,
    *,
    title: Optional[str] = ...,
    force: bool = ...,
    reader: Optional[Reader] = ...,
) -> None: ...
def report_project(
    project_path: _Path,
    output: _Path,
    state: Optional[Mapping[str, Any]] = ...,
    *,
    title: Optional[str] = ...,
    force: bool = ...,
) -> None: ...
def parse_xyz_frames(
    path: _Path, *, first: int = ..., last: Optional[int] = ...
) -> List[IngestedStructure]: ...

_LATTICE_RE: re.Pattern[str]
_NUMBER_RE: re.Pattern[str]
_MAX_ATOMS: int
_BOHR_TO_ANGSTROM: float
_PROJECT_MARKERS: Tuple[str, ...]
_PROJECT_MARKER_DIRS: Tuple[str, ...]

def _canonical_symbol(token: str) -> str: ...
def _formula_from_symbols(symbols: Iterable[str]) -> str: ...
def _parse_xyz(path: _Path) -> IngestedStructure: ...
def _parse_with_ase(path: _Path, fmt: str) -> IngestedStructure: ...
def _companion_vorendal_cell(path: _Path) -> Tuple[Optional[List[List[float]]], str]: ...
def _write_canonical_xyz(project_path: _Path, record: IngestedStructure) -> str: ...
def _drop_unrelated_structures(
    entries: List[_Entry], state: MutableMapping[str, Any]
) -> Tuple[List[_Entry], List[str]]: ...
