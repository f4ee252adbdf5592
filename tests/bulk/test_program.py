"""The program, run as users run it."""

import doctest
import json
import os
import subprocess
import sys
import types

import pytest

from conftest import PACKAGES, ROOT, cubic, rows_by_path
from structure_ingest import bulk
from structure_ingest.bulk.display import ProgressLine, line_of, summary_text


def run(*arguments, stdin=b"", folder=None):
    result = subprocess.run(
        [sys.executable, "-m", "structure_ingest.bulk", *map(str, arguments)], input=stdin,
        capture_output=True, cwd=folder, env={**os.environ, "PYTHONPATH": PACKAGES}, timeout=120)
    told = result.stderr.decode().splitlines(keepends=True)
    if told and " reads " in told[0]:
        assert " done: " in told.pop()
        told.pop(0)
    return result.returncode, result.stdout.decode(), "".join(told)


def without_times(text):
    first, rest = text.split("\n", 1)
    return first.split(" in ")[0] + ":" + first.split(":", 1)[1] + "\n" + rest


def test_summary_and_exit_status(files, tmp_path):
    pytest.importorskip("distributed")
    status, shown, told = run(files, "-o", tmp_path / "out", "--workers", 2, "--chunk", 3)
    assert (status, told) == (1, "")
    assert without_times(shown) == f"""\
7 files: 7 read, 0 unchanged since an earlier run
{tmp_path}/out: 7 rows in 3 parts, 5 ok, 2 not read
          1  ASE could not parse the file
          1  Expected … atoms, found ….
duplicates: 1 file repeats 1 structure, see duplicates.jsonl.gz
"""
    (files / "bad.xyz").write_text(cubic("Fe", 5))
    (files / "b/broken.cif").unlink()
    status, shown, told = run("files", "-o", "out", "--workers", 0, "--json", folder=tmp_path)
    summary = json.loads(shown)
    assert (status, told, summary["rows"], summary["ok"]) == (1, "", 7, 6)
    assert (summary["run"]["read"], summary["run"]["unchanged"]) == (1, 5)
    status, _, _ = run(files, "-o", tmp_path / "new", "--workers", 0, "--no-symmetry", "--atoms")
    assert status == 0
    row = rows_by_path(tmp_path / "new")[str(files / "z.xyz")]
    assert (row["symbols"], row["space_group"]) == (["Po"], None)


def test_lists_of_files(files, tmp_path):
    odd = files / "with\nline break.xyz"
    odd.write_text(cubic("Fe", 3))
    for separator, options, given in (
            (b"\n", ["-"], [files / "a.xyz", files / "notes.txt", "", files / "a.xyz"]),
            (b"\0", ["-", "-0"], [odd, files / "a.xyz"])):
        out = tmp_path / f"out{len(options)}"
        listed = separator.join(os.fsencode(path) for path in given)
        status, shown, told = run("-o", out, "--workers", 0, "--files-from", *options, stdin=listed)
        rows = rows_by_path(out)
        assert list(rows) == list(dict.fromkeys(str(path) for path in given if path))
        assert status == (0 if all(row["ok"] for row in rows.values()) else 1), told


def test_wrong_usage(files, tmp_path):
    out = tmp_path / "out"
    cases = [
        ([], "the following arguments are required: -o/--output"),
        (["-o", out], "name a folder, or a list of files with --files-from"),
        ([files, "-o", out, "--files-from", "-"],
         "name a folder, or a list of files with --files-from"),
        ([files / "nowhere", "-o", out], f"there is no folder {files}/nowhere"),
        (["--files-from", files / "nowhere", "-o", out], f"there is no file {files}/nowhere"),
        ([files, "-0", "-o", out], "-0 is for the list of --files-from"),
        ([files, "-o", files, "--workers", 0],
         f"{files} has other things than rows in it: name a new folder"),
        ([files, "-o", out, "--workers", 0, "--chunk", 0], "chunk must be at least 1, not 0"),
        ([files, "-o", out, "--workers=-1"], "argument --workers: not a number from 0: '-1'"),
        ([files, "-o", out, "--workers", 2, "--scheduler", "tcp://a:1"],
         "argument --scheduler: not allowed with argument --workers")]
    for arguments, message in cases:
        status, shown, told = run(*arguments)
        assert (status, shown) == (2, "")
        assert told.splitlines()[-1].replace("error: ", "") == f"structure-ingest-bulk: {message}"
    status, _, told = run("-o", files / "a.xyz/out", files, "--workers", 0)
    assert status == 3 and told == (
        f"structure-ingest-bulk: [Errno 20] Not a directory: '{files}/a.xyz/out'\n")


def test_an_interrupted_program_goes_on(tmp_path):
    folder = tmp_path / "many"
    folder.mkdir()
    for number in range(3000):
        (folder / f"{number:04}.xyz").write_text(f"1\n\nH 0 0 {number}\n")
    command = [sys.executable, "-m", "structure_ingest.bulk", str(folder), "-o",
               str(tmp_path / "out"), "--workers", "0", "--chunk", "10"]
    program = subprocess.Popen(command, env={**os.environ, "PYTHONPATH": PACKAGES},
                               stderr=subprocess.PIPE)
    while not list(tmp_path.glob("out/rows-*-000003.*")):
        assert program.poll() is None
    program.terminate()
    _, told = program.communicate(timeout=60)
    assert (program.returncode, told.decode()) == (
        130, f"structure-ingest-bulk: reads {folder}, and writes rows to {tmp_path}/out\n"
             "structure-ingest-bulk: interrupted; the same command goes on where this one ended\n")
    first = len(rows_by_path(tmp_path / "out"))
    status, shown, _ = run(*command[3:], "--json")
    summary = json.loads(shown)
    assert 40 <= first < 3000 and first % 10 == 0
    assert (summary["run"]["read"], summary["run"]["unchanged"]) == (3000 - first, first)
    assert status == 0 and len(rows_by_path(tmp_path / "out")) == 3000


def test_no_scheduler_and_no_dask(files, tmp_path, monkeypatch):
    pytest.importorskip("distributed")
    fake = tmp_path / "fake"
    fake.mkdir()
    (fake / "distributed.py").write_text("raise ImportError('not here')\n")
    monkeypatch.setattr("test_program.PACKAGES", f"{fake}:{PACKAGES}")
    assert run(files, "-o", tmp_path / "out") == (
        2, "", "structure-ingest-bulk: Dask is not installed (not here): install "
               "python3-distributed, or use --workers 0\n")
    assert not (tmp_path / "out").exists()
    assert run(files, "-o", tmp_path / "out", "--workers", 0)[0] == 1
    monkeypatch.undo()
    status, _, told = run(files, "-o", tmp_path / "new", "--scheduler", "nonsense://a")
    assert status == 2 and told.startswith(
        "structure-ingest-bulk: no scheduler answers at nonsense://a: ")


def test_a_folder_that_cannot_be_listed_is_told(files, tmp_path):
    folder = files / "b"
    paths = list(bulk.listing.files_under(str(files), lambda error: pytest.fail()))
    failed = []
    assert list(bulk.listing.files_under(str(files / "nowhere"), failed.append)) == []
    assert [(error.filename, error.strerror) for error in failed] == [
        (f"{files}/nowhere", "No such file or directory")]
    assert str(folder / "1.xyz") in paths
    progress = bulk.Progress(listed=1, folders_failed=[f"/x{number}: why" for number in range(12)])
    summary = bulk.Summary(1, 1, {}, 0, 0, 1, progress)
    lines = summary_text(summary, tmp_path, 0).splitlines()
    assert lines[2:4] == ["not listed: /x0: why", "not listed: /x1: why"]
    assert lines[-1] == "not listed: and 2 folders more"


@pytest.mark.parametrize("progress, total, seconds, line", [
    ({}, None, 0, "0 files"),
    ({"read": 500, "unchanged": 1500}, None, 4, "2,000 files, 500 files/s"),
    ({"read": 500}, 2000, 5, "500 of 2,000 files, 100 files/s, 15 s left"),
    ({"read": 500}, 1_000_000, 500, "500 of 1,000,000 files, 1 files/s, 277 h 38 min left"),
    ({"read": 50, "failures": {"b": 1, "a": 1, "c": 1200}}, 400, 50,
     "50 of 400 files, 1 files/s, 5 min 50 s left, 1,202 not read (1,200 c; 1 a; 1 b)")])
def test_the_line_of_progress(progress, total, seconds, line):
    assert line_of(bulk.Progress(**progress), total, seconds) == line


def test_lines_that_are_kept(capsys, monkeypatch):
    now = [100.0]
    monkeypatch.setattr("time.monotonic", lambda: now[0])
    count = types.SimpleNamespace(total=None)
    line = ProgressLine(count, "reads")
    for seconds, read, total in ((0, 0, None), (59, 400, None), (60, 500, None), (64, 900, 1000),
                                 (65, 910, 1000), (80, 950, 1000), (126, 990, 1000)):
        now[0] = 100.0 + seconds
        count.total = total
        line.show(bulk.Progress(read=read))
    line.end(bulk.Summary(1, 1, {}, 0, 0, 1, bulk.Progress(read=1000, failures={"bad": 2})))
    line.clear()
    assert capsys.readouterr().err == "".join(f"structure-ingest-bulk: {text}\n" for text in (
        "reads", "500 files, 8 files/s", "910 of 1,000 files, 14 files/s, 6 s left",
        "990 of 1,000 files, 8 files/s, 1 s left", "done: 1,000 files, 8 files/s, 2 not read (2 bad)"))


def test_the_help_is_in_the_documentation():
    status, shown, _ = run("--help")
    assert status == 0
    page = (ROOT / "docs/bulk.md").read_text()
    block = page.split("```text\nusage: structure-ingest-bulk", 1)[1].split("```")[0]
    assert ("usage: structure-ingest-bulk" + block).split() == shown.split()


@pytest.mark.filterwarnings("error")
def test_the_code_in_the_documentation(monkeypatch, capsys):
    monkeypatch.chdir(ROOT)
    page = (ROOT / "docs/bulk.md").read_text()
    blocks = [block.split("```")[0] for block in page.split("```python\n")[1:]]
    assert len(blocks) == 2
    names = {}
    for block in blocks:
        exec(block, names)
    assert capsys.readouterr().out == "Cu 1 Fm-3m 8.935\n"
    assert doctest.testmod(bulk.many).failed == doctest.testmod(bulk).failed == 0
