"""The record that reading a structure file gives."""

# dataclasses would take longer to import than all else here; it is imported for who asks for it.

_FIELDS = ("source_path", "format", "natoms", "species", "symbols", "positions_ang", "cell_ang",
           "fractional", "formula", "sha256", "canonical_xyz_rel", "cell_provenance", "warnings",
           "ok")


class _DataclassFields:
    """Makes records dataclasses to the module dataclasses, which looks for this attribute."""

    def __get__(self, record, cls):
        from dataclasses import field, make_dataclass

        fields = [("source_path", str), ("format", str), ("natoms", int, 0),
                  ("species", list, field(default_factory=list)),
                  ("symbols", list, field(default_factory=list)),
                  ("positions_ang", list, field(default_factory=list)),
                  ("cell_ang", object, None), ("fractional", bool, False), ("formula", str, ""),
                  ("sha256", str, ""), ("canonical_xyz_rel", str, ""),
                  ("cell_provenance", str, ""), ("warnings", list, field(default_factory=list)),
                  ("ok", bool, False)]
        value = make_dataclass("IngestedStructure", fields).__dataclass_fields__
        IngestedStructure.__dataclass_fields__ = value
        return value


class IngestedStructure:
    """One structure file as it was read.

    A plain mutable record; its lists are its own. When ``ok`` is true, ``symbols`` and
    ``positions_ang`` have ``natoms`` elements each, and ``species`` and ``formula`` describe
    ``symbols``. When it is false, ``warnings`` tells why, and the atoms must not be used.

    Fields, in this order:

    - ``source_path``: the file's path as it was given, in normal form
    - ``format``: "xyz" (extended XYZ included), "cif", "vasp" or "unknown"
    - ``natoms``: the number of atoms
    - ``species``: the distinct element symbols in ascending character order
    - ``symbols``: one element symbol an atom, in file order
    - ``positions_ang``: ``[x, y, z]`` of each atom in ångström, at full precision
    - ``cell_ang``: the lattice vectors a, b and c as three rows in ångström, or None
    - ``fractional``: whether the positions are fractional; no reader produces such
    - ``formula``: each species with its count when above 1, "H2O"
    - ``sha256``: the first 16 digits of the digest of the file's bytes; ingestion fills it in
    - ``canonical_xyz_rel``: the copy in the project; ingestion fills it in
    - ``cell_provenance``: the companion file that gave the cell, or ""
    - ``warnings``: problems and remarks, in the order in which they were found
    - ``ok``: whether the file was read completely

    >>> record = IngestedStructure(source_path="water.xyz", format="xyz")
    >>> record.warnings.append("never read")
    >>> record.as_dict()["warnings"]
    ['never read']
    """

    __dataclass_fields__ = _DataclassFields()
    __hash__ = None  # records are mutable
    __match_args__ = _FIELDS

    def __init__(self, source_path, format, natoms=0, species=None, symbols=None,
                 positions_ang=None, cell_ang=None, fractional=False, formula="", sha256="",
                 canonical_xyz_rel="", cell_provenance="", warnings=None, ok=False):
        self.source_path = source_path
        self.format = format
        self.natoms = natoms
        self.species = [] if species is None else species
        self.symbols = [] if symbols is None else symbols
        self.positions_ang = [] if positions_ang is None else positions_ang
        self.cell_ang = cell_ang
        self.fractional = fractional
        self.formula = formula
        self.sha256 = sha256
        self.canonical_xyz_rel = canonical_xyz_rel
        self.cell_provenance = cell_provenance
        self.warnings = [] if warnings is None else warnings
        self.ok = ok

    def __eq__(self, other):
        if other.__class__ is not self.__class__:
            return NotImplemented
        return _values(self) == _values(other)

    def __repr__(self):
        cell = "no cell" if self.cell_ang is None else "a cell"
        outcome = "ok" if self.ok else "not ok"
        atoms = f"{self.natoms} atom" + ("" if self.natoms == 1 else "s")
        warnings = "".join(f", {warning!r}" for warning in self.warnings)
        return (f"<IngestedStructure {self.source_path!r} ({self.format}): "
                f"{self.formula or 'no formula'}, {atoms}, {cell}, {outcome}{warnings}>")

    def as_dict(self):
        """A new dict of the 14 fields in their order, which shares nothing with the record.

        >>> record = IngestedStructure("h.xyz", "xyz", positions_ang=[[0.0, 0.0, 0.0]])
        >>> record.as_dict()["positions_ang"][0].append(1.0)
        >>> record.positions_ang
        [[0.0, 0.0, 0.0]]
        """
        return {name: _deep_copy(getattr(self, name)) for name in _FIELDS}

    @property
    def positions(self):
        """``positions_ang`` as a new NumPy array: float64, n x 3, ångström.

        Raises ValueError for rows that have not three numbers, ImportError without NumPy.
        """
        return _array(self.positions_ang, "positions_ang")

    @property
    def cell(self):
        """``cell_ang`` as a new NumPy array: float64, 3 x 3, a row a vector; None without a cell."""
        return None if self.cell_ang is None else _array(self.cell_ang, "cell_ang")

    def to_ase(self):
        """A new ``ase.Atoms``, periodic in all three directions where there is a cell.

        Raises ValueError for a record that is not ok, ImportError without ASE.
        """
        if not self.ok:
            reason = self.warnings[0] if self.warnings else "it was not read"
            raise ValueError(f"{self.source_path} gives no structure: {reason}")
        from ase import Atoms

        where = "scaled_positions" if self.fractional else "positions"
        return Atoms(symbols=self.symbols, cell=self.cell, pbc=self.cell_ang is not None,
                     **{where: self.positions})

    def _repr_html_(self):
        from html import escape

        def row(name, value):
            return f"<tr><th style='text-align:left'>{name}</th><td>{value}</td></tr>"

        rows = [row("file", escape(str(self.source_path))), row("atoms", self.natoms)]
        if self.cell_ang:
            lengths = (sum(number * number for number in vector) ** 0.5
                       for vector in self.cell_ang)
            rows.append(row("cell", " × ".join(f"{length:.6g}" for length in lengths) + " Å"))
        else:
            rows.append(row("cell", "none"))
        rows += [row("warning" if self.ok else "error", escape(str(warning)))
                 for warning in self.warnings]
        title = escape(self.formula) if self.ok else "not read"
        return f"<table><caption><b>{title}</b></caption>{''.join(rows)}</table>"


def _values(record):
    return [getattr(record, name) for name in _FIELDS]


def _deep_copy(value):
    if value.__class__ is list:
        return [_deep_copy(each) for each in value]
    if isinstance(value, (str, int, float)) or value is None:
        return value
    from copy import deepcopy

    return deepcopy(value)


def _array(rows, name):
    import numpy

    from . import _core

    return numpy.frombuffer(_core.packed(rows, name), dtype=numpy.float64).reshape(-1, 3)


IngestedStructure.__module__ = __package__
