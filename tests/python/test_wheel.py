"""The wheel, in an environment of its own and without the sources."""
import os
import shutil
import subprocess
import sys
import venv

import pytest

from conftest import ROOT

CODE = """
import os
import structure_ingest as si
assert si.__file__.startswith(FOLDER), si.__file__
record = si.parse_structure_file("water.xyz")
state = {"project_path": "project"}
paths = [os.path.abspath(name) for name in ("water.xyz", "rock_salt.cif")]
new = si.hydrate_user_structures(state, extra_paths=paths)
print(record.formula, [entry["formula"] for entry in new])
"""


@pytest.mark.slow
def test_wheel(tmp_path):
    sources = tmp_path / "sources"
    shutil.copytree(ROOT, sources, ignore=shutil.ignore_patterns("build", ".git", "dist", "*.egg-info"))
    built = subprocess.run([sys.executable, "-m", "build", "--wheel", "--no-isolation", "-o",
                            tmp_path, sources], capture_output=True, text=True,
                           env={**os.environ, "CMAKE_BUILD_TYPE": "None"})  # unoptimised, sooner
    assert built.returncode == 0, built.stdout[-2000:] + built.stderr[-2000:]
    shutil.rmtree(sources)
    wheel, = tmp_path.glob("structure_ingest-*.whl")
    venv.create(tmp_path / "environment", with_pip=True)
    python = tmp_path / "environment/bin/python"
    subprocess.run([python, "-m", "pip", "install", "-q", "--no-index", wheel], check=True)

    work = tmp_path / "work"
    work.mkdir()
    for name in ("water.xyz", "rock_salt.cif"):
        shutil.copy(ROOT / "examples" / name, work)
    environment = {name: value for name, value in os.environ.items() if name != "PYTHONPATH"}
    done = subprocess.run([python, "-c", CODE.replace("FOLDER", repr(str(tmp_path / "environment")))],
                          capture_output=True, text=True, cwd=work, env=environment)
    assert done.stdout == "H2O ['H2O', 'Cl4Na4']\n", done.stderr
