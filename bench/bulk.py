#!/usr/bin/python3
"""Measures structure_ingest.bulk on made files; docs/bulk.md has the figures.

    PYTHONPATH=build/python bench/bulk.py FOLDER times XYZ-FILES CIF-FILES ROUNDS
    PYTHONPATH=build/python bench/bulk.py FOLDER memory FILES...

Makes the files in FOLDER. Other work on the machine disturbs the times of the clock, those of the
processors less: both are printed, with the load.
"""

import os
import random
import resource
import shutil
import subprocess
import sys
import time
from pathlib import Path

PROGRAM = [sys.executable, "-m", "structure_ingest.bulk"]
LOOP = ("import sys; from structure_ingest import bulk\n"
        "for row in bulk.parse_many(sys.argv[1]): pass")
ASE = ("import glob, sys; from ase.io import read\n"
       "for path in sorted(glob.glob(sys.argv[1] + '/**/*.*', recursive=True)): read(path)")
ELEMENTS = "H C N O Si Fe Ti Al Na Cl Mg Cu Zn S P".split()
GROUPS = [("P 1", 1), ("P -1", 2), ("P 21/c", 14), ("P n m a", 62), ("P m -3 m", 221),
          ("F m -3 m", 225)]


def xyz_text(number, chance):
    """A molecule or a cell, of 3 to 60 atoms at disturbed places of a grid."""
    atoms = chance.choice([3, 5, 8, 12, 20, 40, 60])
    side = round(atoms ** (1 / 3) + 0.5)
    edge = 2.6 * side
    lines = [str(atoms), f'Lattice="{edge:.6f} 0 0 0 {edge:.6f} 0 0 0 {edge:.6f}"' if number % 2
             else f"molecule {number}"]
    for place in range(atoms):
        grid = (place % side, place // side % side, place // side ** 2)
        lines.append(" ".join([chance.choice(ELEMENTS), *(
            f"{2.6 * step + 0.3 * chance.random():.8f}" for step in grid)]))
    return "\n".join(lines) + "\n"


def cif_text(number, chance):
    """A crystal of 2 to 6 sites in one of six space groups."""
    name, group = chance.choice(GROUPS)
    edge = 7 + 4 * chance.random()
    cell = "".join(f"_cell_length_{axis} {edge:.5f}\n" for axis in "abc") + "".join(
        f"_cell_angle_{angle} 90\n" for angle in ("alpha", "beta", "gamma"))
    sites = [(0, 0, 0), (0.5, 0.5, 0.5), (0.25, 0.25, 0.25), (0.1, 0.35, 0.6), (0.3, 0.1, 0.8),
             (0.7, 0.4, 0.15)][:chance.randint(2, 6)]
    columns = "".join(f"_atom_site_{column}\n" for column in (
        "label", "type_symbol", "fract_x", "fract_y", "fract_z"))
    rows = "".join(f"{element}{place} {element} {x} {y} {z}\n" for place, (element, (x, y, z))
                   in enumerate(zip(chance.choices(ELEMENTS, k=6), sites)))
    return (f"data_{number}\n{cell}_symmetry_space_group_name_H-M '{name}'\n"
            f"_symmetry_Int_Tables_number {group}\nloop_\n{columns}{rows}")


def tiny_text(number, chance):
    return f"1\n{number}\nH 0 0 {number}\n"


def make_files(folder, count, suffix, text):
    """Thousand files a folder; leaves what is there."""
    if folder.exists():
        return
    chance = random.Random(count)
    for number in range(count):
        if number % 1000 == 0:
            (folder / f"{number // 1000:04}").mkdir(parents=True)
        path = folder / f"{number // 1000:04}" / f"{number:07}{suffix}"
        path.write_text(text(number, chance))


def run(command):
    """Seconds of the clock and of the processors."""
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    began = time.monotonic()
    subprocess.run(command, check=True, stdout=subprocess.DEVNULL)
    seconds = time.monotonic() - began
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    return seconds, after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime


def times(folder, xyz_files, cif_files, rounds):
    out = folder / "rows"
    for kind, count, text in (("xyz", xyz_files, xyz_text), ("cif", cif_files, cif_text)):
        files = folder / f"{kind}{count}"
        make_files(files, count, f".{kind}", text)
        ways = {"loop of ase.io.read": [sys.executable, "-c", ASE, files],
                "loop of parse_many": [sys.executable, "-c", LOOP, files],
                **{f"--workers {workers}": [*PROGRAM, files, "-o", out, "--workers", str(workers)]
                   for workers in (0, 1, 2)},
                "--workers 2, again": [*PROGRAM, files, "-o", out, "--workers", "2"]}
        for turn in range(rounds):
            for way, command in ways.items():
                if "again" not in way:
                    shutil.rmtree(out, ignore_errors=True)
                seconds, processor = run(command)
                print(f"{count} {kind}, {way}: {seconds:.1f} s, "
                      f"{1e6 * processor / count:.0f} µs of processors a file, load {os.getloadavg()[0]:.1f}", flush=True)


def memory_of(process):
    """The peak of a process, in MB; 0 when it has ended."""
    try:
        lines = Path(f"/proc/{process}/status").read_text().splitlines()
        return max(int(line.split()[1]) for line in lines if line.startswith("VmHWM")) / 1e3
    except (OSError, ValueError):
        return 0


def children_of(process):
    try:
        tasks = os.listdir(f"/proc/{process}/task")
        return [int(child) for task in tasks for child in
                Path(f"/proc/{process}/task/{task}/children").read_text().split()]
    except OSError:
        return []


def memory(folder, counts):
    for count in counts:
        files = folder / f"tiny{count}"
        out = folder / "rows"
        make_files(files, count, ".xyz", tiny_text)
        for which in ("first", "second"):
            if which == "first":
                shutil.rmtree(out, ignore_errors=True)
            began = time.monotonic()
            process = subprocess.Popen([*PROGRAM, files, "-o", out, "--workers", "2"],
                                       stdout=subprocess.DEVNULL)
            own = workers = 0
            while process.poll() is None:
                own = max(own, memory_of(process.pid))
                workers = max([workers, *map(memory_of, children_of(process.pid))])
                time.sleep(0.2)
            seconds = time.monotonic() - began
            print(f"{count} files, {which} run: program and scheduler {own:.0f} MB, largest worker "
                  f"{workers:.0f} MB, {seconds:.0f} s, load {os.getloadavg()[0]:.1f}", flush=True)


if __name__ == "__main__":
    made = Path(sys.argv[1])
    if sys.argv[2] == "times":
        times(made, *map(int, sys.argv[3:6]))
    else:
        memory(made, list(map(int, sys.argv[3:])))
