"""Refreshing, trying, forgetting, extracting and reporting, as the program does them."""
import copy
import json
import os
import subprocess

import pytest

from conftest import PROGRAM, needs_program

CUBE = '1\nLattice="5 0 0 0 5 0 0 0 5"\n%s 0 0 0\n'


@pytest.fixture
def held(si, folder, monkeypatch):
    """A state that has two structures and what is no JSON, and their sources."""
    monkeypatch.chdir(folder)
    (folder / "a.xyz").write_text(CUBE % "Ne")
    state = {"project_path": folder / "project", "mine": object(), "structure_sources": [5],
             "structure_notes": [7, "mine"]}
    taken = si.hydrate(state, extra_paths=[folder / "a.xyz", folder / "water.xyz"])["taken"]
    assert all(a is b for a, b in zip(taken, state["structure_sources"])) and len(taken) == 2
    return state


def test_a_dry_run_changes_nothing(si, folder):
    state = {"project_path": folder / "new", "structure_sources": [5],
             "attached_workspace": {"project_path": str(folder / "ws")}}
    before = copy.deepcopy(state)
    told = si.hydrate(state, extra_paths=[folder / "silicon.xyz", folder / "bad.xyz",
                                          folder / "notes.txt"], dry_run=True)
    assert [(entry["formula"], entry["ok"]) for entry in told["taken"]] == [("Si", True), ("", False)]
    assert [skipped["reason"] for skipped in told["skipped"]] == ["not_a_structure_file"]
    assert state == before and not (folder / "new").exists()
    with pytest.raises(TypeError, match="extra_paths is a list: pass"):
        si.hydrate(state, extra_paths="a.xyz")
    with pytest.raises(TypeError):
        si.hydrate({"project_path": folder / "new", "structure_sources": 5},
                   extra_paths=[folder / "silicon.xyz"])


def test_a_changed_source_is_refreshed(si, folder, held):
    (folder / "a.xyz").write_text(CUBE % "Kr")
    (folder / "project/project_root/structures/ingested_water_e78b2589.xyz").write_text("edited")
    water = held["structure_sources"][1]
    told = si.hydrate(held, extra_paths=[folder / "a.xyz", folder / "water.xyz"])
    assert [(known["changed"], known["copy_restored"]) for known in told["known"]] == [
        (True, False), (False, True)]
    with si.reader() as reader:
        told = si.hydrate(held, extra_paths=[folder / "a.xyz"], refresh=True, note_findings=True,
                          reader=reader)
    assert [replaced["formula"] for replaced in told["replaced"]] == ["Ne"]
    assert [entry["formula"] for entry in held["structure_sources"]] == ["Kr", "H2O"]
    assert held["structure_sources"][1] is water and held["structure_notes"][:2] == [7, "mine"]
    assert [note.split(":")[0] for note in held["structure_notes"][4:]] == [
        "User structure replaced", "User structure ingested deterministically"]
    assert not any("(1 atoms) -> project_root/structures/ingested_a_ddeeb570.xyz." in note
                   for note in held["structure_notes"][2:])


def test_a_file_is_named_again(si, folder):
    (folder / "tio2.xyz").write_text("3\n\nTi 0 0 0\nO 2 0 0\nO 0 2 0\n")
    state = {"project_path": folder / "project", "user_request": "Relax TiO2",
             "structure_notes": [7, "Ignored 'other.xyz' (Si): mine."]}
    paths = [folder / "tio2.xyz", folder / "silicon.xyz", folder / "late.xyz"]
    told = si.hydrate(state, extra_paths=paths)
    assert [dropped["formula"] for dropped in told["dropped"]] == ["Si"]
    assert state["structure_notes"][2].startswith("Ignored 'silicon.xyz' (Si): the request is about")
    (folder / "late.xyz").write_text(CUBE % "O")
    tio2 = state["structure_sources"][0]
    assert si.hydrate_user_structures(state, extra_paths=paths[1:]) == []
    assert len(state["structure_sources"]) == 2
    told = si.hydrate(state, extra_paths=paths[1:])
    assert [entry["formula"] for entry in told["taken"]] == ["Si", "O"] and not told["replaced"]
    assert [entry["formula"] for entry in state["structure_sources"]] == ["Si", "O", "O2Ti"]
    assert state["structure_sources"][2] is tio2
    notes = state["structure_notes"]
    assert notes[:2] == [7, "Ignored 'other.xyz' (Si): mine."]
    assert not any("Ignored 'silicon" in note or "late.xyz" in note for note in notes[2:]
               if not note.startswith("User structure ingested"))


def test_what_is_forgotten(si, folder, held):
    entries, notes = list(held["structure_sources"]), list(held["structure_notes"])
    for name, message in (("gone.xyz", "gone.xyz: no structure of that name; nothing was forgotten"),
                          ("", ": no structure of that name; nothing was forgotten")):
        with pytest.raises(ValueError) as raised:
            si.forget_structures(held, ["a.xyz", name], delete_copies=True)
        assert str(raised.value) == message
    copies = {"project_root/structures/ingested_a_ddeeb570.xyz": "deleted"}
    tried = si.forget_structures(held, [folder / "a.xyz"], delete_copies=True, dry_run=True)
    assert tried["copies"] == copies
    assert (held["structure_sources"], held["structure_notes"]) == (entries, notes)
    told = si.forget_structures(held, ["a.xyz"], delete_copies=True)
    assert told["copies"] == copies and told["notes_removed"] == tried["notes_removed"] == [notes[2]]
    assert [structure["formula"] for structure in told["forgotten"]] == ["Ne"]
    assert held["structure_sources"][0] is entries[1] and held["structure_notes"] == notes[:2] + notes[3:]
    copy_of_water = folder / "project" / entries[1]["path"]
    assert [copy_of_water] == list(copy_of_water.parent.iterdir())
    copy_of_water.write_text("edited")
    told = si.forget_structures(held, ["water.xyz"], delete_copies=True)
    assert told["copies"] == {entries[1]["path"]: "kept_as_changed"} and copy_of_water.exists()
    assert held["structure_notes"] == notes[:2]


def test_a_frame_is_extracted(si, folder, monkeypatch):
    monkeypatch.chdir(folder)
    (folder / "two.xyz").write_text(CUBE % "He" + CUBE % "Ar")
    os.link("two.xyz", "same.xyz")
    assert si.extract_structure("two.xyz", "out.xyz", frame="last").formula == "Ar"
    assert (folder / "out.xyz").read_text().endswith("Ar 0.0000000000 0.0000000000 0.0000000000\n")
    for output, options, error in (
            ("out.xyz", {}, FileExistsError), ("same.xyz", {"force": True}, ValueError),
            ("x.xyz", {"frame": 3}, ValueError), ("x.xyz", {"frame": "all"}, ValueError)):
        with pytest.raises(error):
            si.extract_structure("two.xyz", output, **options)
    assert si.extract_structure("two.xyz", "out.xyz", frame=1, force=True).formula == "He"
    assert (folder / "two.xyz").read_text() == CUBE % "He" + CUBE % "Ar"
    assert not (folder / "x.xyz").exists()


@needs_program
def test_a_report_is_the_programs(si, folder, held):
    def page_of(*arguments):
        subprocess.run([PROGRAM, "report", *arguments, "-o", "theirs.html"], check=True, cwd=folder,
                       stdout=subprocess.DEVNULL)
        return (folder / "theirs.html").read_text()

    si.report_files(["water.xyz", "a.xyz"], "ours.html")
    assert (folder / "ours.html").read_text() == page_of("water.xyz", "a.xyz")
    si.report_files(["water.xyz"], "ours.html", title="<Two>")
    assert "&lt;Two&gt;" in (folder / "ours.html").read_text()
    state = {"project_path": str(folder / "project"),
             "structure_sources": held["structure_sources"][:2]}
    (folder / "project/.strataquill_state.json").write_text(json.dumps(state))
    si.report_project("project", "ours.html", held)
    assert (folder / "ours.html").read_text() == page_of("--project", "project")
    (folder / "mine.html").write_text("mine")
    copy_path = folder / "project" / state["structure_sources"][0]["path"]
    for output, force, error in (("mine.html", False, FileExistsError), ("x.xyz", True, ValueError),
                                 (copy_path, True, ValueError)):
        with pytest.raises(error):
            si.report_project("project", output, held, force=force)
    assert (folder / "mine.html").read_text() == "mine"
