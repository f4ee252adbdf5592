"""CIF and VASP files: in a worker, or in this process."""
import os
import signal
import subprocess
import sys
import threading
import time
from pathlib import Path

import ase.io
import pytest


def workers():
    """The processes that this one has started."""
    return Path(f"/proc/self/task/{threading.get_native_id()}/children").read_text().split()


def test_the_worker_is_of_this_interpreter_first(si, examples, tmp_path, monkeypatch):
    told = tmp_path / "asked"
    own = tmp_path / "python"
    own.write_text(f'#!/bin/sh\necho "$@" > {told}\nexec {sys.executable} "$@"\n')
    own.chmod(0o755)
    monkeypatch.setattr(sys, "executable", str(own))
    assert si.parse_structure_file(examples / "rock_salt.cif").formula == "Cl4Na4"
    assert told.exists()


def test_a_reader_keeps_its_worker(si, examples):
    with si.reader() as reader:
        assert reader.parse_structure_file(examples / "water.xyz").ok and workers() == []
        assert reader.parse_structure_file(examples / "rock_salt.cif").ok
        first = workers()
        assert len(first) == 1
        taken = reader.check_structure_file(examples / "copper/POSCAR")
        assert taken.record.formula == "Cu" and workers() == first
        assert [record.formula for record in reader.parse_structure_files(
            [examples / "copper/POSCAR"])] == ["Cu"] and workers() == first
    assert workers() == []
    with pytest.raises(ValueError, match="^the reader is closed$"):
        reader.parse_structure_file(examples / "water.xyz")


def test_functions_keep_one_worker(si, examples, folder):
    assert si.parse_structure_file(examples / "water.xyz").ok and workers() == []
    assert si.parse_structure_file(examples / "rock_salt.cif").ok
    first = workers()
    assert len(first) == 1
    names = [os.path.abspath(examples / "rock_salt.cif")]
    assert si.check_structure_file(examples / "copper/POSCAR").record.ok
    assert si.ingest_structure_files(folder / "project", names)[0]["ok"] and workers() == first
    os.environ["PYTHONHASHSEED"] = "7"  # which decides what a worker is
    try:
        assert si.parse_structure_file(examples / "rock_salt.cif").ok
        assert len(workers()) == 1 and workers() != first
    finally:
        del os.environ["PYTHONHASHSEED"]


def test_a_call_within_a_call_has_a_worker_of_its_own(si, examples, folder):
    names = [os.path.abspath(examples / name) for name in ("rock_salt.cif", "copper/POSCAR")]
    seen = []

    class Names(dict):
        def get(self, name):
            seen.append(si.parse_structure_file(names[0]).formula)
            return "attachment"

    entries = si.ingest_structure_files(folder / "project", names, discovery_by_path=Names(a="b"))
    assert [entry["formula"] for entry in entries] == ["Cl4Na4", "Cu"]
    assert set(seen) == {"Cl4Na4"} and len(workers()) == 1


def test_the_kept_worker_ends_with_python_and_is_not_a_forks(si, examples):
    assert si.parse_structure_file(examples / "rock_salt.cif").ok
    parents = workers()
    child = os.fork()
    if child == 0:
        formula = si.parse_structure_file(examples / "copper/POSCAR").formula
        os._exit(0 if formula == "Cu" and len(workers()) == 1 else 1)
    assert os.waitpid(child, 0)[1] == 0
    assert si.parse_structure_file(examples / "copper/POSCAR").ok and workers() == parents
    ended = subprocess.run(
        [sys.executable, "-c", "import structure_ingest as si, test_ase; "
         "assert si.parse_structure_file('examples/rock_salt.cif').ok; print(*test_ase.workers())"],
        env={**os.environ, "PYTHONPATH": os.pathsep.join([*sys.path, os.path.dirname(__file__)])},
        capture_output=True, check=True, text=True)
    assert ended.stdout.strip().isdigit() and not os.path.exists(f"/proc/{ended.stdout.strip()}")


def test_readers_take_files_in(si, examples, folder):
    names = [os.path.abspath(examples / name) for name in ("rock_salt.cif", "copper/POSCAR")]
    with si.reader() as reader:
        assert [entry["formula"] for entry in reader.ingest_structure_files(
            folder / "project", names)] == ["Cl4Na4", "Cu"]
        state = {"project_path": folder / "project"}
        assert reader.hydrate_user_structures(state, extra_paths=names) == state["structure_sources"]
        assert len(state["structure_sources"]) == 2 and len(workers()) == 1


def test_in_process_calls_what_ase_has_at_that_moment(si, examples, monkeypatch):
    asked = []
    atoms = ase.io.read(examples / "copper/POSCAR")

    def read(*given, **named):
        asked.append((given, named))
        return atoms

    with si.reader("in-process") as reader:
        assert reader.parse_structure_file(examples / "rock_salt.cif").formula == "Cl4Na4"
        monkeypatch.setattr(ase.io, "read", read)
        record = reader.parse_structure_file(examples / "rock_salt.cif")
    assert (record.formula, record.format, record.cell_ang) == ("Cu", "cif", atoms.cell.tolist())
    assert asked == [((str(examples / "rock_salt.cif"),), {})]
    assert si.use_ase("in-process") == "worker"
    try:
        assert si.parse_structure_file(examples / "rock_salt.cif").formula == "Cu"
        assert si._parse_with_ase(examples / "rock_salt.cif", "vasp").format == "vasp"
    finally:
        assert si.use_ase("worker") == "in-process"
    assert si.parse_structure_file(examples / "rock_salt.cif").formula == "Cl4Na4"
    assert si._parse_with_ase(examples / "rock_salt.cif", "cif").formula == "Cl4Na4"
    with pytest.raises(ValueError, match="^ase must be 'worker' or 'in-process', not 'thread'$"):
        si.use_ase("thread")


class Atoms:
    """What ase.io.read gives, whose attributes are the test's."""

    def __init__(self, labels, rows=(), cell=None):
        self.get_chemical_symbols = lambda: labels
        self.get_positions = (lambda: rows) if not isinstance(rows, Exception) else self.fail
        self.cell = cell
        self.rows = rows

    def fail(self):
        raise self.rows


class Cell(list):
    rank = 3


@pytest.mark.parametrize("found, warnings, symbols", [
    (ValueError("odd\nfile"), ["ASE could not parse the file: odd\nfile"], []),
    (KeyError(), ["ASE could not parse the file: "], []),
    (Atoms(["X"]), ["File contains unrecognized element symbols."], []),
    (Atoms([]), ["No atoms found in the file."], []),
    (Atoms(["Fe3+"], LookupError("rows")), ["Failed to extract structure data: rows"], ["Fe"]),
    (Atoms(["h", "O"], [[0, 1, "2.5"], (3, 4, 5)], Cell([[1, 0, 0]] * 3)), [], ["H", "O"]),
    (Atoms(5), ["Failed to extract structure data: 'int' object is not iterable"], [])])
def test_what_in_process_makes_of_answers(si, examples, monkeypatch, found, warnings, symbols):
    def read(_):
        if isinstance(found, Exception):
            raise found
        return found

    monkeypatch.setattr(ase.io, "read", read)
    with si.reader("in-process") as reader:
        record = reader.parse_structure_file(examples / "rock_salt.cif")
    assert (record.warnings, record.symbols, record.ok) == (warnings, symbols, not warnings)
    if record.ok:
        assert record.positions_ang == [[0.0, 1.0, 2.5], [3.0, 4.0, 5.0]]
        assert record.cell_ang == [[1.0, 0.0, 0.0]] * 3


def test_in_process_without_ase(si, examples, monkeypatch):
    monkeypatch.setitem(sys.modules, "ase.io", None)
    with si.reader("in-process") as reader:
        assert reader.parse_structure_file(examples / "rock_salt.cif").warnings == [
            "Parsing cif files requires the 'ase' package, which is not installed. "
            "Install ase or provide an XYZ file."]


def test_in_process_lets_interruptions_through(si, examples, monkeypatch):
    def read(_):
        raise KeyboardInterrupt

    monkeypatch.setattr(ase.io, "read", read)
    with si.reader("in-process") as reader, pytest.raises(KeyboardInterrupt):
        reader.parse_structure_file(examples / "rock_salt.cif")


def test_a_reader_is_not_used_by_what_it_calls(si, examples, monkeypatch):
    with si.reader("in-process") as reader:
        monkeypatch.setattr(ase.io, "read", lambda path: reader.parse_structure_file(path))
        assert "cannot be used by what it calls" in (
            reader.parse_structure_file(examples / "rock_salt.cif").warnings[0])


def test_threads_share_a_reader_and_leave_python_running(si, examples):
    results = []
    with si.reader() as reader:
        def read():
            for name in ("rock_salt.cif", "water.xyz", "copper/POSCAR"):
                results.append(reader.parse_structure_file(examples / name).formula)

        threads = [threading.Thread(target=read) for _ in range(4)]
        for thread in threads:
            thread.start()
        ticks = 0
        while any(thread.is_alive() for thread in threads):
            ticks += 1
            time.sleep(0.001)
    assert sorted(results) == ["Cl4Na4"] * 4 + ["Cu"] * 4 + ["H2O"] * 4
    assert ticks > 20  # the worker takes 200 ms to start, and did not hold the lock meanwhile


def test_a_fork_has_a_worker_of_its_own(si, examples):
    with si.reader() as reader:
        assert reader.parse_structure_file(examples / "rock_salt.cif").ok
        parents = workers()
        read_end, write_end = os.pipe()
        child = os.fork()
        if child == 0:
            formulas = [reader.parse_structure_file(examples / name).formula
                        for name in ("copper/POSCAR", "rock_salt.cif")]
            os.write(write_end, f"{formulas} {len(workers())}".encode())
            reader.close()
            os._exit(0)
        os.waitpid(child, 0)
        assert os.read(read_end, 100) == b"['Cu', 'Cl4Na4'] 1"
        os.close(read_end)
        os.close(write_end)
        assert reader.parse_structure_file(examples / "rock_salt.cif").ok and workers() == parents


def test_ctrl_c_ends_a_batch(si, folder):
    class Stop(Exception):
        pass

    def stop(*_):
        raise Stop

    before = signal.signal(signal.SIGALRM, stop)
    try:
        signal.setitimer(signal.ITIMER_REAL, 0.01, 0.01)
        with pytest.raises(Stop):
            for _ in range(10000):
                si.ingest_structure_files(folder / "project", [folder / "water.xyz"] * 8)
    finally:
        signal.setitimer(signal.ITIMER_REAL, 0)
        signal.signal(signal.SIGALRM, before)
