"""The jobs of whole processes, each beside the least that does the same, and how their time grows."""
import ctypes
import os
import pathlib
import random
import shutil
import statistics
import subprocess
import time

HERE = pathlib.Path(__file__).resolve().parent
PYTHON = "/usr/bin/python3"
LIBC = ctypes.CDLL(None)


def seconds_of(job):
    start = time.perf_counter()
    job()
    return time.perf_counter() - start


def alternate(rounds, *jobs):
    """Medians of the times of jobs that take turns. Each is a function that prepares one run and
    returns it: the arguments of a process, or a function."""
    times = [[] for _ in jobs]
    for _ in range(rounds):
        for job, seconds in zip(jobs, times):
            run = job()
            seconds.append(seconds_of(run if callable(run) else lambda: quietly(run)))
    return [statistics.median(seconds) for seconds in times]


def quietly(arguments):
    subprocess.run(arguments, check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)


def processor_time(rounds, *commands):
    """Medians of the processor time of whole processes that take turns."""
    times = [[] for _ in commands]
    null = os.open(os.devnull, os.O_RDWR)
    streams = [(os.POSIX_SPAWN_DUP2, null, stream) for stream in (0, 1, 2)]
    for _ in range(rounds):
        for command, seconds in zip(commands, times):
            process = os.posix_spawn(command[0], command, os.environ, file_actions=streams)
            _, status, usage = os.wait4(process, 0)
            assert status == 0, command
            seconds.append(usage.ru_utime + usage.ru_stime)
    os.close(null)
    return [statistics.median(seconds) for seconds in times]


def peak_memory(build, arguments):
    """The peak resident size of a process in bytes."""
    command = [build / "bench" / "structure_ingest_bench_peak", *arguments]
    run = subprocess.run(command, check=True, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
    return 1024 * int(run.stderr.split()[-1])


def write_xyz(path, atoms, seed):
    numbers = random.Random(seed)
    lines = [f"{atoms}", 'Lattice="100.0 0.0 0.0 0.0 100.0 0.0 0.0 0.0 100.0"']
    for _ in range(atoms):
        position = "".join(f" {numbers.uniform(-50, 50):14.8f}" for _ in range(3))
        lines.append(f"{numbers.choice(['H', 'C', 'O', 'Si', 'Fe']):2s}{position}")
    path.write_text("\n".join(lines) + "\n")
    return path


def write_cif(path, seed):
    """A crystal of 8 to 40 sites, every other one with symmetry."""
    numbers = random.Random(seed)
    lines = ["data_crystal"]
    lines += [f"_cell_length_{axis} {numbers.uniform(5, 15):.4f}" for axis in "abc"]
    lines += [f"_cell_angle_{angle} 90" for angle in ("alpha", "beta", "gamma")]
    if seed % 2:
        lines += ["_symmetry_space_group_name_H-M 'P m m m'", "_symmetry_Int_Tables_number 47"]
    lines += ["loop_", "_atom_site_label", "_atom_site_type_symbol", "_atom_site_fract_x",
              "_atom_site_fract_y", "_atom_site_fract_z", "_atom_site_occupancy"]
    for site in range(numbers.randint(8, 40)):
        element = numbers.choice(["O", "Si", "Fe", "Cu", "Na", "Cl"])
        place = " ".join(f"{numbers.random():.5f}" for _ in range(3))
        lines.append(f"{element}{site} {element} {place} 1.0")
    path.write_text("\n".join(lines) + "\n")
    return path


def write_tree(folder, folders):
    """Folders of 50 files, a tenth of them structures."""
    for number in range(folders):
        inner = folder / f"{number // 100}" / f"{number}"
        inner.mkdir(parents=True)
        for file in range(50):
            (inner / f"{file}.{'xyz' if file % 10 == 0 else 'out'}").touch()
    return folder


def has_ase():
    return subprocess.run([PYTHON, "-c", "import ase.io"], stderr=subprocess.DEVNULL).returncode == 0


def together(*commands):
    """Runs processes at the same time."""
    running = [subprocess.Popen(command, stderr=subprocess.DEVNULL) for command in commands]
    for process in running:
        assert process.wait() == 0


def write_again(contents, folder):
    """Writes files of these contents, and has the file system store them once."""
    for number, content in enumerate(contents):
        (folder / str(number)).write_bytes(content)
    descriptor = os.open(folder, os.O_RDONLY)
    LIBC.syncfs(descriptor)
    os.close(descriptor)


class Jobs:
    """The jobs in a folder in memory, `memory`, and in one on a disk."""

    def __init__(self, build, rounds, memory, disk):
        self.build = build
        self.program = build / "structure-ingest"
        self.rounds = rounds
        self.memory = memory
        self.disk = disk
        self.projects = iter(range(10**6))

    def new_project(self, folder):
        project = folder / f"project{next(self.projects)}"
        project.mkdir()
        return project

    def ingest(self, files, folder=None):
        return lambda: [self.program, "ingest", "--limit", str(len(files)), "--project",
                        self.new_project(folder or self.memory), *files]

    def rows(self):
        """Rows of the table: (what, compared with, ratios by size, bound or None)."""
        yield from self.single_processes()
        yield from self.scans()
        yield from self.durable_batches()
        yield from self.crystals()

    def single_processes(self):
        small = write_xyz(self.memory / "small.xyz", 100, 1)
        large = write_xyz(self.memory / "large.xyz", 20000, 2)
        batch = [write_xyz(self.memory / f"batch{i}.xyz", 1000, 10 + i) for i in range(8)]
        ours, empty = processor_time(40 * self.rounds, [self.program, "parse", small],
                                     [self.build / "bench" / "structure_ingest_bench_empty"])
        yield "whole process: parse", "an empty program", {100: ours / empty}, 1.1
        if has_ase():
            ours, theirs = alternate(self.rounds, self.ingest(batch), lambda: [
                PYTHON, HERE / "plain_ase.py", self.new_project(self.memory), *batch])
            yield "whole process: ingest, 8 files", "a plain script with ASE", {
                1000: ours / theirs}, 0.1
        if shutil.which("obabel"):
            ours, theirs = alternate(max(1, self.rounds // 3), self.ingest([large]), lambda: [
                "obabel", "-ixyz", large, "-oxyz", "-O", self.new_project(self.memory) / "copy.xyz"])
            yield "whole process: ingest, 1 file", "Open Babel: read and write", {
                20000: ours / theirs}, None
        idle = peak_memory(self.build, [self.program, "--version"])
        used = peak_memory(self.build, self.ingest([large])())
        yield "peak memory: ingest", "the size of the file", {
            20000: (used - idle) / large.stat().st_size}, 4

    def scans(self):
        half = write_tree(self.memory / "half", 500)
        whole = write_tree(self.memory / "whole", 1000)
        ours, find, ours_half = alternate(self.rounds, lambda: [self.program, "scan", whole],
                                          lambda: ["find", whole, "-type", "f"],
                                          lambda: [self.program, "scan", half])
        yield "scan: 50,000 files in 1,000 folders", "find", {0: ours / find}, 2
        yield "scan: twice the files and folders", "half of them", {0: ours / ours_half}, 2.2

    def durable_batches(self):
        files = [write_xyz(self.disk / f"{i}.xyz", 100, i) for i in range(500)]
        project = self.new_project(self.disk)
        quietly([self.program, "ingest", "--limit", "500", "--project", project, *files])
        written = [path.read_bytes() for path in project.rglob("*") if path.is_file()]

        def write():
            folder = self.new_project(self.disk)
            return lambda: write_again(written, folder)

        ours, floor, ours_half = alternate(max(1, self.rounds // 2), self.ingest(files, self.disk),
                                           write, self.ingest(files[:250], self.disk))
        yield "ingest on a disk: 500 files", "the same bytes and one sync", {100: ours / floor}, 3
        yield "ingest on a disk: twice the files", "half of them", {100: ours / ours_half}, 2.2

    def crystals(self):
        if not has_ase():
            return
        files = [write_cif(self.memory / f"{i}.cif", i) for i in range(200)]
        cores = len(os.sched_getaffinity(0))
        loop = [PYTHON, "-c", "import sys\nfrom ase.io import read\n"
                "for path in sys.argv[1:]: read(path)"]

        def bare():
            return lambda: together(*([*loop, *files[i::cores]] for i in range(cores)))

        def parse(number):
            return lambda: [self.program, "parse", "--json", "--no-check", *files[:number]]

        ours, theirs, ours_half = alternate(max(1, self.rounds // 2), parse(200), bare, parse(100))
        yield "200 CIF files", f"ASE in {cores} processes, one a core", {0: ours / theirs}, 1.15
        yield "twice the CIF files", "half of them", {0: ours / ours_half}, 2.2
        ours, theirs = alternate(self.rounds, parse(1), lambda: [*loop, files[0]])
        yield "the first CIF file", "ASE alone", {0: ours / theirs}, 1
