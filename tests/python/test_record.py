import copy
import dataclasses
import pickle

import numpy
import pytest

FIELDS = ["source_path", "format", "natoms", "species", "symbols", "positions_ang", "cell_ang",
          "fractional", "formula", "sha256", "canonical_xyz_rel", "cell_provenance", "warnings",
          "ok"]


def test_fields_have_an_order_and_defaults(si):
    record = si.IngestedStructure(source_path="a.xyz", format="xyz")
    record.ok, record.formula = False, ""  # the order of assignment does not matter
    assert record.as_dict() == {
        "source_path": "a.xyz", "format": "xyz", "natoms": 0, "species": [], "symbols": [],
        "positions_ang": [], "cell_ang": None, "fractional": False, "formula": "", "sha256": "",
        "canonical_xyz_rel": "", "cell_provenance": "", "warnings": [], "ok": False}
    assert list(record.as_dict()) == FIELDS
    assert [field.name for field in dataclasses.fields(record)] == FIELDS
    with pytest.raises(TypeError):
        si.IngestedStructure(source_path="a.xyz")


def test_records_share_no_lists(si):
    first, second = (si.IngestedStructure("a", "xyz") for _ in range(2))
    for name in ("species", "symbols", "positions_ang", "warnings"):
        getattr(first, name).append(1)
        assert getattr(second, name) == []


def test_equality_looks_at_every_field(si, examples):
    read = si.parse_structure_file(examples / "silicon.extxyz")
    assert read == si.parse_structure_file(examples / "silicon.extxyz")
    for name in FIELDS:
        other = copy.deepcopy(read)
        setattr(other, name, ["another"])
        assert read != other, name
    assert read != read.as_dict()
    with pytest.raises(TypeError):
        hash(read)


def test_as_dict_is_a_deep_copy(si, examples):
    record = si.parse_structure_file(examples / "silicon.extxyz")
    record.warnings.append({"odd": [1]})
    before = copy.deepcopy(record)
    taken = record.as_dict()
    taken["positions_ang"][0][0] = taken["cell_ang"][0][0] = 99.0
    taken["warnings"][0]["odd"].append(2)
    assert record == before


def test_lists_are_real_lists(si, examples):
    record = si.parse_structure_file(examples / "water.xyz")
    assert [type(value) for value in (record.symbols, record.species, record.warnings)] == [list] * 3
    assert {type(row) for row in record.positions_ang} == {list}
    assert {type(number) for row in record.positions_ang for number in row} == {float}
    record.positions_ang[0].append(1.0)


def test_records_can_be_copied_pickled_and_replaced(si, examples):
    record = si.parse_structure_file(examples / "water.xyz")
    assert pickle.loads(pickle.dumps(record)) == record
    assert copy.copy(record) == record
    assert dataclasses.replace(record, formula="x").formula == "x"
    assert dataclasses.asdict(record) == record.as_dict()


def test_what_people_see(si, examples):
    water = si.parse_structure_file(examples / "water.xyz")
    water.warnings.clear()
    assert repr(water) == "<IngestedStructure 'examples/water.xyz' (xyz): H2O, 3 atoms, no cell, ok>"
    silicon = si.parse_structure_file(examples / "silicon.extxyz")
    assert "<th style='text-align:left'>cell</th><td>3.8403 × 3.8403 × 3.8403 Å</td>" in (
        silicon._repr_html_())
    bad = si.IngestedStructure("<b>", "xyz", warnings=["a & b"])
    assert repr(bad) == "<IngestedStructure '<b>' (xyz): no formula, 0 atoms, no cell, not ok, 'a & b'>"
    assert "<td>&lt;b&gt;</td>" in bad._repr_html_() and "<td>a &amp; b</td>" in bad._repr_html_()


def test_arrays(si, examples):
    record = si.parse_structure_file(examples / "silicon.extxyz")
    assert record.positions.dtype == record.cell.dtype == numpy.float64
    assert record.positions.tolist() == record.positions_ang
    assert record.cell.tolist() == record.cell_ang
    record.positions[0, 0] = 7.0  # a new array each time, that can be written to
    assert record.positions[0, 0] == record.positions_ang[0][0] != 7.0
    empty = si.IngestedStructure("a", "xyz")
    assert empty.positions.shape == (0, 3) and empty.cell is None
    for rows, error in ([[1.0, 2.0]], ValueError), ([[1, 2, 3, 4]], ValueError), (
            [["a", 1, 2]], TypeError), ([5], TypeError), (5, TypeError):
        empty.positions_ang = rows
        with pytest.raises(error):
            empty.positions


def test_to_ase(si, examples):
    atoms = si.parse_structure_file(examples / "silicon.extxyz").to_ase()
    assert atoms.get_chemical_formula() == "Si2" and atoms.pbc.all() and atoms.cell.rank == 3
    assert not si.parse_structure_file(examples / "water.xyz").to_ase().pbc.any()
    fractional = si.IngestedStructure("a", "cif", symbols=["H"], positions_ang=[[0.5, 0.25, 0.0]],
                                      cell_ang=[[4.0, 0, 0], [0, 4, 0], [0, 0, 4]],
                                      fractional=True, ok=True)
    assert fractional.to_ase().positions.tolist() == [[2.0, 1.0, 0.0]]
    with pytest.raises(ValueError, match="^examples/broken.xyz gives no structure: Malformed atom"):
        si.parse_structure_file(examples / "broken.xyz").to_ase()
