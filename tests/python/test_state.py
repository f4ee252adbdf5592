"""The state is the caller's: it is changed in place, and only where it must be."""
import collections
import datetime
import gc
import os
import sys
import tracemalloc
import types
import weakref

import pytest

from conftest import NO_CELL, WATER


class Text:
    def __init__(self, text):
        self.text = text

    def __str__(self):
        return self.text


def test_what_is_in_the_state_stays(si, folder):
    class Entry(dict):
        pass

    old = [{"metadata": {"source_file": "a"}, "x": object()}, Entry(source_path="b"), 5, "text",
           types.MappingProxyType({"source_path": "c"}), None]
    odd = [folder, datetime.date(2020, 1, 1), (1, 2), object(), float("nan"), 10**40, "\ud800"]
    notes = [NO_CELL, 5, "\udcff", odd[3]]
    state = {"project_path": folder / "project", "odd": odd, "structure_sources": old,
             "structure_notes": notes, 7: "a key that is no text"}
    before = dict(state), list(odd), list(old), list(notes)
    new = si.hydrate_user_structures(state, extra_paths=[folder / "water.xyz", folder / "bad.xyz"])

    assert (odd, old, notes) == before[1:]  # the old lists are not changed
    assert list(state) == list(before[0]) and state["odd"] is odd
    sources = state["structure_sources"]
    kept = [old[0], old[1], old[4]]  # the mappings
    assert len(sources) == 5
    assert all(a is b for a, b in zip(sources, new + kept))
    assert [type(entry) for entry in new] == [dict, dict] and type(new) is list
    assert all(a is b for a, b in zip(state["structure_notes"], notes))
    assert state["structure_notes"][4:] == [
        "User structure ingested deterministically: H2O (3 atoms) -> "
        "project_root/structures/ingested_water_e78b2589.xyz.",
        "Structure file could not be parsed: bad.xyz (Expected 2 atoms, found 1.)"]
    assert new[0]["ok"] is True and list(new[0])[-1] == "ok"


def test_nothing_changes_without_anything_new(si, folder):
    state = {"project_path": str(folder / "project")}
    water = [str(folder / "water.xyz")]
    assert len(si.hydrate_user_structures(state, extra_paths=water)) == 1
    lists = state["structure_sources"], state["structure_notes"]
    for entry in (lists[0][0]["metadata"], lists[0][0]):
        for key in ("source_file", "source_path"):
            if key in entry:
                entry[key] = entry[key].upper().replace("/", "\\")  # the same source
    assert si.hydrate_user_structures(state, extra_paths=water) == []
    assert (state["structure_sources"], state["structure_notes"]) == lists
    assert state["structure_sources"] is lists[0] and state["structure_notes"] is lists[1]


def test_states_of_other_kinds(si, folder):
    class Kept(dict):
        set_keys = []

        def __setitem__(self, key, value):
            self.set_keys.append(key)
            super().__setitem__(key, value)

    water = [folder / "water.xyz"]
    for kind in (Kept, collections.OrderedDict, collections.UserDict,
                 lambda state: collections.defaultdict(list, state)):
        state = kind({"project_path": folder / "project"})
        new = si.hydrate_user_structures(state, extra_paths=water)
        assert new[0] is state["structure_sources"][0]
        assert set(state) == {"project_path", "structure_sources", "structure_notes"}
    assert Kept.set_keys == ["structure_sources", "structure_notes"]


@pytest.mark.parametrize("attachments, taken", [
    ([{"path": "W"}], 1), (({"path": "W"},), 1), (iter([{"path": "W"}]), 1),
    ({"a": {"path": "W"}}, 0), ("W", 0), ([{"path": None}, {"path": ""}, {}, "W", None, 5], 0),
    ([types.MappingProxyType({"path": "W"})], 1), ([{"path": Text("W")}], 1),
    ([{"path": ["W"]}], 0), (0, 0), ([{"path": " W\n"}], 1)])
def test_attachments_of_all_kinds(si, folder, monkeypatch, attachments, taken):
    monkeypatch.chdir(folder / "project")
    (folder / "project/W").mkdir()  # only a name that ends so is a structure file
    os.symlink(folder / "water.xyz", folder / "project/W.xyz")

    def with_suffix(value):
        if isinstance(value, str) and value.strip() == "W":
            return value.replace("W", "W.xyz")
        if isinstance(value, Text):
            return Text("W.xyz")
        if isinstance(value, (dict, types.MappingProxyType)):
            return type(value)({key: with_suffix(each) for key, each in value.items()})
        if isinstance(value, (list, tuple)):
            return type(value)(map(with_suffix, value))
        return map(with_suffix, value) if hasattr(value, "__next__") else value

    assert len(si.hydrate_user_structures({"attachments": with_suffix(attachments)})) == taken


def test_iterators_are_used_once(si, folder):
    known = {"source_path": str(folder / "bad.xyz")}
    state = {"project_path": folder / "project", "structure_sources": iter([known, 5]),
             "structure_notes": (note for note in ["first", "second"])}
    new = si.hydrate_user_structures(state, extra_paths=iter([folder / "water.xyz",
                                                              folder / "bad.xyz"]))
    assert state["structure_sources"] == [*new, known] and len(new) == 1
    assert state["structure_notes"][:2] == ["first", "second"]


@pytest.mark.parametrize("change, error", [
    ({"attachments": 5}, TypeError), ({"structure_sources": 5}, TypeError),
    ({"structure_sources": [{"metadata": 5}]}, AttributeError),
    ({"attached_workspace": {"inventory": {"structure_files": 5}}}, TypeError),
    ({"project_path": "a\0b"}, ValueError), ({"project_path": "\ud800"}, UnicodeEncodeError),
    ({"attachments": [{"path": "a\0.xyz"}]}, ValueError),
    ({"extra_paths": 5}, TypeError), ({"extra_paths": ["\ud800.xyz"]}, UnicodeEncodeError)])
def test_wrong_kinds_are_reported(agent, folder, change, error):
    state = {"project_path": str(folder / "project"), **change}
    extra_paths = state.pop("extra_paths", [folder / "water.xyz"])
    before = dict(state)
    assert agent.si.hydrate_user_structures(state, extra_paths=extra_paths) == []
    assert state == before
    name, (project_path,), named = agent.calls[-1]
    assert name == "record_suppressed_error" and project_path is state["project_path"]
    assert list(named) == ["node", "op", "exc"] and type(named["exc"]) is error
    assert (named["node"], named["op"]) == ("structure_ingest", "hydrate_user_structures")


def test_a_failure_late_leaves_what_was_done(hydrate):
    new, state = hydrate("water.xyz", structure_notes=5)
    assert new == [] and len(state["structure_sources"]) == 1 and state["structure_notes"] == 5


def test_files_before_one_that_cannot_be_a_file_are_copied(si, folder):
    project = folder / "project"
    with pytest.raises(ValueError):
        si.ingest_structure_files(project, [folder / "water.xyz", "a\0.xyz", folder / "silicon.xyz"])
    assert [copy.name for copy in (project / "project_root/structures").iterdir()
            if copy.suffix == ".xyz"] == ["ingested_water_e78b2589.xyz"]
    assert not (project / ".diagnostics/ingested_structures.json").exists()


@pytest.mark.parametrize("state", [None, 5, [], "text"])
def test_what_is_no_state(agent, state):
    assert agent.si.hydrate_user_structures(state) == []
    assert [call[0] for call in agent.calls] == ["record_suppressed_error"]


def test_errors_are_kept_in_the_project_without_the_agent(si, folder):
    state = {"project_path": folder / "project", "attachments": 5}
    assert si.hydrate_user_structures(state) == []
    log = (folder / "project/.diagnostics/suppressed_errors.jsonl").read_text()
    assert "TypeError: 'int' object is not iterable" in log


def test_the_folder_above_the_outputs_is_learned_once(si, folder):
    project = folder / "StrataQuill_Outputs/run"
    project.mkdir(parents=True)
    state = {"project_path": project}
    assert len(si.hydrate_user_structures(state)) == 3  # scanned there
    assert state["source_workspace_root"] == str(folder)
    known = {"project_path": project, "source_workspace_root": None}
    assert len(si.hydrate_user_structures(known)) == 3
    assert known["source_workspace_root"] is None


def test_batches(si, folder):
    other = folder / "other"
    (other / ".strataquill").mkdir(parents=True)
    (other / "a.xyz").write_text(WATER)
    project = folder / "project"
    ingest = si.ingest_structure_files
    assert ingest(project, [other / "a.xyz"]) == []
    identity = str(other / "a.xyz").casefold()
    asked = []

    class Kinds(dict):
        def get(self, key, *default):
            asked.append(key)
            return super().get(key, *default)

    taken = ingest(project, [other / "a.xyz"], discovery_by_path=Kinds({identity: "attachment"}))
    assert [entry["discovery"] for entry in taken] == ["attachment"] and asked == [identity]
    assert ingest(project, [None, 5, folder / "water.xyz"], limit=2) == []  # no such names
    assert len(ingest(project, (str(folder / name) for name in ("water.xyz", "bad.xyz")), limit=-3)) == 1
    assert len(ingest(project, [folder / "water.xyz"], limit=10**30)) == 1
    assert len(ingest(project, [str(folder / "WATER.xyz"), str(folder / "water.xyz")])) == 1


def test_no_references_are_kept(si, folder):
    class Marked(dict):
        pass

    old = Marked(source_path="a")
    counted = object()
    state = Marked(project_path=str(folder / "project"), structure_sources=[old], x=counted)
    paths = [str(folder / "water.xyz"), str(folder / "bad.xyz")]
    watched = [weakref.ref(state), weakref.ref(old)]
    counts = sys.getrefcount(counted), sys.getrefcount(paths[0])
    new = si.hydrate_user_structures(state, extra_paths=paths)
    first, known = sys.getrefcount(new[0]), sys.getrefcount(old)
    assert (first, known) == (3, 3)  # two lists, or a list and a name, and the argument
    assert (sys.getrefcount(counted), sys.getrefcount(paths[0])) == counts
    del state, old, new
    gc.collect()
    assert [reference() for reference in watched] == [None, None]


def test_memory_does_not_grow(si, folder):
    def once():
        state = {"project_path": str(folder / "project"), "attachments": 5}
        si.hydrate_user_structures(state)
        state["attachments"] = [{"path": str(folder / "silicon.xyz")}]
        si.hydrate_user_structures(state)
        si.parse_structure_file(folder / "water.xyz").as_dict()

    for _ in range(3):
        once()
    gc.collect()
    tracemalloc.start()
    for _ in range(50):
        once()
    gc.collect()
    grown = tracemalloc.get_traced_memory()[0]
    tracemalloc.stop()
    assert grown < 20000


def test_what_a_project_holds(si, folder):
    state = {"project_path": folder / "project", "odd": object()}
    paths = [folder / "water.xyz", folder / "bad.xyz"]
    new = si.hydrate_user_structures(state, extra_paths=paths)
    new[0]["odd"] = {1: object(), "deep": [object(), (1, 2)]}
    listed = si.list_structures(folder / "project", state, check=True)
    assert [each["path"] for each in listed] == [each["path"] for each in new]
    assert [each["ok"] for each in listed] == [True, False]
    assert [finding["code"] for finding in listed[0]["findings"]] == ["no_cell"]
    assert listed[0]["copied_at"].endswith("Z") and listed[1]["copied_at"] is None
    assert [each["natoms"] for each in si.list_structures(folder / "project")] == [3, 0]
    assert all(each["as_it_was"] for each in si.verify_project(folder / "project", state))
    (folder / "water.xyz").write_text("1\n\nH 0 0 0\n")
    verified = si.verify_project(folder / "project", state)
    assert verified[0]["findings"][0]["code"] == "source_changed"
    with pytest.raises(ValueError, match="a list is expected"):
        si.list_structures(folder / "project", {"structure_sources": 5})
