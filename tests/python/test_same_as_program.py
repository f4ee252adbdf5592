"""The same states through the program and through Python come out the same."""
import json
import shutil
import subprocess

from hypothesis import HealthCheck, given, settings
from hypothesis import strategies as st

from conftest import PROGRAM, WATER, needs_program

FILES = {"place/a.xyz": WATER, "place/b.XYZ": '1\nlattice="1 0 0 0 1 0 0 0 1"\nSi 0 0 0\n',
         "place/bad.xyz": "2\n\nH 0 0 0\n", "place/iron.xyz": "1\n\nFe 0 0 0\n", "place/notes.txt": "",
         "place/other/.strataquill/x": "", "place/other/c.xyz": WATER, "place/ß.xyz": "1\n\nXx 0 0 0\n",
         "outputs/strataquill_Outputs/run/d.xyz": WATER, "project/e.xyz": "1\n\nO 0 0 1e400\n"}
PATHS = st.sampled_from(
    [f"@/{name}" for name in FILES if name.endswith(("xyz", "XYZ", "txt"))] +
    ["@/place/none.xyz", "@/place/A.xyz", "@/place/../place/a.xyz", " @/place/a.xyz ", "e.xyz", "~/x.xyz",
     "nul\0.xyz", "", "  ", "@\\place\\a.xyz"])
ODD = st.one_of(st.none(), st.booleans(), st.integers(-3, 3), st.floats(allow_nan=False, allow_infinity=False), st.just([]),
                st.just({}), st.text(max_size=3), PATHS)
FOLDERS = st.one_of(st.sampled_from(["@/place", "@/project", "@", "@/none", ""]), ODD)
PATH_OR_ODD = st.one_of(PATHS, PATHS, PATHS, ODD)
SOURCES = st.one_of(ODD, st.fixed_dictionaries({}, optional={
    "metadata": st.one_of(ODD, st.fixed_dictionaries({}, optional={"source_file": PATH_OR_ODD})),
    "source_path": PATH_OR_ODD, "x": ODD}))
WORKSPACES = st.fixed_dictionaries({}, optional={
    "project_path": FOLDERS, "inventory": st.one_of(ODD, st.fixed_dictionaries(
        {"structure_files": st.one_of(ODD, st.lists(PATH_OR_ODD, max_size=4))}))})
REQUESTS = st.one_of(ODD, st.sampled_from(["relax water", "iron", "bulk silicon", " "]))
STATES = st.fixed_dictionaries(
    {"project_path": st.sampled_from(["@/project", "@/outputs/strataquill_Outputs/run",
                                      "@/place/other"])},
    optional={
        "attachments": st.one_of(ODD, st.lists(st.one_of(
            ODD, st.fixed_dictionaries({"path": PATH_OR_ODD})), max_size=5)),
        "attached_workspace": st.one_of(ODD, WORKSPACES),
        "project_resolution": st.one_of(ODD, st.fixed_dictionaries({"requested_path": FOLDERS})),
        "selected_workroot": FOLDERS, "source_workspace_root": FOLDERS,
        "structure_sources": st.one_of(ODD, st.lists(SOURCES, max_size=4)),
        "structure_notes": st.one_of(ODD, st.lists(ODD, max_size=3)),
        "project_brief": REQUESTS, "user_request": REQUESTS})


def placed(value, folder):
    if isinstance(value, str):
        return value.replace("@", str(folder))
    if isinstance(value, list):
        return [placed(each, folder) for each in value]
    return {k: placed(v, folder) for k, v in value.items()} if isinstance(value, dict) else value


def set_up(folder):
    shutil.rmtree(folder, ignore_errors=True)
    for name, text in FILES.items():
        (folder / name).parent.mkdir(parents=True, exist_ok=True)
        (folder / name).write_text(text)


def as_json(value):
    return json.loads(json.dumps(value), parse_constant=lambda _: None)  # no infinity in JSON


def copies(folder):
    return {str(path): path.read_bytes() for path in folder.rglob("ingested_*")}


@needs_program
def test_same_as_program(si, tmp_path, monkeypatch):
    folder = tmp_path / "w"
    monkeypatch.setenv("HOME", str(folder))
    monkeypatch.setenv("XDG_CONFIG_HOME", str(tmp_path / "config"))
    taken = []

    @settings(max_examples=120, deadline=None, database=None, derandomize=True,
              suppress_health_check=list(HealthCheck))
    @given(STATES)
    def run(state):
        set_up(folder)
        state = placed(state, folder)
        file = tmp_path / "state.json"
        file.write_text(json.dumps(state))
        done = subprocess.run([PROGRAM, "hydrate", "--state", file, "--no-check", "--json"],
                              capture_output=True, text=True, cwd=folder)
        theirs = json.loads(file.read_text()), copies(folder)
        set_up(folder)
        monkeypatch.chdir(folder)
        new = si.hydrate_user_structures(state)
        monkeypatch.chdir(tmp_path)
        assert (as_json(state), copies(folder)) == theirs
        if done.stdout:
            assert json.loads(done.stdout) == as_json(new)
        taken.append(len(new))

    run()
    assert sum(count > 0 for count in taken) > 20 and sum(count == 0 for count in taken) > 20
