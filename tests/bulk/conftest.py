import contextlib
import hashlib
import json
import os
import subprocess
import sys
import time
from pathlib import Path

import pytest

import structure_ingest
from structure_ingest import _core, bulk

PACKAGES = str(Path(structure_ingest.__file__).resolve().parents[1])
ROOT = Path(__file__).resolve().parents[2]
BAD = "2\n\nO 0 0 0\n"


def cubic(symbol, edge):
    return f'1\nLattice="{edge} 0 0 0 {edge} 0 0 0 {edge}"\n{symbol} 0 0 0\n'


@pytest.fixture
def files(tmp_path):
    """A folder of 7 files; one is bad, two of them have the same structure."""
    folder = tmp_path / "files"
    (folder / "b").mkdir(parents=True)
    for name, text in {"a.xyz": cubic("Fe", 3), "z.xyz": cubic("Po", 3.36), "bad.xyz": BAD,
                       "b/1.xyz": "1\n\nHe 0 0 0\n", "b/2.xyz": cubic("Po", 3.36),
                       "b/POSCAR": "Cu\n1\n2 0 0\n0 2 0\n0 0 2\nCu\n1\nDirect\n0 0 0\n",
                       "b/broken.cif": "data_\n", "notes.txt": "no structure"}.items():
        (folder / name).write_text(text)
    return folder


def row_by_single_calls(path):
    """What a row must hold, from the calls for one file."""
    record, findings = _core.check(None, path)
    row = {name: getattr(record, name) for name in (
        "ok", "format", "formula", "natoms", "species", "cell_ang", "cell_provenance", "warnings")}
    row["findings"] = findings
    row["sha256"] = ""
    with contextlib.suppress(OSError):
        row["sha256"] = hashlib.sha256(Path(path).read_bytes()).hexdigest()[:16]
    return row


def assert_as_by_single_calls(rows):
    for path, row in rows.items():
        single = row_by_single_calls(path)
        assert {name: row[name] for name in single} == single


def rows_by_path(out):
    rows = list(bulk.read_rows(out))
    by_path = {row["path"]: row for row in rows}
    assert len(by_path) == len(rows)
    return by_path


class Cluster:
    """A scheduler and two workers, each a process; the workers read as misbehaving.py has them."""

    def __init__(self, folder, nanny):
        self._address_file = folder / "scheduler.json"
        self._folder = folder
        self.processes = [self._start("dask_scheduler", "--port", "0", "--no-dashboard")]
        self.workers = [self._start("dask_worker", "--nthreads", "1", "--no-dashboard",
                                    "--preload", str(ROOT / "tests/bulk/misbehaving.py"),
                                    "--nanny" if nanny else "--no-nanny") for _ in range(2)]
        deadline = time.monotonic() + 60
        while not self._address_file.exists():
            assert time.monotonic() < deadline
            time.sleep(0.05)
        self.address = json.loads(self._address_file.read_text())["address"]

    def _start(self, module, *arguments):
        command = [sys.executable, "-m", f"distributed.cli.{module}",
                   "--scheduler-file", str(self._address_file), *arguments]
        with open(self._folder / f"{module}.log", "ab") as log:
            return subprocess.Popen(command, cwd=self._folder, stderr=log,
                                    env={**os.environ, "PYTHONPATH": PACKAGES})

    def close(self):
        for process in (*self.workers, *self.processes):
            process.terminate()
        for process in (*self.workers, *self.processes):
            try:
                process.wait(10)
            except subprocess.TimeoutExpired:
                process.kill()
                process.wait()


@pytest.fixture
def cluster(tmp_path, request):
    """Workers without a nanny, unless the test asks for one."""
    folder = tmp_path / "cluster"
    folder.mkdir()
    with contextlib.closing(Cluster(folder, getattr(request, "param", "") == "nanny")) as running:
        yield running


@pytest.fixture
def client(cluster):
    from distributed import Client

    with Client(cluster.address, timeout=10) as connected:
        connected.wait_for_workers(2, timeout=60)
        yield connected
