"""The agent's modules: when they are bound, what they are handed, and what comes of their errors."""
import builtins
import importlib
import json
import sys
from pathlib import PosixPath
from types import SimpleNamespace

import pytest

from conftest import load_anew


def fails(error):
    def fail(*_, **__):
        raise error

    return fail


def names(agent):
    return [call[0] for call in agent.calls]


def test_every_module_is_handed_what_it_is_promised(agent, folder):
    state = {"project_path": str(folder / "project"), "selected_workroot": folder,
             "user_request": " water\ud800 "}
    new = agent.si.hydrate_user_structures(state)
    trust, inventory, write, assess = agent.calls
    assert trust == ("trust_state_for", (folder / "project",), {})
    assert inventory == ("inventory_workspace", (folder,), {})
    assert write[0] == "atomic_write_json" and write[2] == {}
    path, manifest = write[1]
    assert path == folder / "project/.diagnostics/ingested_structures.json"
    assert list(manifest) == ["version", "structures"] and manifest["version"] == 1
    assert len(new) == 3 and all(a is b for a, b in zip(manifest["structures"], new))
    entries, request, asked_with = assess[1]
    assert (type(entries), request) == (list, "water\ud800") and asked_with is state
    assert all(a is b for a, b in zip(entries, new))
    assert {type(each) for each in (trust[1][0], inventory[1][0], path)} == {PosixPath}
    assert json.loads(path.read_text())["structures"] == new


def test_the_writer_and_the_elements_are_bound_at_loading(agent, folder, hydrate):
    import qelda_agent.atomic_io
    import qelda_agent.material_reference_data

    si = agent.si
    assert si.KNOWN_ELEMENT_SYMBOLS is qelda_agent.material_reference_data.KNOWN_ELEMENT_SYMBOLS
    assert si.atomic_write_json is qelda_agent.atomic_io.atomic_write_json
    qelda_agent.atomic_io.atomic_write_json = fails(AssertionError())
    qelda_agent.material_reference_data.KNOWN_ELEMENT_SYMBOLS = ()
    assert si.ingest_structure_files(folder / "project", [folder / "water.xyz"])[0]["ok"]
    assert names(agent) == ["atomic_write_json"]
    (folder / "iron.xyz").write_text("1\n\nFe 0 0 0\n")
    assert si.parse_structure_file(folder / "iron.xyz").warnings == ["Unknown element symbol: 'Fe'"]
    si.KNOWN_ELEMENT_SYMBOLS = {"Fe"}  # a test's
    assert si.parse_structure_file(folder / "iron.xyz").ok
    si.KNOWN_ELEMENT_SYMBOLS = {"O"}
    new, _ = hydrate("iron.xyz")
    assert new[0]["warnings"] == ["Unknown element symbol: 'Fe'"]


@pytest.mark.parametrize("module", ["atomic_io", "material_reference_data"])
def test_loading_fails_without_what_is_bound_then(agent, module):
    sys.modules.pop("structure_ingest")
    sys.modules["qelda_agent." + module] = None
    with pytest.raises(ImportError, match=module):
        importlib.import_module("structure_ingest")


def test_a_broken_agent_is_no_missing_one(monkeypatch, tmp_path):
    (tmp_path / "qelda_agent").mkdir()
    (tmp_path / "qelda_agent/__init__.py").write_text("import there_is_no_such_module")
    monkeypatch.syspath_prepend(str(tmp_path))
    with pytest.raises(ModuleNotFoundError, match="there_is_no_such_module"):
        load_anew()


def test_the_other_modules_are_looked_up_at_each_use(agent, folder, hydrate, monkeypatch):
    seen = []
    for name, function in (("directory_trust", "trust_state_for"),
                           ("workspace_inventory", "inventory_workspace")):
        replaced = SimpleNamespace(**{function: lambda path, name=name: seen.append((name, path))})
        monkeypatch.setitem(sys.modules, "qelda_agent." + name, replaced)
    reported = SimpleNamespace(record_suppressed_error=lambda *given, **named: seen.append(named))
    monkeypatch.setitem(sys.modules, "qelda_agent.diagnostics", reported)
    assert hydrate(selected_workroot=str(folder))[0] == []
    assert seen[:2] == [("directory_trust", folder / "project"), ("workspace_inventory", folder)]
    assert isinstance(seen[2]["exc"], AttributeError) and len(seen) == 3  # None has no files
    assert agent.calls == []


def test_they_are_looked_up_as_the_import_statement_does(hydrate, monkeypatch):
    def refuse(name, *rest):
        if name.startswith("qelda_agent."):
            asked.append((name, rest[2]))
            raise ImportError(name)
        return real(name, *rest)

    asked, real = [], builtins.__import__
    monkeypatch.setattr(builtins, "__import__", refuse)
    assert len(hydrate("water.xyz", user_request="water")[0]) == 1
    assert asked == [("qelda_agent.directory_trust", ("trust_state_for",)),
                     ("qelda_agent.structure_relevance", ("assess_structure_relevance",))]


def test_one_inventory_serves_all_roots_of_a_call(agent, folder, hydrate):
    def forget(_):
        sys.modules["qelda_agent.workspace_inventory"] = None
        return SimpleNamespace(structure_files=["water.xyz"])

    agent.does["inventory_workspace"] = forget
    new, _ = hydrate(selected_workroot=folder, source_workspace_root=folder / "project")
    assert len(new) == 2
    assert names(agent)[:3] == ["trust_state_for", "inventory_workspace", "inventory_workspace"]


def test_an_interruption_by_an_extra_path_comes_in_its_turn(agent, folder):
    class Path:
        def __fspath__(self):
            raise KeyboardInterrupt

    with pytest.raises(KeyboardInterrupt):
        agent.si.hydrate_user_structures({"project_path": folder / "project"}, extra_paths=[Path()])
    assert names(agent) == ["trust_state_for"]


@pytest.mark.parametrize("missing, called", [
    ("directory_trust", ["inventory_workspace", "atomic_write_json", "assess_structure_relevance"]),
    ("structure_relevance", ["trust_state_for", "inventory_workspace", "atomic_write_json"]),
    ("workspace_inventory", ["trust_state_for", "record_suppressed_error"])])
def test_missing_modules(agent, folder, hydrate, monkeypatch, missing, called):
    monkeypatch.setitem(sys.modules, "qelda_agent." + missing, None)
    new, _ = hydrate(selected_workroot=str(folder), user_request="water")
    assert names(agent) == called and len(new) == (0 if called[-1] == "record_suppressed_error" else 3)
    if not new:
        assert type(agent.calls[-1][2]["exc"]) is ModuleNotFoundError


@pytest.mark.parametrize("name, taken", [
    ("trust_state_for", 1), ("assess_structure_relevance", 1), ("atomic_write_json", 0),
    ("inventory_workspace", 0)])
def test_errors_of_modules(agent, folder, hydrate, name, taken):
    error = LookupError("mine")
    agent.does[name] = fails(error)
    new, _ = hydrate("water.xyz", selected_workroot=folder / "project", user_request="water")
    assert len(new) == taken
    reports = [call[2]["exc"] for call in agent.calls if call[0] == "record_suppressed_error"]
    assert len(reports) == 1 - taken and all(report is error for report in reports)


@pytest.mark.parametrize("interruption", [KeyboardInterrupt, SystemExit, GeneratorExit])
@pytest.mark.parametrize("name", ["trust_state_for", "assess_structure_relevance",
                                  "atomic_write_json", "inventory_workspace",
                                  "record_suppressed_error"])
def test_interruptions_pass_through(agent, folder, name, interruption):
    error = interruption("now")
    agent.does[name] = fails(error)
    state = {"project_path": folder / "project", "selected_workroot": folder / "project",
             "user_request": "water"}
    if name == "record_suppressed_error":
        state["attachments"] = 5
    with pytest.raises(interruption) as raised:
        agent.si.hydrate_user_structures(state, extra_paths=[folder / "water.xyz"])
    assert raised.value is error and "structure_sources" not in state
    assert names(agent)[-1] == name


def test_failures_to_write_the_manifest(agent, folder):
    water = [folder / "water.xyz"]
    agent.does["atomic_write_json"] = fails(PermissionError(13, "no"))
    assert len(agent.si.ingest_structure_files(folder / "project", water)) == 1
    error = TypeError("mine")
    agent.does["atomic_write_json"] = fails(error)
    with pytest.raises(TypeError) as raised:
        agent.si.ingest_structure_files(folder / "project", water)
    assert raised.value is error


@pytest.mark.parametrize("state, scans", [("untrusted", 0), ("trusted", 1), (None, 1)])
def test_trust(agent, folder, hydrate, state, scans):
    agent.does["trust_state_for"] = lambda _: SimpleNamespace(state=state)
    hydrate(selected_workroot=folder)
    assert names(agent).count("inventory_workspace") == scans


ROLE = ("any", "value")


@pytest.mark.parametrize("verdict, dropped", [
    (dict(source="water.xyz", role=ROLE, confidence=0.8, reason="dry"), "dry"),
    (dict(source="water.xyz", role=ROLE, confidence=True, reason=""), "it does not match the "
     "requested material"),
    (dict(source="project_root/structures/ingested_water_e78b2589.xyz", role=("any", "value"),
          confidence=1, reason="dry"), "dry"),
    (dict(source="water.xyz", role=ROLE, confidence=0.79, reason="dry"), None),
    (dict(source="water.xyz", role="other"), None),  # no more is looked at
    (dict(source=5, role=ROLE, confidence=1, reason="dry"), None)])
def test_verdicts(agent, hydrate, verdict, dropped):
    agent.does["assess_structure_relevance"] = lambda *_: SimpleNamespace(
        verdicts=iter([SimpleNamespace(**verdict)]))
    new, state = hydrate("water.xyz", user_request="iron", structure_sources=[5])
    assert state["structure_sources"] == new and len(new) == (dropped is None)
    if dropped:
        assert state["structure_notes"] == [f"Ignored 'water.xyz' (H2O): {dropped}."]


@pytest.mark.parametrize("report, error", [
    (SimpleNamespace(), AttributeError), (SimpleNamespace(verdicts=5), TypeError),
    (SimpleNamespace(verdicts=[SimpleNamespace(role=ROLE)]), AttributeError),
    (SimpleNamespace(verdicts=[SimpleNamespace(role=ROLE, confidence="high")]), TypeError),
    (SimpleNamespace(verdicts=[SimpleNamespace(role=ROLE, confidence=1, source=[])]), TypeError)])
def test_reports_that_cannot_be_read(agent, hydrate, report, error):
    agent.does["assess_structure_relevance"] = lambda *_: report
    new, state = hydrate("water.xyz", user_request="iron")
    assert new == [] and "structure_sources" not in state
    assert type(agent.calls[-1][2]["exc"]) is error


@pytest.mark.parametrize("source, replaced, taken", [
    ("other.xyz", False, 1), ("water.xyz", False, 0), ("water.xyz", True, 0),
    ("project_root/structures/ingested_water_e78b2589.xyz", False, 0)])
def test_a_reason_is_read_only_for_what_is_dropped(agent, hydrate, source, replaced, taken):
    verdict = dict(source=source, role=ROLE, confidence=1)
    verdicts = [SimpleNamespace(**verdict)] + [SimpleNamespace(reason="dry", **verdict)] * replaced
    agent.does["assess_structure_relevance"] = lambda *_: SimpleNamespace(verdicts=verdicts)
    assert len(hydrate("water.xyz", user_request="iron")[0]) == taken
    errors = [type(call[2]["exc"]) for call in agent.calls if call[0] == "record_suppressed_error"]
    assert errors == ([] if taken or replaced else [AttributeError])


def test_what_the_writer_changes_in_the_entries_counts(agent, folder, hydrate):
    def change(_, manifest):
        manifest["structures"][0]["formula"] = "OH2"
        manifest["structures"][0]["metadata"] = {"source_file": "elsewhere.xyz"}

    agent.does["atomic_write_json"] = change
    known = [{"source_path": str(folder / "water.xyz")}]
    new, state = hydrate("water.xyz", structure_sources=known)
    assert new[0]["metadata"]["source_file"] == "elsewhere.xyz"
    assert state["structure_notes"][0].startswith("User structure ingested deterministically: OH2 (3")


def test_the_filter_alone(agent):
    agent.does["assess_structure_relevance"] = lambda *_: SimpleNamespace(
        verdicts=[SimpleNamespace(source="b.xyz", role=ROLE, confidence=1, reason="")])
    entries = [{"path": "a.xyz"}, {"path": "x/b.xyz", "formula": ""}, {"metadata": None}]
    kept, notes = agent.si._drop_unrelated_structures(entries, {"project_brief": "iron"})
    assert kept == [entries[0], entries[2]] and kept[0] is entries[0]
    assert notes == ["Ignored 'b.xyz' (unknown formula): it does not match the requested material."]
    kept, notes = agent.si._drop_unrelated_structures(entries, {"project_brief": " "})
    assert kept is entries and notes == []
