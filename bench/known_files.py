"""The jobs on files that were read before, each beside the digests of the same bytes, or beside the
same job without what is kept."""
import os
import shutil
import subprocess

from whole_processes import PYTHON, alternate, has_ase, processor_time, quietly, write_cif, write_xyz

LOOP = """
import sys, time
import structure_ingest as si
names = sys.argv[1:]

def plain():
    for name in names: si.parse_structure_file(name)

def kept():
    with si.reader() as reader:
        for name in names: reader.parse_structure_file(name)

times = {plain: [], kept: []}
for _ in range(ROUNDS):
    for job in times:
        start = time.perf_counter()
        job()
        times[job].append(time.perf_counter() - start)
print(*(sorted(each)[ROUNDS // 2] for each in times.values()))
"""


class Cache:
    """Sets the folder of the cache, and its bound in MiB."""

    def __init__(self, folder, most="256"):
        self.values = {"STRUCTURE_INGEST_CACHE": str(folder), "STRUCTURE_INGEST_CACHE_MIB": most}

    def __enter__(self):
        self.before = dict(os.environ)
        os.environ.update(self.values)

    def __exit__(self, *_):
        os.environ.clear()
        os.environ.update(self.before)


def rows(build, rounds, memory):
    """Rows of the table: (what, compared with, ratios by size, bound or None)."""
    if not has_ase():
        return
    crystals = [write_cif(memory / f"known{i}.cif", i) for i in range(1000)]
    molecules = [write_xyz(memory / f"known{i}.xyz", 100, i) for i in range(150)]
    program = build / "structure-ingest"
    digest = shutil.which("sha256sum")
    folder = memory / "cache"

    def project_of(name, files):
        project = memory / name
        project.mkdir()
        quietly([program, "ingest", "--limit", "2000", "--project", project, *files])
        state = [program, "hydrate", "--limit", "2000", "--project", project, *files]
        quietly(state)
        return project

    with Cache(folder):
        small = project_of("known8", crystals[:8])
        hydrate = [program, "hydrate", "--project", small, *crystals[:8]]
        again, first, digests = processor_time(
            10 * rounds, hydrate, [*hydrate, "--no-cache"], [digest, *crystals[:8]])
        yield "hydrate: 8 known CIF files", "the same without the cache", {0: again / first}, None
        yield "hydrate: 8 known CIF files", "sha256sum of them", {0: again / digests}, 3

        files = [*crystals[:150], *molecules]
        held = project_of("known300", files)
        copies = sorted((held / "project_root" / "structures").iterdir())
        verify = [program, "verify", "--project", held]
        ours, digests = processor_time(3 * rounds, verify, [digest, *files, *copies])
        yield "verify: 300 structures", "sha256sum of sources and copies", {0: ours / digests}, 3

        many = project_of("known1000", crystals)
        listed, read = processor_time(
            3 * rounds, [program, "list", "--project", many],
            [build / "bench" / "structure_ingest_bench_read_state",
             many / ".strataquill_state.json"])
        yield "list: 1,000 structures with findings", "reading the state", {0: listed / read}, None

    yield from batches(program, rounds, memory, crystals[:200])
    yield from loops(build, rounds, folder, crystals[:100])


def batches(program, rounds, memory, files):
    def parse(*options):
        return lambda: [program, "parse", "--json", *options, *files]

    cold = memory / "cold"

    def emptied():
        shutil.rmtree(cold, ignore_errors=True)
        return parse()()

    with Cache(cold):
        anew, empty = alternate(max(1, rounds // 2), parse("--no-cache"), emptied)
        quietly(parse()())
        kept, = alternate(rounds, parse())
    with Cache(memory / "full", "0"):
        full, = alternate(max(1, rounds // 2), parse())
    yield "200 CIF files, all kept", "without the cache", {0: kept / anew}, 0.1
    yield "200 CIF files, none kept yet", "without the cache", {0: empty / anew}, 1.2
    yield "200 CIF files, no room to keep", "without the cache", {0: full / anew}, 1.2


def loops(build, rounds, folder, files):
    for cache, what in ((folder, "known"), ("off", "not kept")):
        with Cache(cache):
            run = subprocess.run(
                [PYTHON, "-c", LOOP.replace("ROUNDS", str(rounds)), *files], check=True,
                env={**os.environ, "PYTHONPATH": str(build.parent / "python")},
                stdout=subprocess.PIPE)
        plain, kept = map(float, run.stdout.split())
        yield f"Python: a loop over 100 CIF files, {what}", "one reader", {0: plain / kept}, 1.2
