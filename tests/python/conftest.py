import importlib
import os
import sys
from pathlib import Path

import pytest

ROOT = Path(__file__).resolve().parents[2]
WATER = "3\n\nO 0 0 0.1173\nH 0 0.7572 -0.4692\nH 0 -0.7572 -0.4692\n"
NO_CELL = ("No cell/lattice information in this XYZ file. A periodic QELDA calculation needs "
           "domain.latvec: confirm the cell with the user or treat the system as a molecule in a "
           "vacuum box.")


PROGRAM = os.environ.get("STRUCTURE_INGEST_PROGRAM",
                         str(ROOT / "build/release/structure-ingest"))
needs_program = pytest.mark.skipif(not os.path.exists(PROGRAM), reason="the program is not built")


def unload():
    for name in list(sys.modules):
        if name.split(".")[0] in ("structure_ingest", "qelda_agent"):
            del sys.modules[name]


def load_anew():
    unload()
    return importlib.import_module("structure_ingest")


@pytest.fixture
def si():
    """The package, loaded without the agent's, and without a worker of an earlier test."""
    package = load_anew()
    package._core.drop_kept_parser()
    return package


@pytest.fixture
def agent(monkeypatch):
    """The agent's package, with the package loaded beside it."""
    monkeypatch.syspath_prepend(str(ROOT / "tests/python/agent"))
    package = load_anew()
    found = importlib.import_module("qelda_agent")
    found.si = package
    yield found
    unload()


@pytest.fixture
def folder(tmp_path, monkeypatch):
    """A folder with a project and some files beside it; the home folder is elsewhere."""
    monkeypatch.setenv("HOME", str(tmp_path / "home"))
    monkeypatch.delenv("XDG_CONFIG_HOME", raising=False)
    (tmp_path / "project").mkdir()
    (tmp_path / "water.xyz").write_text(WATER)
    (tmp_path / "silicon.xyz").write_text('1\nLattice="5 0 0 0 5 0 0 0 5"\nSi 0 0 0\n')
    (tmp_path / "bad.xyz").write_text("2\n\nH 0 0 0\n")
    return tmp_path


@pytest.fixture
def hydrate(agent, folder):
    """Hydrates a state with these keys; returns the new entries and the state."""
    def new_and_state(*names, **keys):
        state = {"project_path": folder / "project", **keys}
        paths = [folder / name for name in names]
        return agent.si.hydrate_user_structures(state, extra_paths=paths), state

    return new_and_state


@pytest.fixture
def examples(monkeypatch):
    monkeypatch.chdir(ROOT)
    return Path("examples")
