"""On a real cluster: a scheduler and two workers."""

import itertools
import os
import signal
import threading
import time

import pytest

from conftest import BAD, ROOT, assert_as_by_single_calls, cubic, rows_by_path
from structure_ingest import bulk

pytest.importorskip("distributed")


def many_files(folder, count):
    for number in range(count):
        text = BAD if number % 50 == 7 else cubic("Fe", 3 + number % 100 / 10)
        (folder / f"slow{number:04d}.xyz").write_text(text)


def test_a_killed_worker_costs_no_row(files, tmp_path, cluster, client):
    many_files(files, 600)
    (files / "examples").symlink_to(ROOT / "examples/copper")  # is not followed
    for name in ("rock_salt.cif", "copper/POSCAR"):
        (files / os.path.basename(name)).write_bytes((ROOT / "examples" / name).read_bytes())
    parts_at_kill = []

    def kill_one(progress):
        if progress.read >= 100 and not parts_at_kill:
            parts_at_kill.append(progress.read)
            os.kill(cluster.workers[0].pid, signal.SIGKILL)

    summary = bulk.write_rows(files, tmp_path / "out", client=client, chunk=20,
                              on_progress=kill_one)
    assert 100 <= parts_at_kill[0] < 500
    assert cluster.workers[0].wait(10) == -signal.SIGKILL and cluster.workers[1].poll() is None
    rows = rows_by_path(tmp_path / "out")
    assert summary.rows == len(rows) == 609
    expected = sorted(str(path) for path in files.rglob("*") if path.is_file()
                      and path.name != "notes.txt")
    assert sorted(rows) == expected
    assert_as_by_single_calls(rows)
    assert summary.run.most_in_flight <= 6
    assert not [name for name in os.listdir(tmp_path / "out") if name.startswith(".rows")]


@pytest.mark.parametrize("cluster", ["nanny"], indirect=True)
def test_a_file_that_ends_its_workers_costs_itself(files, tmp_path, client):
    many_files(files, 30)
    for name in ("crash.xyz", "zz_crash.xyz"):
        (files / name).write_text(cubic("Fe", 3))
    summary = bulk.write_rows(files, tmp_path / "out", client=client, chunk=25, atoms=True)
    rows = rows_by_path(tmp_path / "out")
    assert len(rows) == summary.rows == 39
    for path, row in rows.items():
        if "crash" not in path:
            assert row["warnings"] != [bulk.rows.ENDED], path
            continue
        assert not row["ok"] and row["size"] == 39 and row["positions_ang"] == []
        assert row["warnings"] == ["Reading this file ends the process that reads it."]
    assert set(rows[str(files / "crash.xyz")]) == set(rows[str(files / "a.xyz")])
    assert summary.failures["Reading this file ends the process that reads it."] == 2
    assert not [name for name in os.listdir(tmp_path / "out") if name.startswith(".attempt")]

    # The same without an output folder.
    crash = files / "crash.xyz"
    given = [files / "a.xyz", crash, files / "bad.xyz"]
    rows = list(bulk.parse_many(given, client=client, chunk=3))
    assert [row["warnings"][0] if row["warnings"] else "" for row in rows] == [
        "", bulk.rows.ENDED, "Expected 2 atoms, found 1."]


def test_rows_come_in_order_and_paths_are_taken_as_there_is_room(files, client):
    many_files(files, 40)
    taken = []

    def paths():
        for number in itertools.count():
            taken.append(number)
            yield files / f"slow{number % 40:04d}.xyz"

    rows = bulk.parse_many(paths(), client=client, chunk=5)
    first = list(itertools.islice(rows, 100))
    assert [row["path"] for row in first] == [
        str(files / f"slow{number % 40:04d}.xyz") for number in range(100)]
    time.sleep(1)  # nobody asks for rows: nothing is taken
    # What was yielded, and three chunks for each of the two workers.
    assert len(taken) <= 100 + 6 * 5
    next(rows)
    assert len(taken) <= 105 + 6 * 5
    rows.close()
    deadline = time.monotonic() + 10
    while client.futures and time.monotonic() < deadline:
        time.sleep(0.05)
    assert not client.futures


def test_the_lost_scheduler_is_told(files, tmp_path, cluster, client):
    many_files(files, 300)

    def kill_scheduler(progress):
        if progress.read and cluster.processes[0].poll() is None:
            os.kill(cluster.processes[0].pid, signal.SIGKILL)

    with pytest.raises(bulk.BulkError, match="^the scheduler was lost, or told to stop$"):
        bulk.write_rows(files, tmp_path / "out", client=client, chunk=10,
                        on_progress=kill_scheduler)
    # What was read stays, and the next run goes on without a cluster.
    before = len(rows_by_path(tmp_path / "out"))
    summary = bulk.write_rows(files, tmp_path / "out")
    assert summary.rows == len(rows_by_path(tmp_path / "out")) == 307
    assert before >= 10 and summary.run.unchanged >= before
