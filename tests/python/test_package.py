"""The package as a whole: its documentation, its types, and what it exports."""
import ast
import doctest
import inspect
import os
import re
import subprocess
import sys
from pathlib import Path

import pytest

from conftest import ROOT

CONSUMER = """
from pathlib import Path
from typing import Any, Dict, List, Optional

import structure_ingest
from structure_ingest import IngestedStructure, hydrate_user_structures

record: IngestedStructure = structure_ingest.parse_structure_file(Path("a.xyz"))
cell: Optional[List[List[float]]] = record.cell_ang
first: float = record.positions_ang[0][0]
rows: int = record.positions.shape[0]
state: Dict[str, Any] = {"project_path": "p"}
for entry in hydrate_user_structures(state, extra_paths=["a.xyz", Path("b.cif")]):
    print(entry["path"])
root: Optional[Path] = structure_ingest.owning_project_root("a", stop_at=Path("b"))
with structure_ingest.reader("in-process") as reader:
    for each in reader.parse_structure_files(["a.xyz"], progress=lambda done, total, path: None):
        print(each.formula, [finding.code for finding in reader.check_structure_file("a").findings])
"""
WRONG = """
import structure_ingest

structure_ingest.parse_structure_file(5)
structure_ingest.hydrate_user_structures({}, ["a.xyz"])
structure_ingest.reader("thread")
count: str = structure_ingest.parse_structure_file("a").natoms
"""


def python(code, package):
    return subprocess.run([sys.executable, "-c", code], capture_output=True, text=True, cwd=ROOT,
                          env={**os.environ, "PYTHONPATH": str(Path(package.__file__).parents[1])})


def test_docstrings(si, examples, folder, monkeypatch):
    monkeypatch.chdir(ROOT)
    names = {"page": folder / "page.html", "project": str(folder / "project"),
             "water": str(folder / "water.xyz")}
    tried = 0
    for module in (si, sys.modules["structure_ingest._record"], sys.modules["structure_ingest._reader"],
                   sys.modules["structure_ingest._project"]):
        result = doctest.testmod(module, extraglobs=names)
        assert result.failed == 0
        tried += result.attempted
    assert tried > 10


def test_everything_public_is_documented_and_typed(si):
    stub = ast.parse((Path(si.__file__).parent / "__init__.pyi").read_text())
    typed = {}
    for node in stub.body:
        if isinstance(node, (ast.FunctionDef, ast.ClassDef)):
            typed[node.name] = node
        elif isinstance(node, ast.AnnAssign):
            typed[node.target.id] = node
    public = {name for name, value in vars(si).items()
              if not name.startswith("_") and not inspect.ismodule(value)}
    assert public - set(typed) == set()
    for name, node in typed.items():
        value = getattr(si, name)
        if isinstance(node, ast.FunctionDef):
            given = [parameter.name for parameter in inspect.signature(value).parameters.values()]
            arguments = node.args
            assert [each.arg for each in [*arguments.args, *arguments.kwonlyargs]] == given, name
            assert name.startswith("_") or value.__doc__, name
    assert si.__all__ == ["IngestedStructure", "STRUCTURE_SUFFIXES", "is_structure_file",
                          "parse_structure_file", "structure_source_entry", "ingest_structure_files",
                          "hydrate_user_structures"]


def test_types(si, tmp_path):
    (tmp_path / "consumer.py").write_text(CONSUMER)
    (tmp_path / "wrong.py").write_text(WRONG)
    done = subprocess.run(
        ["/usr/bin/mypy", "--strict", "--cache-dir", str(tmp_path / "cache"), "consumer.py", "wrong.py"],
        capture_output=True, text=True, cwd=tmp_path,
        env={**os.environ, "MYPYPATH": str(Path(si.__file__).parents[1])})
    # Nothing in the consumer and in the stubs, and each of the wrong lines.
    complaints = re.findall("^(.*?):([0-9]+): error:", done.stdout, re.M)
    assert complaints == [("wrong.py", str(line)) for line in (4, 5, 6, 7)], done.stdout


@pytest.mark.parametrize("page", ["README.md", "docs/python.md"])
def test_code_in_the_documentation_runs(si, examples, page):
    blocks = re.findall("^```python\n(.*?)^```", (ROOT / page).read_text(), re.M | re.S)
    assert len(blocks) == (1 if page == "README.md" else 4)
    for block in blocks:
        exec(compile(block, page, "exec"), {})


def test_the_constants_are_those_of_the_library(si):
    texts = {path.name: path.read_text() for path in (ROOT / "structure_ingest").rglob("*.hpp")}
    joined = " ".join("\n".join(texts.values()).split())
    for name in ("STRUCTURE_SUFFIXES", "STRUCTURE_BASENAMES"):
        values = re.search(name + r" = \{(.*?)\}", joined)[1]
        assert tuple(re.findall('"(.*?)"', values)) == getattr(si, name)
    for name in ("DISCOVERY_ATTACHMENT", "DISCOVERY_PROJECT_FOLDER", "DISCOVERY_WORKSPACE_SCAN",
                 "INGESTED_DIRNAME", "INGEST_MANIFEST_REL"):
        assert re.search(name + ' = "(.*?)"', joined)[1] == getattr(si, name)
    assert f"BOHR_TO_ANGSTROM = {si._BOHR_TO_ANGSTROM};" in joined
    assert f"MAX_ATOMS = {si._MAX_ATOMS};" in joined
    version = re.search("VERSION ([0-9.]+)", (ROOT / "CMakeLists.txt").read_text().split("project(")[1])[1]
    assert si.__version__ == version
    assert f'\nversion = "{version}"\n' in (ROOT / "pyproject.toml").read_text()


def test_the_extension_exports_one_name(si):
    library = sys.modules["structure_ingest._core"].__file__
    listed = subprocess.run(["nm", "-D", "--defined-only", library], capture_output=True, text=True)
    assert [line.split()[-1] for line in listed.stdout.splitlines()] == ["PyInit__core"]


def test_loading_imports_little(si):
    done = python("import sys; before = set(sys.modules); import structure_ingest\n"
                  "print(sorted({name.split('.')[0] for name in set(sys.modules) - before}))", si)
    assert done.stdout == "['atexit', 'structure_ingest']\n", done.stderr


def test_loading_again_and_again(si):
    code = ("import importlib, sys\n"
            "for _ in range(3):\n"
            "    for name in [name for name in sys.modules if name.startswith('structure_ingest')]:\n"
            "        del sys.modules[name]\n"
            "    package = importlib.import_module('structure_ingest')\n"
            "    print(package.parse_structure_file('examples/water.xyz').formula,\n"
            "          package.reader().parse_structure_file('none.xyz').format)\n")
    assert python(code, si).stdout == "H2O unknown\n" * 3


def test_threads_may_go_on_as_the_interpreter_ends(si):
    code = ("import threading, time\nimport structure_ingest as si\n"
            "def work():\n    while True: si.parse_structure_file('examples/water.xyz')\n"
            "for _ in range(8): threading.Thread(target=work, daemon=True).start()\n"
            "time.sleep(0.1)\n")
    for _ in range(8):  # each ended the process in half of all cases
        done = python(code, si)
        assert (done.returncode, done.stderr) == (0, "")
