"""Runs into an output folder, in this process: where the rows come from is no matter to it."""

import contextlib
import gzip
import hashlib
import json
import os
import subprocess
import sys

import pytest

from conftest import BAD, assert_as_by_single_calls, cubic, rows_by_path
from structure_ingest import _core, bulk
from structure_ingest.bulk.chunks import Attempt
from structure_ingest.bulk.parts import Part


def part_bytes(out):
    return {name: (out / name).read_bytes() for name in sorted(os.listdir(out))
            if name.startswith("rows-")}


def test_rows_say_what_the_single_calls_say(files, tmp_path):
    out = tmp_path / "out"
    summary = bulk.write_rows(files, out, atoms=True)
    rows = rows_by_path(out)
    assert [os.path.relpath(path, files) for path in rows] == [
        "a.xyz", "bad.xyz", "z.xyz", "b/1.xyz", "b/2.xyz", "b/POSCAR", "b/broken.cif"]
    assert_as_by_single_calls(rows)
    for path, row in rows.items():
        assert (row["size"], row["mtime_ns"]) == (os.stat(path).st_size, os.stat(path).st_mtime_ns)
        record, _ = _core.check(None, path)
        assert (row["symbols"], row["positions_ang"]) == (record.symbols, record.positions_ang)
        if record.ok:
            copy = tmp_path / _core.write_copy(tmp_path, record)
            assert row["canonical_sha256"] == hashlib.sha256(copy.read_bytes()).hexdigest()
        else:
            assert row["canonical_sha256"] is None
    iron = rows[str(files / "a.xyz")]
    assert (iron["space_group"], iron["space_group_number"]) == ("Pm-3m", 221)
    assert iron["volume_ang3"] == pytest.approx(27)
    assert iron["density_g_cm3"] == pytest.approx(55.845 / 27 / 0.602214076, rel=1e-6)
    assert (summary.ok, summary.failures, summary.duplicates, summary.duplicated_structures) == (
        5, {"ASE could not parse the file": 1, "Expected … atoms, found ….": 1}, 1, 1)
    with gzip.open(out / "duplicates.jsonl.gz", "rt") as stream:
        assert [json.loads(line) for line in stream] == [
            {"canonical_sha256": rows[str(files / "z.xyz")]["canonical_sha256"],
             "paths": [str(files / "b/2.xyz"), str(files / "z.xyz")]}]


def test_numbers_that_json_has_not_are_null(tmp_path):
    file = tmp_path / "a.xyz"
    file.write_text('1\nLattice="nan 0 0 0 inf 0 0 0 1"\nFe nan -inf 0.1\n')
    bulk.write_rows([file], tmp_path / "out", atoms=True)
    (row,) = bulk.read_rows(tmp_path / "out")
    assert row["positions_ang"] == [[None, None, 0.1]]
    assert row["cell_ang"] == [[None, 0, 0], [0, None, 0], [0, 0, 1]]
    assert row["volume_ang3"] is None and row["density_g_cm3"] is None


def test_a_second_run_reads_what_changed(files, tmp_path):
    out = tmp_path / "out"
    bulk.write_rows(files, out, chunk=3)
    first = part_bytes(out)
    assert list(first) == [f"rows-0001-00000{number}.jsonl.gz" for number in range(3)]

    again = bulk.write_rows(files, out, chunk=3)
    assert (again.run.read, again.run.unchanged, again.rows, again.ok) == (0, 7, 7, 5)
    assert part_bytes(out) == first

    old = (files / "a.xyz").stat()
    (files / "a.xyz").write_text(cubic("Ni", 3))  # of the same size
    os.utime(files / "a.xyz", ns=(old.st_atime_ns, old.st_mtime_ns))
    assert bulk.write_rows(files, out).run.read == 0
    os.utime(files / "z.xyz")
    verified = bulk.write_rows(files, out, verify=True)
    assert (verified.run.read, verified.run.unchanged, verified.rows) == (1, 6, 7)
    assert rows_by_path(out)[str(files / "a.xyz")]["formula"] == "Ni"
    assert bulk.write_rows(files, out).run.read == 1  # z.xyz has another time

    retried = bulk.write_rows(files, out, retry_failed=True)
    assert (retried.run.read, retried.run.failures) == (2, retried.failures)
    (files / "bad.xyz").write_text(BAD.replace("2", "1"))
    (files / "new.xyz").write_text(cubic("Fe", 4))
    mended = bulk.write_rows(files, out)
    assert (mended.run.read, mended.rows, mended.ok) == (2, 8, 7)
    assert {name: content for name, content in part_bytes(out).items() if name in first} == first
    assert_as_by_single_calls(rows_by_path(out))


def test_a_file_that_went_is_a_file_that_changed(files, tmp_path):
    paths = [files / "a.xyz", tmp_path / "later.xyz", files / "a.xyz"]
    out = tmp_path / "out"
    summary = bulk.write_rows(paths, out)
    assert (summary.rows, summary.run.listed) == (2, 2)
    assert summary.failures == {"File does not exist.": 1}
    assert bulk.write_rows(paths, out, verify=True).run.unchanged == 2
    (tmp_path / "later.xyz").write_text(cubic("Fe", 3))
    (files / "a.xyz").unlink()
    assert bulk.write_rows(paths, out).run.read == 2
    assert [row["ok"] for row in bulk.read_rows(out)] == [False, True]


def test_a_file_that_changes_while_it_is_read_is_read_again(files, tmp_path, monkeypatch):
    read = bulk.rows.bulk_row

    def read_and_write(reader, path, *rest):
        row = read(reader, path, *rest)
        (files / "a.xyz").write_text(cubic("Ni", 30))
        return row

    monkeypatch.setattr(bulk.rows, "bulk_row", read_and_write)
    out = tmp_path / "out"
    assert bulk.write_rows([files / "a.xyz"], out).rows == 1
    monkeypatch.undo()
    assert bulk.write_rows([files / "a.xyz"], out).run.read == 1
    assert [row["formula"] for row in bulk.read_rows(out)] == ["Ni"]


class Stop(Exception):
    pass


@pytest.mark.parametrize("chunks", [1, 2, 3])
def test_an_interrupted_run_gives_the_same_rows(files, tmp_path, chunks):
    whole, broken = tmp_path / "whole", tmp_path / "broken"
    bulk.write_rows(files, whole, chunk=2)

    def stop(progress):
        if progress.read >= 2 * chunks:
            raise Stop

    with pytest.raises(Stop):
        bulk.write_rows(files, broken, chunk=2, on_progress=stop)
    assert list(part_bytes(broken).items()) == list(part_bytes(whole).items())[:chunks]
    # A run that was killed leaves unfinished files.
    (broken / ".rows-0001-000009.jsonl.gz.host-1-2").write_text("unfinished")
    (broken / ".attempt-0001-000009").write_text("unfinished")
    summary = bulk.write_rows(files, broken, chunk=2)
    assert (summary.run.read, summary.run.unchanged) == (7 - 2 * chunks, 2 * chunks)
    assert rows_by_path(broken) == rows_by_path(whole)
    assert not [name for name in os.listdir(broken) if name.startswith((".rows", ".attempt"))]
    duplicates = "duplicates.jsonl.gz"
    assert (broken / duplicates).read_bytes() == (whole / duplicates).read_bytes()


@pytest.mark.parametrize("damage", ["missing", "no database", "behind", "ahead"])
def test_the_index_is_made_again(files, tmp_path, damage):
    out = tmp_path / "out"
    index = out / "index.sqlite"
    bulk.write_rows(files, out)
    old = index.read_bytes()
    (files / "a.xyz").write_text(cubic("Ni", 3.1))
    bulk.write_rows(files, out)
    rows = rows_by_path(out)
    {"missing": index.unlink,
     "no database": lambda: index.write_bytes(b"something else" * 1000),
     "behind": lambda: index.write_bytes(old),
     "ahead": (out / "rows-0002-000000.jsonl.gz").unlink}[damage]()
    summary = bulk.write_rows(files, out)
    assert (summary.run.read, summary.rows) == (1 if damage == "ahead" else 0, 7)
    assert rows_by_path(out) == rows


def test_rows_of_a_part_that_is_found_late_stay_behind_newer_ones():
    key = bulk.index.Key("a.xyz", 1, 1, "", None, None)
    with contextlib.closing(bulk.index.Index("")) as index:
        for part in (Part(2, 0), Part(1, 5)):
            index.add(part, [key])
        assert index.find("a.xyz").part == Part(2, 0)
        assert index.parts() == [Part(1, 5), Part(2, 0)]


def test_a_part_never_changes(files, tmp_path):
    out = tmp_path / "out"
    bulk.write_rows(files, out)
    (content,) = part_bytes(out).values()
    chunk = bulk.chunks.Chunk(out, Part(1, 0), ((str(files / "bad.xyz"), None),), bulk.Settings())
    done = bulk.chunks.do_chunk(chunk)  # as when a worker was lost before it could tell
    assert len(done.keys) == 7
    with bulk.parts.PartWriter(out, Part(1, 0)) as writer:
        writer.add(next(bulk.read_rows(out)))
    assert list(part_bytes(out).values()) == [content]
    with pytest.raises(Stop):
        with bulk.parts.PartWriter(out, Part(1, 1)) as writer:
            writer.add(next(bulk.read_rows(out)))
            raise Stop
    assert list(part_bytes(out).values()) == [content]
    assert not [name for name in os.listdir(out) if name.startswith(".rows")]


def test_a_damaged_part_is_told(files, tmp_path):
    out = tmp_path / "out"
    bulk.write_rows(files, out)
    part = out / "rows-0001-000000.jsonl.gz"
    part.write_bytes(part.read_bytes()[:-20])
    for read in (lambda: list(bulk.read_rows(out)),
                 lambda: ((out / "index.sqlite").unlink(), bulk.write_rows(files, out))):
        with pytest.raises(bulk.BulkError, match="rows-0001-000000.jsonl.gz is damaged .*; without "
                                                 "it its files are read again$"):
            read()
    part.unlink()
    assert bulk.write_rows(files, out).run.read == 7


def test_output_folders_that_are_refused(files, tmp_path):
    out = tmp_path / "out"
    bulk.write_rows(files, out, symmetry=False)
    assert {row["space_group"] for row in bulk.read_rows(out)} == {None}
    cases = [
        (out, {}, f"the rows in {out} were made without atoms and without symmetry, and not "
                  "without atoms and with symmetry: name a new folder, or the same options"),
        (files, {}, f"{files} has other things than rows in it: name a new folder"),
        (files / "a.xyz", {}, f"{files}/a.xyz has other things than rows in it: name a new folder"),
        (tmp_path / "new", {"chunk": 0}, "chunk must be at least 1, not 0")]
    for folder, options, message in cases:
        with pytest.raises(bulk.UsageError) as error:
            bulk.write_rows(files, folder, **options)
        assert str(error.value) == message
    holder = subprocess.Popen(
        [sys.executable, "-c", "import fcntl, sys; file = open(sys.argv[1], 'ab'); "
         "fcntl.lockf(file, fcntl.LOCK_EX); print('locked', flush=True); input()",
         str(out / ".lock")], stdin=subprocess.PIPE, stdout=subprocess.PIPE)
    try:
        assert holder.stdout.readline() == b"locked\n"
        with pytest.raises(bulk.BulkError, match=f"^another run writes to {out}$"):
            bulk.write_rows(files, out, symmetry=False)
    finally:
        holder.communicate(b"\n")
    bulk.write_rows(files, out, symmetry=False)


def test_names_that_are_not_utf8_and_paths_that_no_file_has(files, tmp_path):
    name = os.fsdecode(os.fsencode(files) + b"/\xff.xyz")
    with open(name, "w") as stream:
        stream.write(cubic("Fe", 3.3))
    out = tmp_path / "out"
    bulk.write_rows(files, out)
    assert rows_by_path(out)[name]["formula"] == "Fe"
    assert bulk.write_rows(files, out).run.unchanged == 8
    for wrong, message in (("a\0b", r"not a path: 'a\x00b'"), ("", "not a path: ''"),
                           ("\ud800.xyz", r"not a path: '\ud800.xyz'")):
        with pytest.raises(bulk.UsageError) as error:
            list(bulk.parse_many([wrong]))
        assert str(error.value) == message
    with pytest.raises(TypeError, match="a path must be a str or an os.PathLike of str, not b'a'"):
        list(bulk.parse_many([b"a"]))


def test_attempts_find_the_file_on_which_they_end(tmp_path):
    file = tmp_path / "attempt"

    def attempt_that_ends_on(positions):
        """Like a process that is killed: it leaves the file as it is."""
        attempt = Attempt(file, 300)
        for position in range(300):
            if attempt.begin(position) and position in positions:
                return position
        return None

    ends = [attempt_that_ends_on({4, 299}) for _ in range(7)]
    assert ends == [4, 4, 4, 299, 299, 299, None]
    assert attempt_that_ends_on({7}) == 7
    with pytest.raises(Stop), Attempt(file, 300) as attempt:
        attempt.begin(8)
        raise Stop  # an error is not the end of the process
    Attempt(file, 300)
    state = file.read_bytes()[8:]
    assert {place: count for place, count in enumerate(state) if count} == {4: 3, 7: 1, 299: 3}
    with Attempt(file, 300):
        pass
    assert not file.exists()
