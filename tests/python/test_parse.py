import os
import re
import warnings

import pytest

from conftest import NO_CELL


def test_kinds_of_paths(si, folder):
    class Path:
        def __fspath__(self):
            return str(folder / "water.xyz")

    for path in (str(folder / "water.xyz"), folder / "water.xyz", Path(),
                 next(entry for entry in os.scandir(folder) if entry.name == "water.xyz")):
        assert si.parse_structure_file(path).source_path == str(folder / "water.xyz")
        assert si.is_structure_file(path)
    assert si.parse_structure_file(f"{folder}//./water.xyz/").source_path == str(folder / "water.xyz")


def test_names_that_are_not_utf8_come_back(si, folder):
    name = os.fsdecode(os.fsencode(folder) + b"/\xff\xc3\xa4.xyz")
    os.rename(folder / "water.xyz", name)
    record = si.parse_structure_file(name)
    assert record.ok and record.source_path == name
    entry = si.ingest_structure_files(folder / "project", [name])[0]
    assert entry["source_path"] == entry["metadata"]["source_file"] == name
    assert os.path.basename(name) in entry["description"]


@pytest.mark.parametrize("wrong", [
    "si.parse_structure_file()", "si.parse_structure_file(5)", "si.parse_structure_file(b'a.xyz')",
    "si.parse_structure_file(None)", "si.is_structure_file('a', 'b')",
    "si.hydrate_user_structures()", "si.hydrate_user_structures({}, ['a.xyz'])",
    "si.ingest_structure_files('p')", "si.ingest_structure_files('p', [], 8)",
    "si.ingest_structure_files('p', [], limit='8')", "si.ingest_structure_files('p', [], limit=1.0)",
    "si.ingest_structure_files('p', None)", "si.owning_project_root('a', 'b')",
    "si.belongs_to_another_project('a')", "si.structure_source_entry()",
    "si.structure_source_entry({})", "si.structure_source_entry(None)"])
def test_wrong_calls(si, wrong):
    with pytest.raises(TypeError):
        eval(wrong)


@pytest.mark.parametrize("path, error, text", [
    ("a\0.xyz", ValueError, "a path cannot hold a NUL character"),
    ("a\ud800.xyz", UnicodeEncodeError, "surrogates not allowed")])
def test_paths_that_cannot_be(si, folder, path, error, text):
    with pytest.raises(error, match=text):
        si.ingest_structure_files(folder, [path])
    assert si.owning_project_root(path) is None
    assert not si.belongs_to_another_project(path, folder)


def test_owners_are_paths(si, folder):
    (folder / "project/.strataquill").mkdir()
    (folder / "project/sub").mkdir()
    assert si.owning_project_root(folder / "project/sub/a.xyz") == folder / "project"
    for stop_at, owner in (folder / "project", None), (5, folder / "project"), (
            str(folder), folder / "project"), (None, folder / "project"):
        assert si.owning_project_root(folder / "project/a.xyz", stop_at=stop_at) == owner
    assert si.belongs_to_another_project(folder / "project/a.xyz", folder / "other")


def test_source_entries(si, folder):
    record = si.parse_structure_file(folder / "silicon.xyz")
    entry = si.structure_source_entry(record)
    assert list(entry) == [
        "path", "kind", "origin", "discovery", "format", "formula", "natoms", "species", "has_cell",
        "cell_ang", "symbols", "positions_ang", "fractional", "source_path", "sha256", "warnings",
        "related_steps", "metadata", "description"]
    assert entry["cell_ang"] is record.cell_ang and entry["has_cell"] is True
    for name in "species", "symbols", "positions_ang", "warnings":
        assert entry[name] == getattr(record, name) and entry[name] is not getattr(record, name)
    assert entry["positions_ang"][0] is not record.positions_ang[0]
    record.cell_ang = []
    entry = si.structure_source_entry(record, "workspace_scan")
    assert entry["has_cell"] is False and entry["cell_ang"] is record.cell_ang
    assert entry["discovery"] == entry["metadata"]["discovery"] == "workspace_scan"
    record.natoms = "1"
    with pytest.raises(TypeError):
        si.structure_source_entry(record)


def test_many_files(si, examples):
    told = []
    names = [examples / "water.xyz", "examples/broken.xyz", examples / "rock_salt.cif"]
    records = si.parse_structure_files(names, progress=lambda *now: told.append(now))
    assert next(records).formula == "H2O" and told == [(0, 3, names[0])]  # one at a time
    assert [record.formula for record in records] == ["", "Cl4Na4"]
    assert told[1:] == [(1, 3, names[1]), (2, 3, names[2])]
    del told[:]
    list(si.parse_structure_files(iter(names[:1]), progress=lambda *now: told.append(now)))
    assert told == [(0, None, names[0])]

    def stop(*_):
        raise KeyError("stop")

    with pytest.raises(KeyError, match="stop"):
        next(si.parse_structure_files(names, progress=stop))


def test_frames(si, folder):
    (folder / "run.xyz").write_text("1\n\nH 0 0 0\n1\n\nH 0 0 1\n1\n\nO 0 0 2\n")
    heights = [frame.positions_ang[0][2] for frame in si.parse_xyz_frames(folder / "run.xyz")]
    assert heights == [0.0, 1.0, 2.0]
    picked = si.parse_xyz_frames(folder / "run.xyz", first=2, last=2)
    assert [frame.positions_ang[0][2] for frame in picked] == [1.0]
    with pytest.raises(ValueError, match="counted from 1"):
        si.parse_xyz_frames(folder / "run.xyz", first=0)
    assert si.parse_xyz_frames(folder / "none.xyz")[0].warnings == ["File does not exist."]


def test_checks(si, examples):
    checked = si.check_structure_file(examples / "broken.xyz")
    assert not checked.record.ok
    finding = checked.findings[0]
    assert (finding.code, finding.severity, finding.atoms) == ("not_read", "error", [])
    assert repr(finding).startswith("<Finding error not_read: ")


def test_internal_names(si, folder):
    assert si._canonical_symbol(" fe3+ ") == "Fe" and si._canonical_symbol("OW") == ""
    assert si._canonical_symbol(None) == ""
    assert si._formula_from_symbols(iter(["O", "H", "H"])) == "H2O"
    assert si._parse_xyz(folder / "water.xyz").warnings == [NO_CELL]
    assert si._companion_vorendal_cell(folder / "water.xyz") == (None, "")
    (folder / "scf.input").write_text("system.centralCellVectors = 1 0 0 0 1 0 0 0 2\n")
    assert si._companion_vorendal_cell(folder / "water.xyz") == (
        [[1.0, 0.0, 0.0], [0.0, 1.0, 0.0], [0.0, 0.0, 2.0]], str(folder / "scf.input"))
    record = si._parse_xyz(folder / "silicon.xyz")
    record.positions_ang[0].append(4.0)  # no more than three numbers are written
    rel = si._write_canonical_xyz(folder / "project", record)
    assert (folder / "project" / rel).read_text().endswith(
        'pbc="T T T"\nSi 0.0000000000 0.0000000000 0.0000000000\n')
    assert si._LATTICE_RE.search('LATTICE="1 2"')[1] == "1 2" and si._LATTICE_RE.flags & re.I
    assert si._NUMBER_RE.findall("a1.5e3,-.5 5.") == ["1.5e3", "-.5", "5."]
    with pytest.raises(AttributeError, match="no attribute '_NONE_RE'"):
        si._NONE_RE
    assert si._drop_unrelated_structures([], {"user_request": "iron"}) == ([], [])


def test_one_path_for_a_list_is_warned_of(si, folder):
    calls = [lambda paths: list(si.parse_structure_files(paths)),
             lambda paths: si.ingest_structure_files(folder / "p", paths),
             lambda paths: si.hydrate_user_structures({"project_path": str(folder / "p")},
                                                      extra_paths=paths)]
    with si.reader() as reader:
        calls += [lambda paths: list(reader.parse_structure_files(paths)),
                  lambda paths: reader.ingest_structure_files(folder / "p", paths),
                  lambda paths: reader.hydrate_user_structures({}, extra_paths=paths)]
        for call in calls:
            with pytest.warns(RuntimeWarning, match=r"paths is one path, .* pass \['ab'\]") as seen:
                call("ab")
            assert [warning.filename for warning in seen] == [__file__]
            with warnings.catch_warnings():
                warnings.simplefilter("error")
                call(["ab"])
